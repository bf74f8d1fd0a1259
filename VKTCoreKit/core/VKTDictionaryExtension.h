// Typed optional getters on any dictionary, JSON ones included.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/foundation/VKTValue.h"

/// A number as it is; a string when the whole of it is a decimal number ("-1,234.5": an optional minus,
/// digits with optional groups of three, an optional fraction).
std::optional<VKTNumber> vkt_optNumberForKey(const VKTDictionary& dictionary, std::string_view key);

/// A string that is not empty.
std::optional<std::string> vkt_optStringForKey(const VKTDictionary& dictionary, std::string_view key);

/// A string that is not empty, percent-encoded for a URL fragment (a "%" in it included), when the result has
/// a scheme and a host.
std::optional<VKTURL> vkt_optURLForKey(const VKTDictionary& dictionary, std::string_view key);

/// Null when absent or of another type; points into the dictionary.
const VKTDictionary* vkt_optDictionaryForKey(const VKTDictionary& dictionary, std::string_view key);
const VKTArray* vkt_optArrayForKey(const VKTDictionary& dictionary, std::string_view key);

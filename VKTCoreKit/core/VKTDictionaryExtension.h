// Typed optional getters on any dictionary, JSON ones included.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/foundation/VKTValue.h"

/// A number as it is; a string when the whole of it is a decimal number ("-1,234.5": an optional minus,
/// digits with optional groups of three, an optional fraction).
VKT_EXPORT std::optional<VKTNumber> vkt_optNumberForKey(const VKTDictionary& dictionary,
                                                        std::string_view key);

/// A string that is not empty.
VKT_EXPORT std::optional<std::string> vkt_optStringForKey(const VKTDictionary& dictionary,
                                                          std::string_view key);

/// A string that is not empty, percent-encoded for a URL fragment (a "%" in it included), when the result has
/// a scheme and a host.
VKT_EXPORT std::optional<VKTURL> vkt_optURLForKey(const VKTDictionary& dictionary, std::string_view key);

/// Null when absent or of another type; points into the dictionary.
VKT_EXPORT const VKTDictionary* vkt_optDictionaryForKey(const VKTDictionary& dictionary,
                                                        std::string_view key);
VKT_EXPORT const VKTArray* vkt_optArrayForKey(const VKTDictionary& dictionary, std::string_view key);

// Typed values from the objects of a configuration document, each only when it has exactly that type: a text
// is no number, a boolean is no number, a JSON null is a value of another type.
//
// Pure functions, safe from any thread. Pointers point into the dictionary.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/foundation/VKTValue.h"

/// An integer or a double.
VKT_EXPORT std::optional<VKTNumber> vkt_configNumberForKey(const VKTDictionary& dictionary,
                                                           std::string_view key);

/// A number truncated towards zero, saturating at the bounds of the type; 0 when there is none.
VKT_EXPORT std::uint64_t vkt_configUnsignedForKey(const VKTDictionary& dictionary, std::string_view key);

/// A text, also an empty one; null when there is none.
VKT_EXPORT const std::string* vkt_configStringForKey(const VKTDictionary& dictionary, std::string_view key);

/// A text that parses as a URL.
VKT_EXPORT std::optional<VKTURL> vkt_configURLForKey(const VKTDictionary& dictionary, std::string_view key);

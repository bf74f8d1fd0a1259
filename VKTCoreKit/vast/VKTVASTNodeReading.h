// Small readers of XML nodes that the creatives share.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTValue.h"

/// Attributes as the creatives read them: a string as written, a number or boolean leniently. An absent
/// number is `absent`, an absent boolean false.
std::optional<std::string> vkt_stringAttribute(std::string_view key, const VKTDictionary& node);
float vkt_floatAttribute(std::string_view key, const VKTDictionary& node, float absent);
bool vkt_boolAttribute(std::string_view key, const VKTDictionary& node);

/// The text of the first child of that name, or nothing.
std::optional<std::string> vkt_childText(std::string_view key, const VKTDictionary& node);

#include "VKTCoreKit/vast/VKTVASTNodeReading.h"

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"

std::optional<std::string> vkt_stringAttribute(std::string_view key, const VKTDictionary& node) {
    const std::string* value = VKTXMLDictionaryUtils::findAttribute(key, node);
    return value == nullptr ? std::nullopt : std::optional<std::string>(*value);
}

float vkt_floatAttribute(std::string_view key, const VKTDictionary& node, float absent) {
    const std::string* value = VKTXMLDictionaryUtils::findAttribute(key, node);
    return value == nullptr ? absent : vkt_floatValue(*value);
}

bool vkt_boolAttribute(std::string_view key, const VKTDictionary& node) {
    const std::string* value = VKTXMLDictionaryUtils::findAttribute(key, node);
    return value != nullptr && vkt_boolValue(*value);
}

std::optional<std::string> vkt_childText(std::string_view key, const VKTDictionary& node) {
    const std::string* text = VKTXMLDictionaryUtils::findFirstObjectOfArrayAsString(key, node);
    return text == nullptr ? std::nullopt : std::optional<std::string>(*text);
}

#include "VKTCoreKit/vast/VKTVASTUniversalAdId.h"

#include <utility>

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"

std::optional<VKTVASTUniversalAdId> VKTVASTUniversalAdId::initWithRegistry(std::string registry,
                                                                           std::string value) {
    VKTVASTUniversalAdId identifier{std::move(registry), std::move(value)};
    if (!identifier.isValid()) return std::nullopt;
    return identifier;
}

std::optional<VKTVASTUniversalAdId> VKTVASTUniversalAdId::initWithDictionary(const VKTValue& value) {
    const VKTDictionary* node = value.asDictionary();
    if (node == nullptr) return std::nullopt;
    const std::string* registry = VKTXMLDictionaryUtils::findAttribute("_idRegistry", *node);
    const std::string* text = VKTXMLDictionaryUtils::findNodeText(*node);
    const std::string* attribute = VKTXMLDictionaryUtils::findAttribute("_idValue", *node);
    const std::string* identifier = text != nullptr && !text->empty() ? text : attribute;
    if (registry == nullptr || identifier == nullptr) return std::nullopt;
    return initWithRegistry(*registry, *identifier);
}

std::optional<VKTVASTUniversalAdId> VKTVASTUniversalAdId::initWithCoder(const VKTKeyedUnarchiver& coder) {
    return initWithRegistry(coder.decodeString("registry").value_or(""),
                            coder.decodeString("value").value_or(""));
}

void VKTVASTUniversalAdId::encodeWithCoder(VKTKeyedArchiver& coder) const {
    coder.encodeString("registry", registry);
    coder.encodeString("value", value);
}

bool VKTVASTUniversalAdId::isValid() const {
    return value != "unknown" && !registry.empty() && !value.empty();
}

#include "VKTCoreKit/vast/VKTVASTUniversalAdId.h"

#include <utility>

namespace {

constexpr const char* unknownValue = "unknown";

std::string problemOf(const std::string* registry, const std::string* value) {
    if (registry == nullptr || registry->empty()) return "it has no idRegistry";
    if (value == nullptr || value->empty()) return "it has no value";
    return "its value is " + vkt_quoted(*value);
}

}  // namespace

std::optional<VKTVASTUniversalAdId> VKTVASTUniversalAdId::initWithRegistry(std::string registry,
                                                                           std::string value) {
    VKTVASTUniversalAdId identifier{std::move(registry), std::move(value)};
    if (!identifier.isValid()) return std::nullopt;
    return identifier;
}

std::optional<VKTVASTUniversalAdId> VKTVASTUniversalAdId::initWithDictionary(const VKTVASTElement& element) {
    const std::string* registry = element.attribute("_idRegistry");
    const std::string* text = element.text();
    const std::string* attribute = element.attribute("_idValue");
    const std::string* value = text != nullptr && !text->empty() ? text : attribute;
    auto identifier =
        registry == nullptr || value == nullptr ? std::nullopt : initWithRegistry(*registry, *value);
    if (!identifier) element.drop([&] { return problemOf(registry, value); });
    return identifier;
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
    return value != unknownValue && !registry.empty() && !value.empty();
}

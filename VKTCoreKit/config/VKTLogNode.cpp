#include "VKTCoreKit/config/VKTLogNode.h"

#include <stdexcept>
#include <utility>

namespace {

[[noreturn]] void throwNotOverridden(const std::string& operation) {
    throw std::logic_error("You must override " + operation + " in a subclass");
}

void setUnlessAbsent(VKTDictionary& dictionary, const char* key, std::optional<std::string> text) {
    if (text) dictionary.set(key, *std::move(text));
}

void setUnlessEmpty(VKTDictionary& dictionary, const char* key, std::optional<std::string> text) {
    if (text && !text->empty()) dictionary.set(key, *std::move(text));
}

}  // namespace

std::string VKTLogNode::name() const {
    throwNotOverridden("name");
}

std::optional<VKTDictionary> VKTLogNode::jsonDictionary() const {
    throwNotOverridden("jsonDictionary");
}

bool VKTLogNode::isEqualToLogNode(const VKTLogNode& other) const {
    return jsonDictionary() == other.jsonDictionary();
}

std::optional<VKTDictionary> VKTLogDictionaryNode::jsonDictionary() const {
    return dictionary_.empty() ? std::nullopt : std::optional(dictionary_);
}

std::shared_ptr<VKTLogErrorNode> VKTLogErrorNode::initWithErrorMessage(
    std::string errorMessage, std::optional<std::string> adResponse,
    std::optional<std::string> adCallUrlString, std::optional<std::string> adCallJsonMessage) {
    VKTDictionary dictionary{{"message", std::move(errorMessage)}};
    setUnlessAbsent(dictionary, "ad_response", std::move(adResponse));
    setUnlessEmpty(dictionary, "adCallUrl", std::move(adCallUrlString));
    setUnlessEmpty(dictionary, "adCallJsonMessage", std::move(adCallJsonMessage));
    return std::shared_ptr<VKTLogErrorNode>(new VKTLogErrorNode("error", std::move(dictionary)));
}

std::shared_ptr<VKTLogErrorNode> VKTLogErrorNode::initWithErrorMessage(std::string errorMessage,
                                                                       std::optional<std::string> adResponse,
                                                                       VKTTimeInterval /*unused*/) {
    return initWithErrorMessage(std::move(errorMessage), std::move(adResponse), std::nullopt, std::nullopt);
}

std::shared_ptr<VKTLogErrorNode> VKTLogErrorNode::initWithErrorMessage(
    std::string errorMessage, std::optional<std::string> adResponse, VKTTimeInterval /*unused*/,
    std::optional<std::string> adCallUrlString, std::optional<std::string> adCallJsonMessage) {
    return initWithErrorMessage(std::move(errorMessage), std::move(adResponse), std::move(adCallUrlString),
                                std::move(adCallJsonMessage));
}

std::shared_ptr<VKTLogVASTErrorNode> VKTLogVASTErrorNode::initWithDescription(
    std::string description, std::optional<std::string> VASTResponse, std::int64_t VASTCode,
    std::int64_t korvoCode, const std::optional<VKTDictionary>& optionalInfo) {
    VKTDictionary dictionary{{"message", std::move(description)}};
    setUnlessAbsent(dictionary, "VASTResponse", std::move(VASTResponse));
    dictionary.set("VASTCode", VASTCode);
    dictionary.set("korvoCode", korvoCode);
    if (optionalInfo) {
        for (const auto& [key, value] : *optionalInfo)
            dictionary.set(key, value);
    }
    return std::shared_ptr<VKTLogVASTErrorNode>(new VKTLogVASTErrorNode("error", std::move(dictionary)));
}

std::shared_ptr<VKTLogMeasureNode> VKTLogMeasureNode::initWithMeasureDictionary(VKTDictionary dictionary) {
    return std::shared_ptr<VKTLogMeasureNode>(new VKTLogMeasureNode("measure", std::move(dictionary)));
}

std::shared_ptr<VKTLogOpenMeasurementNode> VKTLogOpenMeasurementNode::initWithVendorName(
    std::optional<std::string> vendorName, std::string JSLibraryURLString, std::int64_t implementationType) {
    VKTDictionary dictionary;
    setUnlessAbsent(dictionary, "vendorName", std::move(vendorName));
    dictionary.set("JSLibraryURL", std::move(JSLibraryURLString));
    dictionary.set("implementationType", implementationType);
    return std::shared_ptr<VKTLogOpenMeasurementNode>(
        new VKTLogOpenMeasurementNode("openMeasurement", std::move(dictionary)));
}

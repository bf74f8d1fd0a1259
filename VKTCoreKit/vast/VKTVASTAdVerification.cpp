#include "VKTCoreKit/vast/VKTVASTAdVerification.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/vast/VKTVASTMergeBudget.h"
#include "VKTCoreKit/vast/VKTVASTNodeReading.h"
#include "VKTCoreKit/vast/VKTVASTTrackingEvent.h"

using Utils = VKTXMLDictionaryUtils;

namespace {

constexpr std::string_view notExecutedName = "verificationNotExecuted";

// The node when it has a text of one run or more.
const VKTDictionary* nodeWithText(const VKTValue& value) {
    const VKTDictionary* node = value.asDictionary();
    return node != nullptr && node->contains(VKTXMLDictionaryTextKey) ? node : nullptr;
}

std::optional<VKTURL> urlOfText(const VKTDictionary& node) {
    const std::string* text = Utils::findNodeText(node);
    return text == nullptr ? std::nullopt : VKTURL::URLWithDocumentText(*text);
}

using ResourceReader = std::optional<VKTVASTAdVerificationResource> (*)(const VKTValue&);

void appendResources(VKTVASTAdVerification::Resources& resources, const VKTArray* elements,
                     ResourceReader read) {
    if (elements == nullptr) return;
    for (const VKTValue& element : *elements) {
        if (auto resource = read(element)) resources.push_back(std::move(*resource));
    }
}

VKTVASTAdVerification::TrackingEvents eventsOf(const VKTDictionary& node) {
    VKTVASTAdVerification::TrackingEvents events;
    const VKTDictionary* container = Utils::findFirstObjectOfArrayAsDictionary("TrackingEvents", node);
    const VKTArray* elements =
        container == nullptr ? nullptr : Utils::findArrayForKey("Tracking", *container);
    if (elements == nullptr) return events;
    for (const VKTValue& element : *elements) {
        if (auto event = VKTVASTAdVerificationEvent::initWithDictionary(element)) {
            events.push_back(std::move(event));
        }
    }
    return events;
}

}  // namespace

VKTVASTAdVerificationResource VKTVASTAdVerificationResource::initWithType(
    std::int64_t type, std::optional<VKTURL> url, std::optional<std::string> apiFramework,
    bool browserOptional, std::optional<std::string> executableType) {
    return {type, std::move(url), std::move(apiFramework), browserOptional, std::move(executableType)};
}

std::optional<VKTVASTAdVerificationResource>
VKTVASTAdVerificationResource::initJavascriptResourceWithDictionary(const VKTValue& value) {
    const VKTDictionary* node = nodeWithText(value);
    if (node == nullptr) return std::nullopt;
    return initWithType(0, urlOfText(*node), vkt_stringAttribute("_apiFramework", *node),
                        vkt_boolAttribute("_browserOptional", *node), std::nullopt);
}

std::optional<VKTVASTAdVerificationResource>
VKTVASTAdVerificationResource::initExecutableResourceWithDictionary(const VKTValue& value) {
    const VKTDictionary* node = nodeWithText(value);
    if (node == nullptr) return std::nullopt;
    return initWithType(0, urlOfText(*node), vkt_stringAttribute("_apiFramework", *node), false,
                        vkt_stringAttribute("_type", *node));
}

std::optional<VKTVASTAdVerificationResource> VKTVASTAdVerificationResource::initWithCoder(
    const VKTKeyedUnarchiver& coder) {
    const auto type = coder.decodeNumber("type");
    return initWithType(type ? type->integerValue() : 0, coder.decodeURL("url"),
                        coder.decodeString("apiFramework"), coder.decodeBool("browserOptional"),
                        coder.decodeString("executableType"));
}

void VKTVASTAdVerificationResource::encodeWithCoder(VKTKeyedArchiver& coder) const {
    coder.encodeNumber("type", VKTNumber(type));
    coder.encodeURL("url", url);
    coder.encodeString("apiFramework", apiFramework);
    coder.encodeBool("browserOptional", browserOptional);
    coder.encodeString("executableType", executableType);
}

VKTVASTAdVerificationEvent::VKTVASTAdVerificationEvent(Private, std::string name, VKTURL url)
    : VKTVASTNamedEvent(std::move(name), std::move(url)) {}

std::shared_ptr<VKTVASTAdVerificationEvent> VKTVASTAdVerificationEvent::initWithName(std::string name,
                                                                                     VKTURL url) {
    if (name != notExecutedName) return nullptr;
    return std::make_shared<VKTVASTAdVerificationEvent>(Private(), std::move(name), std::move(url));
}

std::shared_ptr<VKTVASTAdVerificationEvent> VKTVASTAdVerificationEvent::initWithDictionary(
    const VKTValue& value) {
    const VKTDictionary* node = nodeWithText(value);
    if (node == nullptr) return nullptr;
    auto name = vkt_stringAttribute("_event", *node);
    auto url = urlOfText(*node);
    return name && url ? initWithName(std::move(*name), std::move(*url)) : nullptr;
}

std::shared_ptr<VKTVASTAdVerificationEvent> VKTVASTAdVerificationEvent::initWithCoder(
    const VKTKeyedUnarchiver& coder) {
    auto name = coder.decodeString("name");
    auto url = coder.decodeURL("url");
    return name && url ? initWithName(std::move(*name), std::move(*url)) : nullptr;
}

void VKTVASTAdVerificationEvent::encodeWithCoder(VKTKeyedArchiver& coder) const {
    coder.encodeString("name", name());
    coder.encodeURL("url", url());
    coder.encodeBool("isEventConsumable", isEventConsumable());
}

bool VKTVASTAdVerificationEvent::isEventConsumableFromName(std::string_view name) {
    if (name == notExecutedName) return true;
    vkt_logUnknownTrackingEventName(name);
    return false;
}

VKTVASTAdVerification VKTVASTAdVerification::initWithVendor(
    std::optional<std::string> vendor, Resources resources, TrackingEvents trackingEvents,
    std::optional<std::string> verificationParameters) {
    std::erase(trackingEvents, nullptr);
    return {std::move(vendor), std::move(resources), std::move(trackingEvents),
            std::move(verificationParameters)};
}

VKTVASTAdVerification VKTVASTAdVerification::initWithOMIDJavascriptResourceURL(
    VKTURL url, std::optional<std::string> vendor, std::optional<std::string> verificationParameters) {
    auto script = VKTVASTAdVerificationResource::initWithType(0, std::move(url), "omid", true, std::nullopt);
    return initWithVendor(std::move(vendor), {std::move(script)}, {}, std::move(verificationParameters));
}

std::optional<VKTVASTAdVerification> VKTVASTAdVerification::initWithDictionary(const VKTValue& value) {
    const VKTDictionary* node = value.asDictionary();
    if (node == nullptr) return std::nullopt;
    Resources resources;
    appendResources(resources, Utils::findArrayForKey("JavaScriptResource", *node),
                    VKTVASTAdVerificationResource::initJavascriptResourceWithDictionary);
    appendResources(resources, Utils::findArrayForKey("JavascriptResource", *node),
                    VKTVASTAdVerificationResource::initJavascriptResourceWithDictionary);
    appendResources(resources, Utils::findArrayForKey("ExecutableResource", *node),
                    VKTVASTAdVerificationResource::initExecutableResourceWithDictionary);
    if (resources.empty()) return std::nullopt;
    return initWithVendor(vkt_stringAttribute("_vendor", *node), std::move(resources), eventsOf(*node),
                          vkt_childText("VerificationParameters", *node));
}

std::optional<VKTVASTAdVerification> VKTVASTAdVerification::initWithCoder(const VKTKeyedUnarchiver& coder) {
    return initWithVendor(coder.decodeString("vendor"),
                          coder.decodeObjects<VKTVASTAdVerificationResource>("resources"),
                          coder.decodeObjects<VKTVASTAdVerificationEvent>("trackingEvents"),
                          coder.decodeString("verificationParameters"));
}

void VKTVASTAdVerification::encodeWithCoder(VKTKeyedArchiver& coder) const {
    coder.encodeString("vendor", vendor);
    coder.encodeObjects("resources", resources);
    coder.encodeObjects("trackingEvents", trackingEvents);
    coder.encodeString("verificationParameters", verificationParameters);
}

std::size_t VKTVASTAdVerification::mergeCost() const {
    const auto lengthOf = [](const std::optional<std::string>& text) { return text ? text->size() : 0; };
    std::size_t bytes = lengthOf(vendor) + lengthOf(verificationParameters);
    for (const VKTVASTAdVerificationResource& resource : resources) {
        bytes += lengthOf(resource.apiFramework) + lengthOf(resource.executableType);
        if (resource.url) bytes += resource.url->absoluteString().size();
    }
    return 1 + resources.size() + trackingEvents.size() + bytes / VKTVASTMergeBudgetTextBytes;
}

bool operator==(const VKTVASTAdVerification& left, const VKTVASTAdVerification& right) {
    return left.vendor == right.vendor && left.resources == right.resources &&
           left.verificationParameters == right.verificationParameters &&
           vkt_areEqualEvents(left.trackingEvents, right.trackingEvents);
}

VKTVASTAdExtensionAdVerification VKTVASTAdExtensionAdVerification::initWithJavascriptResourceURL(
    VKTURL url, std::optional<std::string> vendor, std::optional<std::string> verificationParameters) {
    return {std::move(url), std::move(vendor), std::move(verificationParameters)};
}

std::optional<VKTVASTAdExtensionAdVerification> VKTVASTAdExtensionAdVerification::initWithCoder(
    const VKTKeyedUnarchiver& coder) {
    auto url = coder.decodeURL("javascriptResourceURL");
    if (!url) return std::nullopt;
    return initWithJavascriptResourceURL(std::move(*url), coder.decodeString("vendor"),
                                         coder.decodeString("verificationParameters"));
}

void VKTVASTAdExtensionAdVerification::encodeWithCoder(VKTKeyedArchiver& coder) const {
    coder.encodeURL("javascriptResourceURL", javascriptResourceURL);
    coder.encodeString("vendor", vendor);
    coder.encodeString("verificationParameters", verificationParameters);
}

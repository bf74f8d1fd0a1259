#include "VKTCoreKit/vast/VKTVASTAdVerification.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/vast/VKTVASTMergeBudget.h"
#include "VKTCoreKit/vast/VKTVASTTrackingEvent.h"

namespace {

constexpr std::string_view notExecutedName = "verificationNotExecuted";

// The text of one run as a URL. A resource without one is kept all the same, so it is not dropped for it.
std::optional<VKTURL> scriptURL(const VKTVASTElement& element) {
    const std::string* text = element.text();
    auto url = text == nullptr ? std::nullopt : VKTURL::URLWithDocumentText(*text);
    if (!url) {
        element.needsAttention(
            {}, [&] { return element.textProblem("its text is not a URL") + "; it is kept without one"; });
    }
    return url;
}

using ResourceReader = std::optional<VKTVASTAdVerificationResource> (*)(const VKTVASTElement&);

void appendResources(VKTVASTAdVerification::Resources& resources, const VKTVASTElement& verification,
                     std::string_view name, ResourceReader read) {
    verification.forEachChild(name, [&](const VKTVASTElement& element) {
        if (auto resource = read(element)) resources.push_back(std::move(*resource));
    });
}

VKTVASTAdVerification::TrackingEvents eventsOf(const VKTVASTElement& verification) {
    VKTVASTAdVerification::TrackingEvents events;
    verification.firstChild("TrackingEvents").forEachChild("Tracking", [&](const VKTVASTElement& element) {
        if (auto event = VKTVASTAdVerificationEvent::initWithDictionary(element)) {
            events.push_back(std::move(event));
        }
    });
    return events;
}

std::string eventNameProblem(const std::string* name) {
    if (name == nullptr) return "it has no event attribute";
    return "event name " + vkt_quoted(*name) +
           " is not accepted: verifications know verificationNotExecuted only";
}

}  // namespace

VKTVASTAdVerificationResource VKTVASTAdVerificationResource::initWithType(
    std::int64_t type, std::optional<VKTURL> url, std::optional<std::string> apiFramework,
    bool browserOptional, std::optional<std::string> executableType) {
    return {type, std::move(url), std::move(apiFramework), browserOptional, std::move(executableType)};
}

std::optional<VKTVASTAdVerificationResource>
VKTVASTAdVerificationResource::initJavascriptResourceWithDictionary(const VKTVASTElement& element) {
    if (!element.hasText()) {
        element.drop("it has no text");
        return std::nullopt;
    }
    return initWithType(0, scriptURL(element), element.stringAttribute("_apiFramework"),
                        element.boolAttribute("_browserOptional"), std::nullopt);
}

std::optional<VKTVASTAdVerificationResource>
VKTVASTAdVerificationResource::initExecutableResourceWithDictionary(const VKTVASTElement& element) {
    if (!element.hasText()) {
        element.drop("it has no text");
        return std::nullopt;
    }
    return initWithType(0, scriptURL(element), element.stringAttribute("_apiFramework"), false,
                        element.stringAttribute("_type"));
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
    const VKTVASTElement& element) {
    const std::string* name = element.attribute("_event");
    if (name == nullptr || *name != notExecutedName) {
        element.drop([&] { return eventNameProblem(name); });
        return nullptr;
    }
    auto url = element.requiredURL();
    return url ? initWithName(*name, std::move(*url)) : nullptr;
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

std::optional<VKTVASTAdVerification> VKTVASTAdVerification::initWithDictionary(
    const VKTVASTElement& element) {
    Resources resources;
    for (const char* name : {"JavaScriptResource", "JavascriptResource"}) {
        appendResources(resources, element, name,
                        VKTVASTAdVerificationResource::initJavascriptResourceWithDictionary);
    }
    appendResources(resources, element, "ExecutableResource",
                    VKTVASTAdVerificationResource::initExecutableResourceWithDictionary);
    if (resources.empty()) {
        element.drop("it has no resource");
        return std::nullopt;
    }
    return initWithVendor(element.stringAttribute("_vendor"), std::move(resources), eventsOf(element),
                          element.childText("VerificationParameters"));
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

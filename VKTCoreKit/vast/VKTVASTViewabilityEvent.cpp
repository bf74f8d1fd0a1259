#include "VKTCoreKit/vast/VKTVASTViewabilityEvent.h"

#include "VKTCoreKit/vast/VKTVASTTrackingEvent.h"

namespace {

bool isViewabilityName(std::string_view name) {
    return name == "viewable" || name == "notviewable" || name == "viewundetermined";
}

}  // namespace

VKTVASTViewabilityEvent::VKTVASTViewabilityEvent(Private, std::string name, VKTURL url)
    : VKTVASTNamedEvent(std::move(name), std::move(url)) {}

std::shared_ptr<VKTVASTViewabilityEvent> VKTVASTViewabilityEvent::initWithName(std::string name, VKTURL url) {
    if (!isViewabilityName(name)) return nullptr;
    return std::make_shared<VKTVASTViewabilityEvent>(Private(), std::move(name), std::move(url));
}

std::shared_ptr<VKTVASTViewabilityEvent> VKTVASTViewabilityEvent::viewableEventWithURL(VKTURL url) {
    return initWithName("viewable", std::move(url));
}

std::shared_ptr<VKTVASTViewabilityEvent> VKTVASTViewabilityEvent::notViewableEventWithURL(VKTURL url) {
    return initWithName("notviewable", std::move(url));
}

std::shared_ptr<VKTVASTViewabilityEvent> VKTVASTViewabilityEvent::viewUndeterminedEventWithURL(VKTURL url) {
    return initWithName("viewundetermined", std::move(url));
}

std::shared_ptr<VKTVASTViewabilityEvent> VKTVASTViewabilityEvent::initWithCoder(
    const VKTKeyedUnarchiver& coder) {
    auto name = coder.decodeString("name");
    auto url = coder.decodeURL("url");
    return name && url ? initWithName(std::move(*name), std::move(*url)) : nullptr;
}

void VKTVASTViewabilityEvent::encodeWithCoder(VKTKeyedArchiver& coder) const {
    coder.encodeString("name", name());
    coder.encodeURL("url", url());
}

std::shared_ptr<VKTVASTViewabilityEvent> VKTVASTViewabilityEvent::copy() const {
    return initWithName(name(), url());
}

bool VKTVASTViewabilityEvent::isEventConsumableFromName(std::string_view name) {
    if (isViewabilityName(name)) return true;
    vkt_logUnknownTrackingEventName(name);
    return false;
}

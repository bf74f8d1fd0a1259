#include "VKTCoreKit/tracking/VKTVideoTrackingEventManager.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace {

// By the values of VKTVideoEvent.
constexpr std::array<std::string_view, 22> eventNames{
    "click",         "creativeView",   "loaded",
    "start",         "firstQuartile",  "midpoint",
    "thirdQuartile", "complete",       "mute",
    "unmute",        "pause",          "rewind",
    "resume",        "fullscreen",     "exitFullscreen",
    "playerExpand",  "playerCollapse", "progress",
    "timeToClick",   "skip",           "vpaidAdInteraction",
    "firstSecond",
};

}  // namespace

std::shared_ptr<VKTVideoTrackingEventManager> VKTVideoTrackingEventManager::initWithEventFactory(
    const VKTTrackingEventFactory& eventFactory, VKTReplacements macros,
    const std::shared_ptr<VKTTrackingEventManagerDelegate>& delegate,
    std::shared_ptr<VKTPixelManager> pixelManager) {
    std::shared_ptr<VKTVideoTrackingEventManager> manager(
        new VKTVideoTrackingEventManager(eventFactory, std::move(macros), delegate, std::move(pixelManager)));
    manager->initializeVideoTrackingEventTable();
    return manager;
}

void VKTVideoTrackingEventManager::initializeVideoTrackingEventTable() {
    std::vector<std::shared_ptr<VKTVideoTrackingEvent>> timed;
    for (const auto& event : events()) {
        auto videoEvent = std::dynamic_pointer_cast<VKTVideoTrackingEvent>(event);
        if (videoEvent && videoEvent->eventOffset() >= 0) timed.push_back(std::move(videoEvent));
    }
    std::stable_sort(timed.begin(), timed.end(), [](const auto& left, const auto& right) {
        return left->eventOffset() < right->eventOffset();
    });
    for (auto& event : timed)
        videoEvents_.append(std::move(event));
}

void VKTVideoTrackingEventManager::trackVideoEvent(VKTVideoEvent videoEvent, const VKTReplacements& variables,
                                                   const VKTReplacements& additionalMacros) {
    if (videoEvent < eventNames.size()) trackEvent(eventNames.at(videoEvent), variables, additionalMacros);
}

void VKTVideoTrackingEventManager::playbackProgressedToTime(double time, const VKTReplacements& withVariables,
                                                            const VKTReplacements& additionalMacros) {
    if (!isEventDueAtTime(time)) return;
    const auto self = shared_from_this();  // the delegate may let go of it
    beginWalk();
    while (isEventDueAtTime(time))
        trackEventByReference(videoEvents_.front(), withVariables, additionalMacros, false);
    endWalk();
}

void VKTVideoTrackingEventManager::trackEventByReference(const std::shared_ptr<VKTTrackingEvent>& event,
                                                         const VKTReplacements& variables,
                                                         const VKTReplacements& additionalMacros,
                                                         bool callPixelsImmediately) {
    // The caller's reference may be into the table.
    const auto fired = event;  // NOLINT(performance-unnecessary-copy-initialization)
    // Before the delegate hears of it: one that reports progress must not fire it again.
    if (fired) videoEvents_.remove(*fired);
    VKTTrackingEventManager::trackEventByReference(fired, variables, additionalMacros, callPixelsImmediately);
}

bool VKTVideoTrackingEventManager::isEventDueAtTime(double time) const {
    // Only events of this type are in the table.
    return !videoEvents_.empty() &&
           static_cast<const VKTVideoTrackingEvent&>(*videoEvents_.front()).eventOffset() <= time;
}

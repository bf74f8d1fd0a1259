#include "VKTCoreKit/tracking/VKTVideoTrackingEventManager.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "VKTCoreKit/tracking/detail/VKTMainThread.h"

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
    std::vector<std::pair<double, std::shared_ptr<VKTTrackingEvent>>> timed;
    for (const auto& event : events()) {
        const auto* videoEvent = dynamic_cast<const VKTVideoTrackingEvent*>(event.get());
        const double offset = videoEvent == nullptr ? -1 : videoEvent->eventOffset();
        if (offset >= 0) timed.emplace_back(offset, event);
    }
    std::stable_sort(timed.begin(), timed.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    for (auto& [offset, event] : timed) {
        offsets_.emplace(event.get(), offset);
        videoEvents_.append(std::move(event));
    }
    updateNextOffset();
}

void VKTVideoTrackingEventManager::trackVideoEvent(VKTVideoEvent videoEvent, const VKTReplacements& variables,
                                                   const VKTReplacements& additionalMacros) {
    vkt_requireMainThread("trackVideoEvent");
    if (videoEvent < eventNames.size()) trackEvent(eventNames.at(videoEvent), variables, additionalMacros);
}

void VKTVideoTrackingEventManager::playbackProgressedToTime(double time, const VKTReplacements& withVariables,
                                                            const VKTReplacements& additionalMacros) {
    vkt_requireMainThread("playbackProgressedToTime");
    if (isEventDueAtTime(time)) trackEventsDueAtTime(time, withVariables, additionalMacros);
}

void VKTVideoTrackingEventManager::cancelProgress() {
    while (!videoEvents_.empty())
        videoEvents_.remove(*videoEvents_.front());
    updateNextOffset();
}

void VKTVideoTrackingEventManager::trackEventsDueAtTime(double time, const VKTReplacements& variables,
                                                        const VKTReplacements& additionalMacros) {
    const auto self = shared_from_this();  // the delegate may let go of it
    const Walk walk(*this);
    while (isEventDueAtTime(time))
        trackEventByReference(videoEvents_.front(), variables, additionalMacros, false);
}

void VKTVideoTrackingEventManager::trackEventByReference(const std::shared_ptr<VKTTrackingEvent>& event,
                                                         const VKTReplacements& variables,
                                                         const VKTReplacements& additionalMacros,
                                                         bool callPixelsImmediately) {
    vkt_requireMainThread("trackEventByReference");
    // The caller's reference may be into the table.
    const auto fired = event;  // NOLINT(performance-unnecessary-copy-initialization)
    // Before the delegate hears of it: one that reports progress must not fire it again.
    if (fired) videoEvents_.remove(*fired);
    updateNextOffset();
    VKTTrackingEventManager::trackEventByReference(fired, variables, additionalMacros, callPixelsImmediately);
}

void VKTVideoTrackingEventManager::updateNextOffset() {
    nextOffset_ = videoEvents_.empty() ? neverDue : offsets_.find(videoEvents_.front().get())->second;
}

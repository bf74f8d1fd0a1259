#include "VKTCoreKit/tracking/VKTViewabilityTrackingEventManager.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTRandom.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/tracking/detail/VKTMainThread.h"
#include "VKTCoreKit/tracking/detail/VKTViewabilityTimer.h"

namespace {

constexpr double noTimestamp = -1;

}  // namespace

std::shared_ptr<VKTViewabilityTrackingEventManagerEventProgression>
VKTViewabilityTrackingEventManagerEventProgression::initWithEvent(
    std::shared_ptr<VKTViewabilityTrackingEvent> event) {
    return std::shared_ptr<VKTViewabilityTrackingEventManagerEventProgression>(
        new VKTViewabilityTrackingEventManagerEventProgression(std::move(event)));
}

VKTViewabilityTrackingEventManagerEventProgression::VKTViewabilityTrackingEventManagerEventProgression(
    std::shared_ptr<VKTViewabilityTrackingEvent> event)
    : ID_(VKTRandom::randomUnsignedInt()), event_(std::move(event)) {}

std::shared_ptr<VKTViewabilityTrackingEventManager> VKTViewabilityTrackingEventManager::initWithEventFactory(
    const VKTTrackingEventFactory& eventFactory, VKTReplacements macros,
    const std::shared_ptr<VKTTrackingEventManagerDelegate>& delegate,
    std::shared_ptr<VKTPixelManager> pixelManager) {
    return std::shared_ptr<VKTViewabilityTrackingEventManager>(new VKTViewabilityTrackingEventManager(
        eventFactory, std::move(macros), delegate, std::move(pixelManager)));
}

VKTViewabilityTrackingEventManager::VKTViewabilityTrackingEventManager(
    const VKTTrackingEventFactory& eventFactory, VKTReplacements macros,
    const std::shared_ptr<VKTTrackingEventManagerDelegate>& delegate,
    std::shared_ptr<VKTPixelManager> pixelManager)
    : VKTTrackingEventManager(eventFactory, std::move(macros), delegate, std::move(pixelManager)) {
    makeProgressions();
}

void VKTViewabilityTrackingEventManager::initializeViewabilityTrackingEventTable() {
    vkt_requireMainThread("initializeViewabilityTrackingEventTable");
    makeProgressions();
}

void VKTViewabilityTrackingEventManager::makeProgressions() {
    eventProgressionItems_.clear();
    for (const auto& event : events()) {
        if (auto viewabilityEvent = std::dynamic_pointer_cast<VKTViewabilityTrackingEvent>(event))
            eventProgressionItems_.push_back(EventProgression::initWithEvent(std::move(viewabilityEvent)));
    }
}

void VKTViewabilityTrackingEventManager::startViewabilityTracking() {
    vkt_requireMainThread("startViewabilityTracking");
    previousTimestamp_ = noTimestamp;
    vkt_startViewabilityTimer(timer_, {shared_from_this(), this});
}

void VKTViewabilityTrackingEventManager::stopViewabilityTracking() {
    vkt_requireMainThread("stopViewabilityTracking");
    vkt_stopViewabilityTimer(timer_);
}

void VKTViewabilityTrackingEventManager::resetViewabilityTracking() {
    vkt_requireMainThread("resetViewabilityTracking");
    previousTimestamp_ = noTimestamp;
    ++resets_;
    for (const auto& progression : eventProgressionItems_)
        progression->setCurrentDuration(0);
}

void VKTViewabilityTrackingEventManager::viewabilityUpdated(bool viewable, double withPercentage) {
    vkt_requireMainThread("viewabilityUpdated");
    currentViewableStatus_ = viewable;
    currentPercentage_ = static_cast<float>(withPercentage);
}

void VKTViewabilityTrackingEventManager::viewabilityUpdatedWithViewabilityStatus(
    const VKTViewabilityStatus& status) {
    vkt_requireMainThread("viewabilityUpdatedWithViewabilityStatus");
    currentViewableStatus_ = status.isViewable();
    currentPercentage_ = status.percentage;
}

void VKTViewabilityTrackingEventManager::timerFired(VKTTimer& /*timer*/) {
    vkt_requireMainThread("timerFired");
    if (!currentViewableStatus_ || !currentPercentage_) return;
    fireOrPostponeViewabilityPixels(static_cast<float>(*currentPercentage_), *currentViewableStatus_);
}

double VKTViewabilityTrackingEventManager::timestampInterval() {
    vkt_requireMainThread("timestampInterval");
    const double now = VKTTimeInterval(VKTPlatform::current().clock->now().time_since_epoch()).count();
    const double previous = std::exchange(previousTimestamp_, now);
    return previous == noTimestamp ? noTimestamp : now - previous;
}

void VKTViewabilityTrackingEventManager::fireOrPostponeViewabilityPixels(double percentage, bool viewable) {
    vkt_requireMainThread("fireOrPostponeViewabilityPixels");
    const double interval = timestampInterval();
    if (interval == noTimestamp) return;
    const auto self = shared_from_this();        // the delegate may let go of it,
    const auto walked = eventProgressionItems_;  // change the list
    const std::size_t resetsBefore = resets_;    // or reset the tracking: this tick's time is then void
    for (auto each = walked.rbegin(); each != walked.rend() && resets_ == resetsBefore; ++each)
        updatePixelVisibilityStatus(*each, viewable ? percentage : 0, interval);
}

void VKTViewabilityTrackingEventManager::updatePixelVisibilityStatus(
    const std::shared_ptr<EventProgression>& progression, double percentageOfVisibility,
    double timestampInterval) {
    vkt_requireMainThread("updatePixelVisibilityStatus");
    const bool isSeen = percentageOfVisibility >= progression->area();
    progression->setCurrentDuration(isSeen ? progression->currentDuration() + timestampInterval : 0);
    const bool isDue = isSeen && progression->currentDuration() >= progression->duration();
    if (!isDue) return;
    // Taken out before it is fired, so that a delegate that comes back here finds it gone.
    const auto event = progression->event();
    if (!removeProgression(*progression)) return;
    VKTLog::sharedInstance()->logDebugWithFormat("Viewability criteria reached for pixel: %@",
                                                 event->eventName());
    VKTReplacements variables;
    VKTReplacements additionalMacros;
    vkt_callGuarded("variablesForEvent", [&] { variables = variablesForEvent(event); });
    vkt_callGuarded("additionalMacrosForEvent", [&] { additionalMacros = additionalMacrosForEvent(event); });
    trackEventByReference(event, variables, additionalMacros, true);
}

bool VKTViewabilityTrackingEventManager::removeProgression(const EventProgression& progression) {
    // From the end, where the walk begins: what fires together is removed in linear time.
    const auto found = std::find_if(eventProgressionItems_.rbegin(), eventProgressionItems_.rend(),
                                    [&](const auto& each) { return each.get() == &progression; });
    if (found == eventProgressionItems_.rend()) return false;
    eventProgressionItems_.erase(std::next(found).base());
    return true;
}

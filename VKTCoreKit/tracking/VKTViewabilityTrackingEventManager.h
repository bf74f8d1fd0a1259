// Pixels for views that have been seen for long enough.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/core/VKTTimer.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/tracking/VKTTrackingEventManager.h"
#include "VKTCoreKit/tracking/VKTViewabilityStatus.h"

/// How far one viewability event has come. An object with identity; main thread only.
class VKT_EXPORT VKTViewabilityTrackingEventManagerEventProgression {
  public:
    /// With a random ID. The event must not be null.
    static std::shared_ptr<VKTViewabilityTrackingEventManagerEventProgression> initWithEvent(
        std::shared_ptr<VKTViewabilityTrackingEvent> event);

    [[nodiscard]] std::uint32_t ID() const { return ID_; }
    [[nodiscard]] const std::shared_ptr<VKTViewabilityTrackingEvent>& event() const { return event_; }

    [[nodiscard]] double currentDuration() const {
        return currentDuration_;
    }  ///< seconds seen without a break
    void setCurrentDuration(double currentDuration) { currentDuration_ = currentDuration; }

    [[nodiscard]] const std::string& name() const { return event_->eventName(); }
    [[nodiscard]] const VKTURL& URL() const { return event_->eventURL(); }
    [[nodiscard]] double area() const { return event_->eventArea(); }
    [[nodiscard]] double duration() const { return event_->eventExpositionTime(); }  ///< seconds

    /// Equal IDs.
    [[nodiscard]] bool isEqual(const VKTViewabilityTrackingEventManagerEventProgression& other) const {
        return ID_ == other.ID_;
    }

  private:
    explicit VKTViewabilityTrackingEventManagerEventProgression(
        std::shared_ptr<VKTViewabilityTrackingEvent> event);

    const std::uint32_t ID_;
    const std::shared_ptr<VKTViewabilityTrackingEvent> event_;
    double currentDuration_ = 0;
};

/// Fires each of its `VKTViewabilityTrackingEvent`s once, as soon as its area has been seen for its time
/// without a break. Its owner passes on what a `VKTViewabilityManager` reports; the time is taken from the
/// wall clock between the ticks of a timer of its own, four times a second.
///
/// Main thread only, as the base class. The delegate may track, stop, reset or let go of the manager inside
/// its callback. Stop it before letting go of it.
///
/// ```cpp
/// #include <VKTCoreKit/tracking/VKTViewableImpressionEvent.h>
///
/// VKTTrackingEvents events;
/// for (const auto& event : ad->viewabilityEvents())
///     if (auto viewable = VKTViewableImpressionEvent::initWithEvent(event)) events.push_back(viewable);
/// auto tracking = VKTViewabilityTrackingEventManager::initWithEventFactory(
///     *VKTTrackingEventDefaultFactory::initWithEvents(events), macros, delegate, pixelManager);
/// tracking->startViewabilityTracking();
/// tracking->viewabilityUpdatedWithViewabilityStatus(sampling->viewabilityStatus());  // with each change
/// ```
class VKT_EXPORT VKTViewabilityTrackingEventManager : public VKTTrackingEventManager,
                                                      public VKTTimerDelegate {
  public:
    using EventProgression = VKTViewabilityTrackingEventManagerEventProgression;
    using EventProgressions = std::vector<std::shared_ptr<EventProgression>>;

    /// Without a pixel manager, the shared one.
    static std::shared_ptr<VKTViewabilityTrackingEventManager> initWithEventFactory(
        const VKTTrackingEventFactory& eventFactory, VKTReplacements macros,
        const std::shared_ptr<VKTTrackingEventManagerDelegate>& delegate,
        std::shared_ptr<VKTPixelManager> pixelManager = nullptr);

    /// Time counts from the first tick on.
    void startViewabilityTracking();

    /// What has been seen so far stays counted.
    void stopViewabilityTracking();

    /// Begins anew with what has not fired.
    void resetViewabilityTracking();

    /// What is seen from now on. Until the first of these no time counts. A share that is not a number is
    /// less than every area.
    void viewabilityUpdated(bool viewable, double withPercentage);  ///< kept as a 32-bit number
    void viewabilityUpdatedWithViewabilityStatus(const VKTViewabilityStatus& status);

    void timerFired(VKTTimer& timer) override;

    /// Makes the progressions of all events that have not been consumed, from 0.
    void initializeViewabilityTrackingEventTable();

    /// Seconds since the call before; -1 for the first call after a start or reset.
    double timestampInterval();

    /// One tick: counts the time since the one before as seen, or as not seen, and fires what is due, the
    /// last in the list first.
    void fireOrPostponeViewabilityPixels(double percentage, bool viewable);
    void updatePixelVisibilityStatus(const std::shared_ptr<EventProgression>& progression,
                                     double percentageOfVisibility, double timestampInterval);

    [[nodiscard]] const std::shared_ptr<VKTTimer>& timer() const { return timer_; }
    [[nodiscard]] std::optional<bool> currentViewableStatus() const { return currentViewableStatus_; }
    [[nodiscard]] std::optional<double> currentPercentage() const { return currentPercentage_; }
    [[nodiscard]] double previousTimestamp() const {
        return previousTimestamp_;
    }  ///< seconds since 1970, or -1
    [[nodiscard]] const EventProgressions& eventProgressionItems() const { return eventProgressionItems_; }

  protected:
    VKTViewabilityTrackingEventManager(const VKTTrackingEventFactory& eventFactory, VKTReplacements macros,
                                       const std::shared_ptr<VKTTrackingEventManagerDelegate>& delegate,
                                       std::shared_ptr<VKTPixelManager> pixelManager);

    /// What goes into an event's URL besides the manager's own macros; nothing when it throws, as the pixel
    /// counts without it.
    [[nodiscard]] virtual VKTReplacements variablesForEvent(
        const std::shared_ptr<VKTViewabilityTrackingEvent>& /*event*/) const {
        return {};
    }
    [[nodiscard]] virtual VKTReplacements additionalMacrosForEvent(
        const std::shared_ptr<VKTViewabilityTrackingEvent>& /*event*/) const {
        return {};
    }

  private:
    void makeProgressions();
    bool removeProgression(const EventProgression& progression);

    std::shared_ptr<VKTTimer> timer_;  // null when stopped
    std::optional<bool> currentViewableStatus_;
    std::optional<double> currentPercentage_;
    double previousTimestamp_ = -1;
    EventProgressions eventProgressionItems_;
    std::size_t resets_ = 0;
};

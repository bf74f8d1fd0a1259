// The criterion by which a "Viewable" pixel of an ad (VAST 4.2, "ViewableImpression") is called.
#pragma once

#include <memory>
#include <string>

#include "VKTCoreKit/core/VKTTrackingEvent.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTViewabilityEvent.h"

/// A video ad counts as seen when half of its pixels were visible for two seconds on end: the criterion for
/// video of the Media Rating Council's viewable ad impression measurement guidelines. VAST names no numbers.
inline constexpr double VKTViewableVideoArea = 0.5;  ///< share of the view, from 0 to 1
inline constexpr double VKTViewableVideoTime = 2;    ///< seconds

/// A "viewable" event of an ad with its criterion, for a `VKTViewabilityTrackingEventManager`, which has an
/// example.
///
/// The manager counts continuous time as far as samples four times a second show it: what it knows at a tick
/// is taken for the time since the tick before, and one tick with a smaller share begins anew. So the pixel
/// is called up to a quarter of a second before or after the moment, and a break that no sample meets is not
/// noticed. Stopping the manager, for a pause, is no break. The share is compared as a 32-bit number: it can
/// be a little less than an area such as 0.7, which has no exact form, but not than 0.5.
///
/// Immutable; any thread. It equals itself only: of two events with one URL both are called.
class VKT_EXPORT VKTViewableImpressionEvent final : public VKTViewabilityTrackingEvent {
  public:
    /// Null unless the event is there and named "viewable". The time is in seconds. An area above 1, and
    /// either number when it is not one, is a criterion that is never reached.
    static std::shared_ptr<VKTViewableImpressionEvent> initWithEvent(
        std::shared_ptr<VKTVASTViewabilityEvent> event, double area = VKTViewableVideoArea,
        double expositionTime = VKTViewableVideoTime);

    [[nodiscard]] const std::shared_ptr<VKTVASTViewabilityEvent>& event() const { return event_; }

    [[nodiscard]] const std::string& eventName() const override { return event_->eventName(); }
    [[nodiscard]] const VKTURL& eventURL() const override { return event_->eventURL(); }
    [[nodiscard]] bool isEventConsumable() const override { return event_->isEventConsumable(); }
    [[nodiscard]] double eventArea() const override { return area_; }
    [[nodiscard]] double eventExpositionTime() const override { return expositionTime_; }

  private:
    VKTViewableImpressionEvent(std::shared_ptr<VKTVASTViewabilityEvent> event, double area,
                               double expositionTime);

    const std::shared_ptr<VKTVASTViewabilityEvent> event_;
    const double area_;
    const double expositionTime_;
};

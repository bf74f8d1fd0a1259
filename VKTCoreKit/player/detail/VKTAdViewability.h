// Whether one ad's showing was viewable.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/tracking/VKTVASTPixelManager.h"
#include "VKTCoreKit/tracking/VKTViewabilityManager.h"
#include "VKTCoreKit/tracking/VKTViewabilityTrackingEventManager.h"
#include "VKTCoreKit/vast/VKTVASTAd.h"

/// Calls one kind of an ad's viewability pixels (VAST 4.2, "ViewableImpression"): viewable as soon as the
/// criterion of VKTViewableImpressionEvent.h is met, else, at the end, notviewable, or viewundetermined when
/// the view never stood in a window. Main loop only.
class VKTAdViewability : public VKTTrackingEventManagerDelegate,
                         public VKTViewabilityManagerDelegate,
                         public std::enable_shared_from_this<VKTAdViewability> {
  public:
    /// Hears of each event that has made pixels.
    using EventHandler = std::function<void(const std::string& event, const VKTPixels& pixels)>;

    /// The view may be null: that is undetermined.
    static std::shared_ptr<VKTAdViewability> initWithAd(const VKTVASTAd& ad,
                                                        const std::shared_ptr<VKTView>& view,
                                                        const VKTVASTPixelManager& pixels,
                                                        std::shared_ptr<VKTMainLoop> mainLoop,
                                                        EventHandler onEvent);

    /// While the ad is played: time that is paused does not count.
    void start();
    void stop();

    /// The showing is over.
    void end();

    void trackingEventManagerDidTrackEventWithPixels(VKTTrackingEventManager& manager,
                                                     const std::string& eventName,
                                                     const VKTPixels& pixels) override;
    void viewabilityManagerDidChangeViewabilityStatus(VKTViewabilityManager& manager,
                                                      const VKTViewabilityStatus& status) override;

  private:
    VKTAdViewability(std::shared_ptr<VKTView> view, std::shared_ptr<VKTMainLoop> mainLoop,
                     EventHandler onEvent)
        : view_(std::move(view)), mainLoop_(std::move(mainLoop)), onEvent_(std::move(onEvent)) {}

    void timeExposure(const VKTViewabilityStatus& status);

    const std::shared_ptr<VKTView> view_;
    const std::shared_ptr<VKTMainLoop> mainLoop_;
    const EventHandler onEvent_;
    std::shared_ptr<VKTTrackingEventManager> outcomes_;
    std::shared_ptr<VKTViewabilityTrackingEventManager> viewable_;
    std::shared_ptr<VKTViewabilityManager> sampling_;
    std::unique_ptr<VKTRunLoopTimer> exposureTimer_;
    bool hasViewablePixels_ = false;
    bool wasMeasured_ = false;
    bool wasViewable_ = false;
};

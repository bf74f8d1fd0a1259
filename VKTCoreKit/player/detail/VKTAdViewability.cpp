#include "VKTCoreKit/player/detail/VKTAdViewability.h"

#include <utility>

#include "VKTCoreKit/tracking/VKTViewableImpressionEvent.h"

namespace {

bool isExposed(const VKTViewabilityStatus& status) {
    return status.viewable && status.percentage >= VKTViewableVideoArea;
}

template <typename Manager>
std::shared_ptr<Manager> managerOf(VKTTrackingEvents events, const VKTVASTPixelManager& pixels,
                                   const std::shared_ptr<VKTTrackingEventManagerDelegate>& delegate) {
    return Manager::initWithEventFactory(*VKTTrackingEventDefaultFactory::initWithEvents(std::move(events)),
                                         pixels.macros(), delegate, pixels.pixelManager());
}

}  // namespace

std::shared_ptr<VKTAdViewability> VKTAdViewability::initWithAd(const VKTVASTAd& ad,
                                                               const std::shared_ptr<VKTView>& view,
                                                               const VKTVASTPixelManager& pixels,
                                                               std::shared_ptr<VKTMainLoop> mainLoop,
                                                               EventHandler onEvent) {
    std::shared_ptr<VKTAdViewability> made(
        new VKTAdViewability(view, std::move(mainLoop), std::move(onEvent)));
    VKTTrackingEvents viewable;
    VKTTrackingEvents outcomes;
    for (const auto& event : ad.viewabilityEvents()) {
        if (auto viewableEvent = VKTViewableImpressionEvent::initWithEvent(event)) {
            viewable.push_back(std::move(viewableEvent));
        } else {
            outcomes.push_back(event);
        }
    }
    made->hasViewablePixels_ = !viewable.empty();
    made->outcomes_ = managerOf<VKTTrackingEventManager>(std::move(outcomes), pixels, made);
    made->viewable_ = managerOf<VKTViewabilityTrackingEventManager>(std::move(viewable), pixels, made);
    made->sampling_ = VKTViewabilityManager::initWithView(view, made);
    return made;
}

void VKTAdViewability::start() {
    sampling_->startViewabilityTracking();
    viewable_->startViewabilityTracking();
}

void VKTAdViewability::stop() {
    sampling_->stopViewabilityTracking();
    viewable_->stopViewabilityTracking();
    exposureTimer_.reset();
}

void VKTAdViewability::end() {
    stop();
    if (!wasMeasured_) {
        outcomes_->trackEvent("viewundetermined", {});
    } else if (!wasViewable_) {
        outcomes_->trackEvent("notviewable", {});
    }
}

void VKTAdViewability::trackingEventManagerDidTrackEventWithPixels(VKTTrackingEventManager& manager,
                                                                   const std::string& eventName,
                                                                   const VKTPixels& pixels) {
    if (&manager == viewable_.get()) wasViewable_ = true;
    if (!pixels.empty()) onEvent_(eventName, pixels);
}

void VKTAdViewability::viewabilityManagerDidChangeViewabilityStatus(VKTViewabilityManager& /*manager*/,
                                                                    const VKTViewabilityStatus& status) {
    viewable_->viewabilityUpdatedWithViewabilityStatus(status);
    if (view_ && VKTViewabilityManager::parentWindowForView(*view_)) wasMeasured_ = true;
    if (!hasViewablePixels_) timeExposure(status);
}

// For documents that ask for no viewable pixel, but for one in the other case. Where there are viewable
// pixels, they alone decide, so that one of the two is called.
void VKTAdViewability::timeExposure(const VKTViewabilityStatus& status) {
    if (!isExposed(status)) {
        exposureTimer_.reset();
    } else if (!exposureTimer_) {
        // What has happened since the last sample counts.
        exposureTimer_ = mainLoop_->schedule(VKTTimeInterval(VKTViewableVideoTime), [this] {
            wasViewable_ = wasViewable_ || isExposed(sampling_->viewabilityStatus());
        });
    }
}

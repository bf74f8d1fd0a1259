#include "VKTCoreKit/player/detail/VKTAdTracking.h"

#include <algorithm>
#include <array>
#include <utility>

#include "VKTCoreKit/platform/VKTGuardedCall.h"

namespace {

constexpr std::size_t quartileCount = 4;  // the end included

}  // namespace

VKTAdTracking::VKTAdTracking(VKTAdBreakAd ad, VKTAdBreakOptions options,
                             std::shared_ptr<VKTVASTPixelManager> pixels,
                             std::shared_ptr<VKTAdViewability> viewability, std::shared_ptr<Session> session,
                             EventHandler onEvent)
    : ad_(std::move(ad)),
      options_(std::move(options)),
      pixels_(std::move(pixels)),
      viewability_(std::move(viewability)),
      session_(std::move(session)),
      onEvent_(std::move(onEvent)) {}

void VKTAdTracking::begin(const VKTAdBeginning& beginning) {
    duration_ = beginning.duration;
    volume_ = beginning.volume;
    video_ = managerOf(*VKTVASTTrackingEventFactory::initWithVASTTrackingEvents(
        ad_.creative->trackingEvents(), duration_.value_or(0)));
    viewability_->start();
    callPixels(ad_.ad->impressions(), "impression");
    track(VKTVideoEventCreativeView);
    track(VKTVideoEventLoaded);
    measure(&Session::loadedOccurredWithVASTProperties,
            VKTOpenMeasurementVASTProperties::initWithSkipOffset(beginning.skipOffset.value_or(-1), true));
    measure(&Session::impressionOccurred);
    measureStart();
    if (!duration_) track(VKTVideoEventStart);
    progressTo(0);
}

std::shared_ptr<VKTVideoTrackingEventManager> VKTAdTracking::managerOf(
    const VKTVASTTrackingEventFactory& events) {
    return VKTVideoTrackingEventManager::initWithEventFactory(events, pixels_->macros(), shared_from_this(),
                                                              pixels_->pixelManager());
}

// What could be placed before stays with the first manager, which has tracked some of it.
void VKTAdTracking::durationBecameKnown(double duration) {
    duration_ = duration;
    VKTVASTTrackingEventFactory::VASTTrackingEvents unplaced;
    for (const auto& event : ad_.creative->trackingEvents()) {
        if (event->eventOffset() < 0 && video_->events().contains(*event)) unplaced.push_back(event);
    }
    lateVideo_ = managerOf(*VKTVASTTrackingEventFactory::initWithVASTTrackingEvents(unplaced, duration));
    measureStart();
}

void VKTAdTracking::progressTo(double position) {
    progressOn(video_, position);
    progressOn(lateVideo_, position);
    measureQuartilesAt(position);
}

void VKTAdTracking::progressOn(const std::shared_ptr<VKTVideoTrackingEventManager>& manager,
                               double position) {
    if (!manager) return;
    withMacros([&](const VKTReplacements& macros) {
        manager->playbackProgressedToTime(position, options_.variables, macros);
    });
}

void VKTAdTracking::pause() {
    if (std::exchange(isPaused_, true)) return;
    viewability_->stop();
    measure(&Session::videoEventPauseOccurred);
    track(VKTVideoEventPause);
}

void VKTAdTracking::resume() {
    if (!std::exchange(isPaused_, false)) return;
    viewability_->start();
    measure(&Session::videoEventResumeOccurred);
    track(VKTVideoEventResume);
}

void VKTAdTracking::volumeChanged(double volume) {
    if (volume == volume_) return;
    const bool isMuteChanged = (volume == 0) != (std::exchange(volume_, volume) == 0);
    if (isMuteChanged) track(volume > 0 ? VKTVideoEventUnmute : VKTVideoEventMute);
    measure(&Session::videoEventVolumeChangeOccurred, volume_);
}

void VKTAdTracking::setFullscreen(bool isFullscreen) {
    track(isFullscreen ? VKTVideoEventFullscreen : VKTVideoEventExitFullscreen);
    measure(isFullscreen ? &Session::videoEventEnterFullscreen : &Session::videoEventExitFullscreen);
}

void VKTAdTracking::click() {
    track(VKTVideoEventClick);
    measure(&Session::videoEventUserInteraction);
    callPixels(ad_.creative->clickTracking(), "clickTracking");
}

void VKTAdTracking::skip() {
    track(VKTVideoEventSkip);
    measure(&Session::videoEventSkipped);
}

void VKTAdTracking::track(VKTVideoEvent event) {
    trackOn(*video_, event);
}

void VKTAdTracking::trackOn(VKTVideoTrackingEventManager& manager, VKTVideoEvent event) {
    withMacros(
        [&](const VKTReplacements& macros) { manager.trackVideoEvent(event, options_.variables, macros); });
}

void VKTAdTracking::complete(double position) {
    if (!duration_ && position > 0) durationBecameKnown(position);
    progressTo(position);
    constexpr std::array names{VKTVideoEventFirstQuartile, VKTVideoEventMidpoint, VKTVideoEventThirdQuartile,
                               VKTVideoEventComplete};
    const std::size_t first = duration_ ? quartiles_ : quartileCount - 1;
    for (std::size_t quartile = first; quartile < quartileCount; ++quartile)
        trackOn(lateVideo_ ? *lateVideo_ : *video_, names.at(quartile));
    if (duration_) measureQuartilesAt(*duration_);
}

void VKTAdTracking::fail(const VKTVASTError& error) {
    if (ad_.ad->errorPixels().empty() || error.VASTCode() == -1) return;
    onEvent_("error", pixels_->callVASTErrorPixels(ad_.ad->errorPixels(), error.VASTCode()));
}

void VKTAdTracking::end() {
    if (std::exchange(isOver_, true)) return;
    if (session_) session_->finish();
    if (!hasBegun()) return;
    video_->cancelProgress();
    if (lateVideo_) lateVideo_->cancelProgress();
    viewability_->end();
}

void VKTAdTracking::callPixels(const std::vector<VKTVASTURL>& URLs, const char* event) {
    if (URLs.empty()) return;
    withMacros([&](const VKTReplacements& macros) {
        onEvent_(event, pixels_->callVASTPixels(URLs, macros, event));
    });
}

void VKTAdTracking::measureStart() {
    if (duration_) measure(&Session::videoEventStartOccurredWithDuration, *duration_, volume_);
}

void VKTAdTracking::measureQuartilesAt(double position) {
    if (!duration_) return;
    constexpr std::array quartiles{
        &Session::videoEventFirstQuartileOccurred, &Session::videoEventMidpointOccurred,
        &Session::videoEventThirdQuartileOccurred, &Session::videoEventCompleteOccurred};
    const auto reached =
        static_cast<std::size_t>(std::clamp(quartileCount * position / *duration_, 0.0, 4.0));
    while (quartiles_ < reached)
        measure(quartiles.at(quartiles_++));
}

void VKTAdTracking::withMacros(const std::function<void(const VKTReplacements& macros)>& call) const {
    if (isOver_) return;
    VKTReplacements macros;
    if (options_.macrosOfTheMoment)
        vkt_callGuarded("VKTAdBreakOptions::macrosOfTheMoment",
                        [&] { macros = options_.macrosOfTheMoment(); });
    if (!isOver_) call(macros);
}

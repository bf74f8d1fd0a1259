#include "playing/AdPlayer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "VKTCoreKit/core/VKTTimeUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "ground/MediaFileChoice.h"
#include "ground/Text.h"

namespace {

constexpr double tickInterval = 0.25;
constexpr double pauseTime = 2;

// A video ad has been seen when half of it was visible for two seconds without a break.
constexpr double viewableArea = 0.5;
constexpr double viewableTime = 2;

constexpr const char* viewableName = "viewable";

// A "viewable" event of the document with the criterion for video ads.
class ViewableEvent : public VKTViewabilityTrackingEvent {
  public:
    explicit ViewableEvent(std::shared_ptr<VKTVASTViewabilityEvent> event) : event_(std::move(event)) {}

    [[nodiscard]] const std::string& eventName() const override { return event_->eventName(); }
    [[nodiscard]] const VKTURL& eventURL() const override { return event_->eventURL(); }
    [[nodiscard]] bool isEventConsumable() const override { return true; }
    [[nodiscard]] double eventArea() const override { return viewableArea; }
    [[nodiscard]] double eventExpositionTime() const override { return viewableTime; }

  private:
    const std::shared_ptr<VKTVASTViewabilityEvent> event_;
};

bool isExposed(const VKTViewabilityStatus& status) {
    return status.viewable && status.percentage >= viewableArea;
}

VKTRunLoop& loop() {
    return *VKTPlatform::current().mainRunLoop;
}

std::string secondsText(double seconds) {
    return vkt_numberDescription(seconds) + " s";
}

// Seconds; nothing when the ad cannot be skipped.
std::optional<double> skipOffsetOf(const VKTVASTAd& ad, const VKTVASTCreativeLinear& creative,
                                   double duration) {
    std::optional<std::string> text = creative.skipOffset();
    if (!text && ad.extensions()) text = ad.extensions()->skipOffset;
    if (!text) return std::nullopt;
    const double offset = VKTTimeUtils::offsetTypeFromString(*text) == VKTOffsetTypePercentage
                              ? VKTTimeUtils::timeIntervalFromPercentVASTDuration(*text, duration)
                              : VKTTimeUtils::timeIntervalFromVASTDuration(*text);
    return offset < 0 ? std::nullopt : std::optional(offset);
}

}  // namespace

void TimelineRecorder::add(double time, const std::string& event, const VKTPixels& pixels) {
    const bool isNew = timeline_.empty() || timeline_.back().time != time || timeline_.back().event != event;
    if (isNew) timeline_.push_back({time, event, {}});
    const auto places = ledger_.placesOf(pixels);
    auto& all = timeline_.back().pixels;
    all.insert(all.end(), places.begin(), places.end());
}

void TimelineRecorder::show() {
    for (; shown_ < timeline_.size(); ++shown_) {
        const auto& [time, event, pixels] = timeline_[shown_];
        std::string line = textOfTime(time);
        line += "  " + event + ": ";
        line += pixels.empty() ? "nothing to call" : countOf(pixels.size(), "pixel");
        screen_.line(line);
    }
}

AdPlayer::AdPlayer(const AdPlayerContext& context, std::shared_ptr<VKTVASTAd> ad,
                   std::shared_ptr<VKTVASTCreativeLinear> creative)
    : context_(context),
      ad_(std::move(ad)),
      creative_(std::move(creative)),
      duration_(VKTTimeUtils::timeIntervalFromVASTDuration(creative_->duration().value_or(""))),
      skipOffset_(skipOffsetOf(*ad_, *creative_, duration_)),
      startTime_(VKTPlatform::current().clock->monotonicNow()),
      recorder_(context.ledger, context.screen) {}

void AdPlayer::prepare() {
    makeManagers();
    planActions();
    if (context_.measurement) context_.measurement->begin(*ad_, view_);
}

void AdPlayer::start() {
    callPixels(ad_->impressions(), "impression");
    video_->trackVideoEvent(VKTVideoEventCreativeView, {});
    video_->trackVideoEvent(VKTVideoEventLoaded, {});
    measure(&AdMeasurement::start, skipOffset_, duration_);
    if (duration_ <= 0) {
        playWithoutDuration();
        return;
    }
    startViewability();
    reach(0);
}

void AdPlayer::makeManagers() {
    const VKTRect screen{0, 0, 1920, 1080};
    window_ = VKTHeadlessView::windowWithFrame(screen);
    view_ = VKTHeadlessView::initWithFrame(screen);
    window_->addSubview(view_);

    const auto videoEvents =
        VKTVASTTrackingEventFactory::initWithVASTTrackingEvents(creative_->trackingEvents(), duration_);
    video_ = VKTVideoTrackingEventManager::initWithEventFactory(
        *videoEvents, context_.vastPixels->macros(), shared_from_this(), context_.vastPixels->pixelManager());

    VKTTrackingEvents viewable;
    VKTTrackingEvents outcomes;
    for (const auto& event : ad_->viewabilityEvents()) {
        if (event->eventName() == viewableName) {
            viewable.push_back(std::make_shared<ViewableEvent>(event));
        } else {
            outcomes.push_back(event);
        }
    }
    hasViewablePixels_ = !viewable.empty();
    viewabilityOutcomes_ = managerOf(std::move(outcomes));
    viewable_ = VKTViewabilityTrackingEventManager::initWithEventFactory(
        *VKTTrackingEventDefaultFactory::initWithEvents(std::move(viewable)), context_.vastPixels->macros(),
        shared_from_this(), context_.vastPixels->pixelManager());
    viewability_ = VKTViewabilityManager::initWithView(view_, shared_from_this());
}

void AdPlayer::callPixels(const std::vector<VKTVASTURL>& pixels, const char* event) {
    if (!pixels.empty()) recorder_.add(time(), event, context_.vastPixels->callVASTPixels(pixels, {}, event));
}

std::shared_ptr<VKTTrackingEventManager> AdPlayer::managerOf(VKTTrackingEvents events) {
    return VKTTrackingEventManager::initWithEventFactory(
        *VKTTrackingEventDefaultFactory::initWithEvents(std::move(events)), context_.vastPixels->macros(),
        shared_from_this(), context_.vastPixels->pixelManager());
}

void AdPlayer::planActions() {
    const PlayOptions& options = context_.options;
    const auto plan = [this](const std::optional<double>& position, const char* option,
                             void (AdPlayer::*run)()) {
        if (!position) return;
        if (*position < duration_) {
            actions_.push_back({*position, option, run});
        } else {
            context_.screen.note(std::string("note: ") + option + " " + secondsText(*position) +
                                 " is beyond the end of the ad and does nothing");
        }
    };
    plan(options.muteAt, "--mute-at", &AdPlayer::mute);
    plan(options.clickAt, "--click-at", &AdPlayer::click);
    plan(options.hideAt, "--hide-at", &AdPlayer::hide);
    plan(options.pauseAt, "--pause-at", &AdPlayer::pause);
    plan(options.skipAt, "--skip-at", &AdPlayer::skip);
    std::stable_sort(actions_.begin(), actions_.end(),
                     [](const Action& left, const Action& right) { return left.position < right.position; });
    std::reverse(actions_.begin(), actions_.end());
}

void AdPlayer::playWithoutDuration() {
    std::string note = "note: the ad's duration is not known; only its start and its end are tracked";
    // The standard's start event cannot do without one.
    if (context_.measurement) note += ", and verification scripts hear of neither";
    context_.screen.note(note);
    video_->trackVideoEvent(VKTVideoEventStart, {});
    video_->trackVideoEvent(VKTVideoEventComplete, {});
    end();
}

void AdPlayer::scheduleNextStop() {
    const double nextTick = (std::floor(position_ / tickInterval) + 1) * tickInterval;
    nextPosition_ = std::min(nextTick, duration_);
    if (!actions_.empty()) nextPosition_ = std::min(nextPosition_, actions_.back().position);
    after(nextPosition_ - position_, &AdPlayer::reachNextStop);
}

void AdPlayer::reachNextStop() {
    reach(nextPosition_);
}

void AdPlayer::reach(double position) {
    position_ = position;
    video_->playbackProgressedToTime(position, {});
    measure(&AdMeasurement::progressTo, position);
    recorder_.show();
    context_.screen.showBar(position, duration_);
    while (!hasEnded_ && !actions_.empty() && actions_.back().position <= position) {
        const Action action = actions_.back();
        actions_.pop_back();
        (this->*action.run)();
    }
    recorder_.show();
    if (hasEnded_ || isPaused_) return;
    if (position_ < duration_) {
        scheduleNextStop();
    } else {
        end();
    }
}

void AdPlayer::mute() {
    video_->trackVideoEvent(VKTVideoEventMute, {});
    measure(&AdMeasurement::mute);
}

void AdPlayer::click() {
    video_->trackVideoEvent(VKTVideoEventClick, {});
    measure(&AdMeasurement::click);
    callPixels(creative_->clickTracking(), "clickTracking");
}

void AdPlayer::hide() {
    view_->removeFromSuperview();
}

void AdPlayer::pause() {
    isPaused_ = true;
    video_->trackVideoEvent(VKTVideoEventPause, {});
    measure(&AdMeasurement::pause);
    stopViewability();
    after(pauseTime, &AdPlayer::resume);
}

void AdPlayer::resume() {
    isPaused_ = false;
    video_->trackVideoEvent(VKTVideoEventResume, {});
    measure(&AdMeasurement::resume);
    startViewability();
    reach(position_);
}

void AdPlayer::skip() {
    if (!skipOffset_) {
        context_.screen.note("note: the ad is not skippable; it is skipped all the same");
    } else if (position_ < *skipOffset_) {
        context_.screen.note("note: the ad is not skippable before " + secondsText(*skipOffset_) +
                             "; it is skipped all the same");
    }
    video_->trackVideoEvent(VKTVideoEventSkip, {});
    measure(&AdMeasurement::skip);
    end();
}

void AdPlayer::end() {
    hasEnded_ = true;
    stepTimer_.reset();
    stopViewability();
    trackOutcomeOfViewability();
    measure(&AdMeasurement::end);
    recorder_.show();
    context_.screen.hideBar();
}

void AdPlayer::trackOutcomeOfViewability() {
    if (!wasMeasured_) {
        viewabilityOutcomes_->trackEvent("viewundetermined", {});
    } else if (!wasViewable_) {
        viewabilityOutcomes_->trackEvent("notviewable", {});
    }
}

void AdPlayer::startViewability() {
    viewability_->startViewabilityTracking();
    viewable_->startViewabilityTracking();
}

void AdPlayer::stopViewability() {
    viewability_->stopViewabilityTracking();
    viewable_->stopViewabilityTracking();
    exposureTimer_.reset();
}

void AdPlayer::after(double seconds, void (AdPlayer::*step)()) {
    stepTimer_ = loop().schedule(VKTTimeInterval(seconds), [this, step] { (this->*step)(); });
}

double AdPlayer::time() const {
    return VKTTimeInterval(VKTPlatform::current().clock->monotonicNow() - startTime_).count();
}

void AdPlayer::trackingEventManagerDidTrackEventWithPixels(VKTTrackingEventManager& manager,
                                                           const std::string& eventName,
                                                           const VKTPixels& pixels) {
    if (&manager == viewable_.get()) wasViewable_ = true;
    if (!pixels.empty() || &manager == video_.get()) recorder_.add(time(), eventName, pixels);
}

void AdPlayer::viewabilityManagerDidChangeViewabilityStatus(VKTViewabilityManager& /*manager*/,
                                                            const VKTViewabilityStatus& status) {
    viewable_->viewabilityUpdatedWithViewabilityStatus(status);
    if (VKTViewabilityManager::parentWindowForView(*view_)) wasMeasured_ = true;
    if (!hasViewablePixels_) timeExposure(status);
}

// For documents that ask for no viewable pixel, but for one in the other case. Where there are viewable
// pixels, they alone decide, so that one of the two is called.
void AdPlayer::timeExposure(const VKTViewabilityStatus& status) {
    if (!isExposed(status)) {
        exposureTimer_.reset();
    } else if (!exposureTimer_) {
        // What has happened since the last sample counts.
        exposureTimer_ = loop().schedule(VKTTimeInterval(viewableTime), [this] {
            wasViewable_ = wasViewable_ || isExposed(viewability_->viewabilityStatus());
        });
    }
}

#include "VKTCoreKit/player/detail/VKTAdPlayback.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "VKTCoreKit/core/VKTTimeUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"

namespace {

constexpr double tickInterval = 0.25;     // seconds of media
constexpr double shortestTick = 0.001;    // seconds: a position may come ever closer to the next quarter
constexpr double longestMedia = 1e7;      // seconds; a number beyond it is none
constexpr double endTolerance = 1.5;      // seconds by which players' positions fall short at the end
constexpr VKTTimeInterval endTimeout{2};  // for the media player to tell of an end that is reached

bool isTime(double seconds) {
    return seconds >= 0 && seconds <= longestMedia;
}

std::optional<double> durationOrNothing(double seconds) {
    return seconds > 0 && isTime(seconds) ? std::optional(seconds) : std::nullopt;
}

// Where the end of media of this length begins, in seconds.
double endZone(double length) {
    return length - std::min(endTolerance, length / 4);
}

std::string secondsText(double seconds) {
    constexpr double thousandths = 1000;
    return vkt_numberDescription(std::round(seconds * thousandths) / thousandths) + " s";
}

// Seconds; nothing when the ad cannot be skipped, or not as long as the duration is not known.
std::optional<double> skipOffsetOf(const VKTAdBreakAd& ad, const std::optional<double>& duration) {
    std::optional<std::string> text = ad.creative->skipOffset();
    if (!text && ad.ad->extensions()) text = ad.ad->extensions()->skipOffset;
    if (!text) return std::nullopt;
    const double offset = VKTTimeUtils::offsetTypeFromString(*text) == VKTOffsetTypePercentage
                              ? VKTTimeUtils::timeIntervalFromPercentVASTDuration(*text, duration.value_or(0))
                              : VKTTimeUtils::timeIntervalFromVASTDuration(*text);
    return offset < 0 ? std::nullopt : std::optional(offset);
}

VKTVASTError errorOf(VKTMediaFailure failure) {
    switch (failure) {
        case VKTMediaFailureNotFound:
            return VKTVASTError::VAST_LINEAR_ERROR_MEDIA_UNABLE_TO_LOAD();
        case VKTMediaFailureTimeout:
            return VKTVASTError::VAST_LINEAR_ERROR_MEDIA_FETCH_TIMEOUT();
        case VKTMediaFailureNotSupported:
            return VKTVASTError::VAST_LINEAR_ERROR_MEDIA_NO_VALID_FORMAT();
        case VKTMediaFailureNotShown:
            return VKTVASTError::VAST_LINEAR_ERROR_MEDIA_UNABLE_TO_DISPLAY();
        case VKTMediaFailureGeneral:
            break;
    }
    return VKTVASTError::VAST_LINEAR_ERROR_GENERAL();
}

}  // namespace

// Takes what the media player tells, on whatever thread, to the main loop. It knows one file's playback, so
// that nothing of an earlier file is taken for the current one's.
class VKTAdPlayback::Events : public VKTMediaPlayerListener {
  public:
    explicit Events(const std::shared_ptr<VKTAdPlayback>& playback)
        : playback_(playback), mainLoop_(playback->mainLoop_) {}

    void mediaIsReady() override { post(&VKTAdPlayback::mediaIsReady); }
    void mediaDidStart() override { post(&VKTAdPlayback::mediaDidStart); }
    void mediaDidStall() override { post(&VKTAdPlayback::mediaDidStall); }
    void mediaDidEnd() override { post(&VKTAdPlayback::mediaDidEnd); }
    void mediaDidFail(VKTMediaFailure failure, const std::string& reason) override {
        post(&VKTAdPlayback::mediaDidFail, failure, reason);
    }

  private:
    template <typename... Parameters, typename... Arguments>
    void post(void (VKTAdPlayback::*event)(Parameters...), Arguments... arguments) {
        mainLoop_->post([weak = playback_, event, arguments...] {
            const auto playback = weak.lock();
            if (playback && playback->isLive()) ((*playback).*event)(arguments...);
        });
    }

    const std::weak_ptr<VKTAdPlayback> playback_;
    const std::shared_ptr<VKTMainLoop> mainLoop_;
};

VKTAdPlayback::VKTAdPlayback(const VKTAdBreakAd& ad, const VKTAdBreakOptions& options,
                             std::shared_ptr<VKTMainLoop> mainLoop,
                             std::shared_ptr<VKTMediaPlayer> mediaPlayer,
                             std::shared_ptr<VKTAdTracking> tracking,
                             std::weak_ptr<VKTAdPlaybackDelegate> delegate)
    : ad_(ad),
      options_(options),
      mainLoop_(std::move(mainLoop)),
      mediaPlayer_(std::move(mediaPlayer)),
      tracking_(std::move(tracking)),
      delegate_(std::move(delegate)),
      duration_(durationOrNothing(
          VKTTimeUtils::timeIntervalFromVASTDuration(ad_.creative->duration().value_or("")))) {}

// ---- what the break asks for ----

void VKTAdPlayback::start(double volume) {
    volume_ = volume;
    isLoaded_ = true;
    const auto events = std::make_shared<Events>(shared_from_this());
    if (!ask("load", [&](VKTMediaPlayer& player) { player.load(*ad_.mediaFile, events); })) return;
    if (!ask("setVolume", [&](VKTMediaPlayer& player) { player.setVolume(volume_); })) return;
    standstillTimer_ = mainLoop_->schedule(options_.loadTimeout, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        self->fail(VKTVASTError::VAST_LINEAR_ERROR_MEDIA_FETCH_TIMEOUT(),
                   "it was not ready to play within " + secondsText(self->options_.loadTimeout.count()));
    });
}

void VKTAdPlayback::pause() {
    if (isPaused_ || !isLive()) return;
    if (state_ != State::Loading) lookAtPosition();
    if (isPaused_ || !isLive()) return;
    isPaused_ = true;
    if (state_ == State::Loading) return;
    tickTimer_.reset();
    standstillTimer_.reset();
    if (!ask("pause", [](VKTMediaPlayer& player) { player.pause(); }) || !isPaused_) return;
    if (state_ == State::Started) tracking_->pause();
}

void VKTAdPlayback::resume() {
    if (!isPaused_ || !isLive()) return;
    isPaused_ = false;
    if (state_ == State::Loading) return;
    if (!ask("play", [](VKTMediaPlayer& player) { player.play(); }) || isPaused_) return;
    if (state_ == State::Started) tracking_->resume();
    lookAtPosition();
    if (!isLive() || isPaused_) return;
    scheduleTick(timeToNextTick());
    watchForStandstill();
}

void VKTAdPlayback::setVolume(double volume) {
    if (volume == volume_ || !isLive()) return;
    volume_ = volume;
    if (!ask("setVolume", [&](VKTMediaPlayer& player) { player.setVolume(volume); })) return;
    if (state_ != State::Started) return;
    lookAtPosition();
    if (state_ == State::Started) tracking_->volumeChanged(volume_);
}

void VKTAdPlayback::setFullscreen(bool isFullscreen) {
    if (state_ == State::Started) lookAtPosition();
    if (state_ == State::Started) tracking_->setFullscreen(isFullscreen);
}

void VKTAdPlayback::track(VKTVideoEvent event) {
    if (state_ == State::Started) lookAtPosition();
    if (state_ == State::Started) tracking_->track(event);
}

bool VKTAdPlayback::click() {
    if (state_ == State::Started) lookAtPosition();
    if (state_ != State::Started) return false;
    tracking_->click();
    return true;
}

bool VKTAdPlayback::canSkip() const {
    if (state_ != State::Started) return false;
    return !options_.enforcesSkipOffset || (skipOffset_ && position_ >= *skipOffset_);
}

bool VKTAdPlayback::skip() {
    if (state_ == State::Started) lookAtPosition();
    if (!canSkip()) return false;
    return endAs({VKTAdSkipped}, [this] { tracking_->skip(); });
}

void VKTAdPlayback::cancel() {
    endAs({VKTAdCancelled}, [] {});
    end();  // one that is under way
}

// ---- what the media player tells ----

void VKTAdPlayback::mediaIsReady() {
    if (state_ != State::Loading) return;
    state_ = State::Ready;
    standstillTimer_.reset();
    if (isPaused_) return;
    if (!ask("play", [](VKTMediaPlayer& player) { player.play(); })) return;
    if (isPaused_) return;
    scheduleTick(timeToNextTick());
    watchForStandstill();
}

void VKTAdPlayback::mediaDidStart() {
    if (state_ != State::Ready) return;
    lookAtDuration();
    if (state_ == State::Ready) begin();
    lookAtPosition();
}

// Until the position moves again. That it does in time is watched in any case.
void VKTAdPlayback::mediaDidStall() {
    if (state_ != State::Started || isPaused_ || std::exchange(isStalled_, true)) return;
    tracking_->stallBegan();
}

void VKTAdPlayback::mediaDidEnd() {
    if (state_ == State::Loading)
        return fail(errorOf(VKTMediaFailureNotShown), "it ended before it was ready");
    lookAtPosition();
    if (!isLive()) return;
    if (state_ == State::Ready) return fail(errorOf(VKTMediaFailureNotShown), "it ended without a picture");
    const auto length = lengthOfMedia();
    if (length && furthest_ < endZone(*length)) {
        return fail(errorOf(VKTMediaFailureNotShown),
                    "it ended after " + secondsText(furthest_) + " of " + secondsText(*length));
    }
    complete();
}

void VKTAdPlayback::mediaDidFail(VKTMediaFailure failure, const std::string& reason) {
    fail(errorOf(failure), reason.empty() ? "the media player gave no reason" : reason);
}

// ---- the position ----

// What is done with the ad while its beginning is tracked is tracked afterwards.
void VKTAdPlayback::begin() {
    state_ = State::Beginning;
    skipOffset_ = skipOffsetOf(ad_, duration_);
    tracking_->begin({duration_, skipOffset_, volume_});
    if (!isLive()) return;
    state_ = State::Started;
    tell(&VKTAdPlaybackDelegate::playbackDidStart);
    if (isLive() && skipOffset_) tell(&VKTAdPlaybackDelegate::playbackSkipPossibleFrom, *skipOffset_);
    if (isLive() && isPaused_) tracking_->pause();
    if (isLive()) tracking_->volumeChanged(volume_);
}

void VKTAdPlayback::tick() {
    const double before = position_;
    lookAtPosition();
    if (!isLive() || isPaused_) return;
    scheduleTick(position_ == before ? tickInterval : timeToNextTick());
}

void VKTAdPlayback::scheduleTick(double seconds) {
    tickTimer_ = mainLoop_->schedule(VKTTimeInterval(seconds), [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->tick();
    });
}

// Seconds to the next quarter of a second of the media, or to its end.
double VKTAdPlayback::timeToNextTick() const {
    double next = (std::floor(position_ / tickInterval) + 1) * tickInterval;
    if (duration_ && position_ < *duration_) next = std::min(next, *duration_);
    return std::max(next - position_, shortestTick);
}

void VKTAdPlayback::lookAtPosition() {
    if (!isLive()) return;
    lookAtDuration();
    double position = 0;
    if (!isLive() || !ask("position", [&](const VKTMediaPlayer& player) { position = player.position(); }))
        return;
    if (!isTime(position)) position = position_;
    if (state_ == State::Ready && position > 0) begin();
    if (!isLive()) return;
    // A media player that begins anew by itself.
    const bool hasWrapped = isAtEnd() && position < furthest_ / 2;
    const bool hasMoved = position != position_;
    position_ = position;
    furthest_ = std::max(furthest_, position);
    if (hasMoved) watchForStandstill();
    if (hasMoved && std::exchange(isStalled_, false) && !isPaused_) tracking_->stallEnded();
    if (state_ != State::Started) return;
    tracking_->progressTo(position);
    if (state_ == State::Started) tell(&VKTAdPlaybackDelegate::playbackDidProgress, position, duration_);
    if (state_ != State::Started) return;
    const auto length = lengthOfMedia();
    if (hasWrapped || (length && position > *length + endTolerance)) complete();
}

void VKTAdPlayback::lookAtDuration() {
    if (mediaDuration_) return;
    std::optional<double> duration;
    if (!ask("duration", [&](const VKTMediaPlayer& player) { duration = player.duration(); })) return;
    mediaDuration_ = durationOrNothing(duration.value_or(0));
    if (!mediaDuration_ || duration_) return;
    duration_ = mediaDuration_;
    if (!tracking_->hasBegun()) return;
    tracking_->durationBecameKnown(*duration_);
    if (skipOffset_ || state_ != State::Started) return;
    skipOffset_ = skipOffsetOf(ad_, duration_);
    if (skipOffset_) tell(&VKTAdPlaybackDelegate::playbackSkipPossibleFrom, *skipOffset_);
}

std::optional<double> VKTAdPlayback::lengthOfMedia() const {
    return mediaDuration_ ? mediaDuration_ : duration_;
}

bool VKTAdPlayback::isAtEnd() const {
    const auto length = lengthOfMedia();
    return length && furthest_ >= endZone(*length);
}

void VKTAdPlayback::watchForStandstill() {
    if (isPaused_) return;
    const VKTTimeInterval timeout =
        isAtEnd() ? std::min(endTimeout, options_.stallTimeout) : options_.stallTimeout;
    standstillTimer_ = mainLoop_->schedule(timeout, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->standsStill();
    });
}

void VKTAdPlayback::standsStill() {
    if (state_ == State::Started && isAtEnd()) return complete();
    const std::string where =
        state_ == State::Started ? "it has stood still at " + secondsText(position_) : "no picture was seen";
    fail(errorOf(VKTMediaFailureNotShown), where + " for " + secondsText(options_.stallTimeout.count()));
}

// ---- endings ----

void VKTAdPlayback::complete() {
    endAs({VKTAdCompleted}, [this] { tracking_->complete(furthest_); });
}

void VKTAdPlayback::fail(const VKTVASTError& error, const std::string& reason) {
    // Some media players fail where the media ends.
    if (state_ == State::Started && duration_ && furthest_ >= *duration_) return complete();
    endAs({VKTAdFailed, error, reason}, [&] { tracking_->fail(error); });
}

bool VKTAdPlayback::endAs(const VKTAdEnd& how, const std::function<void()>& trackLast) {
    if (!isLive()) return false;
    state_ = State::Ending;
    end_ = how;
    trackLast();
    end();
    return true;
}

// Whoever hears of a step may cancel: then the further steps are taken inside it.
void VKTAdPlayback::end() {
    state_ = State::Ended;
    tickTimer_.reset();
    standstillTimer_.reset();
    stop();
    tracking_->end();
    if (!std::exchange(isEndTold_, true)) tell(&VKTAdPlaybackDelegate::playbackDidEnd, end_);
}

void VKTAdPlayback::stop() {
    if (std::exchange(isLoaded_, false))
        vkt_callGuarded("VKTMediaPlayer::stop", [this] { mediaPlayer_->stop(); });
}

bool VKTAdPlayback::ask(const char* operation, const std::function<void(VKTMediaPlayer&)>& call) {
    if (vkt_callGuarded(std::string("VKTMediaPlayer::") + operation, [&] { call(*mediaPlayer_); }))
        return isLive();
    fail(errorOf(VKTMediaFailureGeneral), std::string("the media player threw in ") + operation);
    return false;
}

#include "VKTCoreKit/player/VKTAdBreakPlayer.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <unordered_set>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/player/VKTAdBreakResolver.h"
#include "VKTCoreKit/player/detail/VKTAdBreakWorker.h"
#include "VKTCoreKit/player/detail/VKTAdPlayback.h"

namespace {

// Takes what becomes of pixels, of all pixels of the manager, from its worker to the main loop.
class PixelWatch : public VKTPixelObserver {
  public:
    using Handler =
        std::function<void(const std::shared_ptr<VKTPixel>& pixel, const VKTPixelOutcome& outcome)>;

    /// The handler is called on the main loop.
    PixelWatch(std::shared_ptr<VKTMainLoop> mainLoop, Handler handler)
        : mainLoop_(std::move(mainLoop)), handler_(std::move(handler)) {}

    void pixelDelivered(const std::shared_ptr<VKTPixel>& pixel,
                        const VKTURLSessionResponse& response) override {
        post(pixel, outcomeOf(VKTPixelDelivered, response));
    }
    void pixelRefused(const std::shared_ptr<VKTPixel>& pixel, const VKTURLSessionResponse& response,
                      bool isTriedAgain) override {
        VKTPixelOutcome outcome = outcomeOf(VKTPixelRefused, response);
        outcome.isTriedAgain = isTriedAgain;
        post(pixel, outcome);
    }
    void pixelExpired(const std::shared_ptr<VKTPixel>& pixel) override { post(pixel, {VKTPixelExpired}); }

  private:
    static VKTPixelOutcome outcomeOf(VKTPixelOutcomeKind kind, const VKTURLSessionResponse& response) {
        VKTPixelOutcome outcome{kind, std::nullopt, response.error()};
        if (response.response()) outcome.statusCode = response.response()->statusCode;
        return outcome;
    }
    void post(const std::shared_ptr<VKTPixel>& pixel, const VKTPixelOutcome& outcome) const {
        mainLoop_->post([handler = handler_, pixel, outcome] { handler(pixel, outcome); });
    }

    const std::shared_ptr<VKTMainLoop> mainLoop_;
    const Handler handler_;
};

}  // namespace

// Everything of one break. The player is its handle: what the delegate hears is told as long as that lives.
class VKTAdBreakPlayer::Break : public VKTAdBreakWorkerDelegate,
                                public VKTAdPlaybackDelegate,
                                public std::enable_shared_from_this<Break> {
  public:
    Break(std::shared_ptr<VKTMediaPlayer> mediaPlayer, std::shared_ptr<VKTView> view,
          const std::shared_ptr<VKTAdBreakPlayerDelegate>& delegate, VKTAdBreakServices services,
          VKTAdBreakOptions options)
        : mediaPlayer_(std::move(mediaPlayer)),
          view_(std::move(view)),
          delegate_(delegate),
          services_(std::move(services)),
          options_(std::move(options)) {
        setVolume(options_.volume);
    }

    void setPlayer(const std::shared_ptr<VKTAdBreakPlayer>& player) {
        player_ = player;
        pixelWatch_ = std::make_shared<PixelWatch>(
            services_.mainLoop, [weak = weak_from_this()](const auto& pixel, const auto& outcome) {
                if (const auto self = weak.lock()) self->pixelWasSent(pixel, outcome);
            });
        services_.pixelManager->addObserver(pixelWatch_);
    }

    void start(std::optional<std::string> xml, const std::optional<VKTURL>& url);
    void cancel();

    // ---- what the application asks for ----

    template <typename... Parameters, typename... Arguments>
    void ask(void (VKTAdPlayback::*what)(Parameters...), Arguments... arguments) {
        if (const auto playback = playback_) ((*playback).*what)(arguments...);
    }
    void setVolume(double volume) {
        if (std::isnan(volume)) return;
        fullVolume_ = std::clamp(volume, 0.0, 1.0);
        applyVolume(false);
    }
    void applyVolume(bool isMuted) {
        isMuted_ = isMuted;
        ask(&VKTAdPlayback::setVolume, volume());
    }
    void setFullscreen(bool isFullscreen) {
        if (std::exchange(isFullscreen_, isFullscreen) != isFullscreen)
            ask(&VKTAdPlayback::setFullscreen, isFullscreen);
    }
    void click();
    bool skip() {
        const auto playback = playback_;
        return playback && playback->skip();
    }

    [[nodiscard]] const std::shared_ptr<VKTAdPlayback>& playback() const { return playback_; }
    [[nodiscard]] const std::optional<VKTAdBreakAd>& currentAd() const { return currentAd_; }
    [[nodiscard]] double volume() const { return isMuted_ ? 0 : fullVolume_; }
    [[nodiscard]] const std::shared_ptr<VKTOpenMeasurementAdSession>& session() const { return session_; }
    [[nodiscard]] const VKTOpenMeasurementManager::Scripts& scripts() const { return scripts_; }

    // ---- what the worker and the playback tell ----

    void workerDidEncounterError(const VKTVASTError& error,
                                 const std::vector<VKTVASTURL>& errorURLs) override;
    void workerDidDropElement(const std::string& path, const std::string& reason) override {
        if (!isOver_) tell(&VKTAdBreakPlayerDelegate::adBreakPlayerDidDropElement, path, reason);
    }
    void workerDidFindAd(const VKTAdBreakAd& ad) override;
    void workerDidEnd(const VKTAdBreakResolution& resolution) override;
    void workerDidFindPassbacks(const std::vector<VKTAdBreakAd>& ads) override;

    void playbackDidStart() override {
        const VKTAdBreakAd ad = *currentAd_;  // the delegate may end it
        tell(&VKTAdBreakPlayerDelegate::adBreakPlayerDidStartAd, ad);
    }
    void playbackSkipPossibleFrom(double seconds) override {
        tell(&VKTAdBreakPlayerDelegate::adBreakPlayerSkipPossibleFrom, seconds);
    }
    void playbackDidProgress(double position, std::optional<double> duration) override {
        tell(&VKTAdBreakPlayerDelegate::adBreakPlayerDidProgress, position, duration);
    }
    void playbackDidEnd(const VKTAdEnd& end) override;

  private:
    void postAdvance();
    void advance();
    void present(const VKTAdBreakAd& ad);
    void play(const VKTAdBreakAd& ad);
    void openMeasurement(const VKTVASTAd& ad);
    void adDidEnd(const VKTAdEnd& end);
    void end(VKTAdBreakEndKind kind);
    void tellEnd();

    // With macros of its own, since some of them are of the moment.
    [[nodiscard]] std::shared_ptr<VKTVASTPixelManager> makePixels() const {
        return VKTVASTPixelManager::initWithPixelManager(services_.pixelManager,
                                                         vkt_macrosOfAdBreak(options_));
    }
    void callErrorPixels(const std::vector<VKTVASTURL>& URLs, const VKTVASTError& error);
    void tracked(const std::string& event, const VKTPixels& pixels);
    void pixelWasSent(const std::shared_ptr<VKTPixel>& pixel, const VKTPixelOutcome& outcome);

    template <typename... Parameters, typename... Arguments>
    void tell(void (VKTAdBreakPlayerDelegate::*what)(VKTAdBreakPlayer&, Parameters...),
              const Arguments&... arguments) {
        const auto delegate = delegate_.lock();
        const auto player = player_.lock();
        if (!delegate || !player) return;
        vkt_callGuarded("the delegate of a VKTAdBreakPlayer",
                        [&] { ((*delegate).*what)(*player, arguments...); });
    }

    const std::shared_ptr<VKTMediaPlayer> mediaPlayer_;
    const std::shared_ptr<VKTView> view_;
    const std::weak_ptr<VKTAdBreakPlayerDelegate> delegate_;
    const VKTAdBreakServices services_;
    const VKTAdBreakOptions options_;
    std::weak_ptr<VKTAdBreakPlayer> player_;

    std::shared_ptr<PixelWatch> pixelWatch_;
    std::unordered_set<std::shared_ptr<VKTPixel>> pixels_;  // the break's own whose fate is open

    std::unique_ptr<VKTAdBreakWorker> worker_;  // null before the start, and after the end
    std::deque<VKTAdBreakAd> queue_;
    bool isStarted_ = false;
    bool isResolved_ = false;
    bool awaitsPassback_ = false;
    bool isOver_ = false;
    VKTAdBreakEnd end_;

    // Of the current ad.
    std::optional<VKTAdBreakAd> currentAd_;
    std::shared_ptr<VKTVASTPixelManager> adPixels_;
    std::shared_ptr<VKTAdPlayback> playback_;
    std::shared_ptr<VKTOpenMeasurementAdSession> session_;
    VKTOpenMeasurementManager::Scripts scripts_;

    double fullVolume_ = 1;
    bool isMuted_ = false;
    bool isFullscreen_ = false;
};

// ---- the break ----

void VKTAdBreakPlayer::Break::start(std::optional<std::string> xml, const std::optional<VKTURL>& url) {
    if (std::exchange(isStarted_, true) || isOver_) {
        VKTLog::sharedInstance()->logError(
            "An ad break was started again: make a VKTAdBreakPlayer for each break.");
        return;
    }
    worker_ = VKTAdBreakWorker::start(std::move(xml), url, options_, services_, weak_from_this());
    if (worker_) return;
    end_.reason =
        "The system gives no thread for an ad break. Raise the limit of threads or memory, or start fewer.";
    VKTLog::sharedInstance()->logError(end_.reason);
    services_.mainLoop->post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->end(VKTAdBreakFailed);
    });
}

void VKTAdBreakPlayer::Break::cancel() {
    if (isOver_) return;
    isOver_ = true;
    worker_.reset();
    if (const auto playback = playback_) {
        playback->cancel();
    } else if (currentAd_) {
        adDidEnd({VKTAdCancelled});
    }
    end_.kind = VKTAdBreakCancelled;
    end_.error.reset();
    end_.reason = "The break was cancelled.";
    tellEnd();
}

void VKTAdBreakPlayer::Break::end(VKTAdBreakEndKind kind) {
    if (std::exchange(isOver_, true)) return;
    worker_.reset();
    end_.kind = kind;
    tellEnd();
}

void VKTAdBreakPlayer::Break::tellEnd() {
    tell(&VKTAdBreakPlayerDelegate::adBreakPlayerDidEnd, end_);
    if (player_.expired()) return;
    services_.pixelManager->callPixelsWithCompletionHandler(
        [loop = services_.mainLoop, weak = weak_from_this()] {
            loop->post([weak] {
                if (const auto self = weak.lock())
                    self->tell(&VKTAdBreakPlayerDelegate::adBreakPlayerDidTryAllPixels);
            });
        });
}

void VKTAdBreakPlayer::Break::workerDidEncounterError(const VKTVASTError& error,
                                                      const std::vector<VKTVASTURL>& errorURLs) {
    if (isOver_) return;
    tell(&VKTAdBreakPlayerDelegate::adBreakPlayerDidEncounterError, error);
    if (!isOver_) callErrorPixels(errorURLs, error);
}

void VKTAdBreakPlayer::Break::workerDidFindAd(const VKTAdBreakAd& ad) {
    if (isOver_) return;
    queue_.push_back(ad);
    advance();
}

void VKTAdBreakPlayer::Break::workerDidEnd(const VKTAdBreakResolution& resolution) {
    if (isOver_) return;
    isResolved_ = true;
    if (resolution.end && resolution.end->code() != VKTVASTManagerErrorNoMoreAds) {
        end_.error = resolution.end;
        end_.reason = resolution.end->localizedDescription().value_or("The document cannot be read.");
    }
    // An answer without ads may name pixels that hear of it.
    if (resolution.model) {
        callErrorPixels(resolution.model->errorPixels(),
                        VKTVASTError::VAST_WRAPPER_ERROR_NOT_VAST_RESPONSE());
    }
    if (!isOver_) tell(&VKTAdBreakPlayerDelegate::adBreakPlayerDidResolve, resolution);
    if (!resolution.model) return end(VKTAdBreakFailed);
    advance();
}

void VKTAdBreakPlayer::Break::workerDidFindPassbacks(const std::vector<VKTAdBreakAd>& ads) {
    awaitsPassback_ = false;
    queue_.insert(queue_.begin(), ads.begin(), ads.end());
    advance();
}

// From the loop, so that a thousand ads that cannot be played are no thousand calls in one another.
void VKTAdBreakPlayer::Break::postAdvance() {
    services_.mainLoop->post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->advance();
    });
}

void VKTAdBreakPlayer::Break::advance() {
    if (isOver_ || currentAd_ || awaitsPassback_) return;
    if (!isResolved_ && (queue_.empty() || options_.startsWhenResolved)) return;
    if (queue_.empty()) return end(VKTAdBreakPlayed);
    const VKTAdBreakAd ad = std::move(queue_.front());
    queue_.pop_front();
    present(ad);
}

// ---- one ad ----

void VKTAdBreakPlayer::Break::present(const VKTAdBreakAd& ad) {
    currentAd_ = ad;
    adPixels_ = makePixels();
    if (ad.isPlayable()) openMeasurement(*ad.ad);
    tell(&VKTAdBreakPlayerDelegate::adBreakPlayerWillStartAd, ad);
    if (isOver_) return;
    if (ad.isPlayable()) return play(ad);
    callErrorPixels(ad.ad->errorPixels(), *ad.failure);
    if (isOver_) return;
    adDidEnd({VKTAdFailed, ad.failure, ad.problem});
    postAdvance();
}

void VKTAdBreakPlayer::Break::play(const VKTAdBreakAd& ad) {
    if (session_) session_->start();
    const auto onEvent = [weak = weak_from_this()](const std::string& event, const VKTPixels& pixels) {
        if (const auto self = weak.lock()) self->tracked(event, pixels);
    };
    auto viewability = VKTAdViewability::initWithAd(*ad.ad, view_, *adPixels_, services_.mainLoop, onEvent);
    auto tracking =
        std::make_shared<VKTAdTracking>(ad, options_, adPixels_, std::move(viewability), session_, onEvent);
    playback_ = std::make_shared<VKTAdPlayback>(ad, options_, services_.mainLoop, mediaPlayer_,
                                                std::move(tracking), weak_from_this());
    const auto playback = playback_;
    playback->start(volume());
}

void VKTAdBreakPlayer::Break::openMeasurement(const VKTVASTAd& ad) {
    const auto& manager = services_.measurement;
    if (!manager || !options_.isMeasured || !view_) return;
    const auto verifications = ad.allAdVerifications();
    scripts_ = manager->scriptsFromAdVerifications(verifications);
    VKTOpenMeasurementManager::Scripts usable;
    std::copy_if(scripts_.begin(), scripts_.end(), std::back_inserter(usable),
                 [](const auto& script) { return script.javascriptResourceURL.has_value(); });
    if (usable.empty()) return;
    session_ = manager->sessionWithView(view_, true, usable);
    if (session_) manager->reportUnavailableVerifications(*session_, verifications);
}

void VKTAdBreakPlayer::Break::playbackDidEnd(const VKTAdEnd& end) {
    playback_.reset();
    adDidEnd(end);
    if (isOver_) return;
    if (end.kind == VKTAdFailed) {
        awaitsPassback_ = true;
        worker_->findPassback();
    } else {
        postAdvance();
    }
}

void VKTAdBreakPlayer::Break::adDidEnd(const VKTAdEnd& end) {
    switch (end.kind) {
        case VKTAdCompleted:
            ++end_.completedAds;
            break;
        case VKTAdSkipped:
            ++end_.skippedAds;
            break;
        case VKTAdFailed:
            ++end_.failedAds;
            break;
        case VKTAdCancelled:
            break;
    }
    const VKTAdBreakAd ad = *std::exchange(currentAd_, std::nullopt);
    adPixels_.reset();
    session_.reset();
    scripts_.clear();
    tell(&VKTAdBreakPlayerDelegate::adBreakPlayerDidEndAd, ad, end);
}

void VKTAdBreakPlayer::Break::click() {
    const auto playback = playback_;
    const auto pixels = adPixels_;
    if (!playback || !playback->click() || !currentAd_) return;
    const auto& clickThrough = currentAd_->creative->clickThrough();
    if (!clickThrough) return;
    const VKTURL& url = clickThrough->url();
    tell(&VKTAdBreakPlayerDelegate::adBreakPlayerShouldOpenURL,
         vkt_URLByReplacingMacros(url, pixels->macros(), {}).value_or(url));
}

// ---- pixels ----

void VKTAdBreakPlayer::Break::callErrorPixels(const std::vector<VKTVASTURL>& URLs,
                                              const VKTVASTError& error) {
    if (URLs.empty() || error.VASTCode() == -1) return;
    tracked("error", makePixels()->callVASTErrorPixels(URLs, error.VASTCode()));
}

void VKTAdBreakPlayer::Break::tracked(const std::string& event, const VKTPixels& pixels) {
    pixels_.insert(pixels.begin(), pixels.end());
    tell(&VKTAdBreakPlayerDelegate::adBreakPlayerDidTrackEvent, event, pixels);
}

void VKTAdBreakPlayer::Break::pixelWasSent(const std::shared_ptr<VKTPixel>& pixel,
                                           const VKTPixelOutcome& outcome) {
    const auto own = pixels_.find(pixel);
    if (own == pixels_.end()) return;
    if (!outcome.isTriedAgain) pixels_.erase(own);
    tell(&VKTAdBreakPlayerDelegate::adBreakPlayerDidSendPixel, pixel, outcome);
}

// ---- the handle ----

std::shared_ptr<VKTAdBreakPlayer> VKTAdBreakPlayer::initWithMediaPlayer(
    std::shared_ptr<VKTMediaPlayer> mediaPlayer, std::shared_ptr<VKTView> view,
    const std::shared_ptr<VKTAdBreakPlayerDelegate>& delegate, VKTAdBreakServices services,
    VKTAdBreakOptions options) {
    auto theBreak = std::make_shared<Break>(std::move(mediaPlayer), std::move(view), delegate,
                                            std::move(services), std::move(options));
    std::shared_ptr<VKTAdBreakPlayer> player(new VKTAdBreakPlayer(theBreak));
    theBreak->setPlayer(player);
    return player;
}

VKTAdBreakPlayer::VKTAdBreakPlayer(std::shared_ptr<Break> theBreak) : break_(std::move(theBreak)) {}

VKTAdBreakPlayer::~VKTAdBreakPlayer() {
    break_->cancel();
}

void VKTAdBreakPlayer::startWithURL(const VKTURL& url) {
    hold()->start(std::nullopt, url);
}

void VKTAdBreakPlayer::startWithXML(std::string xml, const std::optional<VKTURL>& url) {
    hold()->start(std::move(xml), url);
}

void VKTAdBreakPlayer::pause() {
    hold()->ask(&VKTAdPlayback::pause);
}

void VKTAdBreakPlayer::resume() {
    hold()->ask(&VKTAdPlayback::resume);
}

void VKTAdBreakPlayer::setVolume(double volume) {
    hold()->setVolume(volume);
}

void VKTAdBreakPlayer::setMuted(bool isMuted) {
    hold()->applyVolume(isMuted);
}

void VKTAdBreakPlayer::setFullscreen(bool isFullscreen) {
    hold()->setFullscreen(isFullscreen);
}

void VKTAdBreakPlayer::click() {
    hold()->click();
}

bool VKTAdBreakPlayer::skip() {
    return hold()->skip();
}

bool VKTAdBreakPlayer::canSkip() const {
    return break_->playback() && break_->playback()->canSkip();
}

void VKTAdBreakPlayer::trackVideoEvent(VKTVideoEvent event) {
    hold()->ask(&VKTAdPlayback::track, event);
}

void VKTAdBreakPlayer::cancel() {
    hold()->cancel();
}

std::optional<VKTAdBreakAd> VKTAdBreakPlayer::currentAd() const {
    return break_->currentAd();
}

double VKTAdBreakPlayer::position() const {
    return break_->playback() ? break_->playback()->position() : 0;
}

std::optional<double> VKTAdBreakPlayer::duration() const {
    return break_->playback() ? break_->playback()->duration() : std::nullopt;
}

bool VKTAdBreakPlayer::isPaused() const {
    return break_->playback() && break_->playback()->isPaused();
}

double VKTAdBreakPlayer::volume() const {
    return break_->volume();
}

std::shared_ptr<VKTOpenMeasurementAdSession> VKTAdBreakPlayer::measurementSession() const {
    return break_->session();
}

const VKTOpenMeasurementManager::Scripts& VKTAdBreakPlayer::measurementScripts() const {
    return break_->scripts();
}

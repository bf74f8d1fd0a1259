#include "playing/PlayRun.h"

#include <utility>

#include "VKTCoreKit/core/VKTTimeUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

constexpr double realTime = 1;
constexpr VKTTimeInterval noTimeLimit{1e9};
constexpr VKTTimeInterval lastWordLimit{10};  // for scripts to handle the end, and for their requests
constexpr VKTTimeInterval pauseTime{2};
constexpr VKTTimeInterval clockStep{0.1};
constexpr VKTRect screenFrame{0, 0, 1920, 1080};

// Put in force before anything else of the library is used.
std::shared_ptr<VKTSimulatedRunLoop> installSimulatedLoop(double speed) {
    auto loop = std::make_shared<VKTSimulatedRunLoop>(speed);
    VKTPlatform platform = VKTPlatform::current();
    platform.clock = loop;
    platform.mainRunLoop = loop;
    VKTPlatform::setCurrent(std::move(platform));
    return loop;
}

}  // namespace

PlayRun::PlayRun(const PlayOptions& options, std::shared_ptr<VKTPixelStoreProviderProtocol> pixelProvider,
                 PlayAudience& audience, std::optional<ResolvingDetail> detail)
    : options_(options),
      audience_(audience),
      resolving_(options.resolve, std::move(detail)),
      loop_(installSimulatedLoop(options.remotePlayer ? realTime : options.speed)),
      ledger_(std::make_shared<PixelLedger>(
          [this](std::size_t place) { loop_->post([this, place] { tellOutcome(place); }); })),
      problems_(makeRecorder()),
      remotePlayer_(options.remotePlayer
                        ? std::make_shared<RemoteMediaPlayer>(
                              simulatedPlayer_, [this](const VKTDictionary& command) { tellPlayer(command); })
                        : nullptr),
      window_(VKTHeadlessView::windowWithFrame(screenFrame)),
      view_(VKTHeadlessView::initWithFrame(screenFrame)) {
    makePixelManager(std::move(pixelProvider));
    if (options.measure) scripts_ = ScriptLedger::initWithPixelManager(pixelManager_);
}

TimelineRecorder PlayRun::makeRecorder() {
    return {*ledger_, [this](const TimelineEntry& entry) { audience_.eventTracked(entry, *ledger_); }};
}

void PlayRun::makePixelManager(std::shared_ptr<VKTPixelStoreProviderProtocol> provider) {
    pixelManager_ = VKTPixelManager::initWithPixelStore(VKTPixelStore::initWithProvider(std::move(provider)),
                                                        VKTURLSession::sharedInstance());
    pixelManager_->setObserver(ledger_);
    if (!ledger_->placesOf(pixelManager_->allPixels()).empty()) pixelManager_->callPixels();
}

void PlayRun::tellPlayer(const VKTDictionary& command) {
    audience_.mediaCommanded(command);
    const VKTValue* reason = command.find("reason");
    if (reason == nullptr) return;
    note("note: the browser cannot play the file of ad " + std::to_string(result_.ads.size() + 1) +
         ", which is missing or not of its kinds, so this ad is simulated: " + reason->description());
}

void PlayRun::note(const std::string& text) {
    notes_.push_back(text);
    audience_.noted(text);
}

void PlayRun::tellOutcome(std::size_t place) {
    audience_.pixelAnswered(place, ledger_->record(place));
}

PlayResult PlayRun::run(const Source& source) {
    VKTAdBreakOptions options = resolving_.options();
    options.enforcesSkipOffset = false;
    options.startsWhenResolved = true;
    VKTAdBreakServices services = resolving_.services();
    services.mainLoop = loop_;
    services.pixelManager = pixelManager_;
    if (scripts_) services.measurement = scripts_->manager();
    std::shared_ptr<VKTMediaPlayer> mediaPlayer = simulatedPlayer_;
    if (remotePlayer_) {
        mediaPlayer = remotePlayer_;
        remotePlayer_->listen(*options_.remotePlayer, loop_,
                              [this](const std::string& action) { obey(action); });
        keepTime();
    }
    player_ = VKTAdBreakPlayer::initWithMediaPlayer(mediaPlayer, view_, shared_from_this(),
                                                    std::move(services), options);
    if (source.data) {
        player_->startWithXML(*source.data, source.url);
    } else {
        player_->startWithURL(*source.url);
    }
    loop_->runUntil([this] { return isOver_; }, noTimeLimit);
    audience_.breakEnded();
    loop_->runUntil([this] { return areAllPixelsTried_; }, VKTTimeInterval(options_.wait));
    player_.reset();
    result_.arePixelsSaved = savePixels();
    result_.problems = problems_.timeline();
    result_.pixels = ledger_->records();
    return std::move(result_);
}

// The loop's clock stands still while nothing is due, as during a viewer's pause, which takes its time here.
void PlayRun::keepTime() {
    timekeeper_ = loop_->schedule(clockStep, [this] { keepTime(); });
}

void PlayRun::adBreakPlayerDidResolve(VKTAdBreakPlayer& /*player*/, const VKTAdBreakResolution& resolution) {
    result_.resolution = resolving_.resolutionOf(resolution);
    audience_.resolved(result_.resolution, problems_.timeline(), *ledger_);
}

void PlayRun::adBreakPlayerWillStartAd(VKTAdBreakPlayer& /*player*/, const VKTAdBreakAd& ad) {
    audience_.adStarts(result_.ads.size() + 1, ad);
    recorder_.emplace(makeRecorder());
    adStart_ = loop_->monotonicNow();
    skipOffset_.reset();
    if (ad.isPlayable()) {
        prepare(ad);
    } else {
        result_.resolution.errors.push_back(problemOfAd(ad));
    }
}

void PlayRun::prepare(const VKTAdBreakAd& ad) {
    window_->addSubview(view_);
    player_->setMuted(false);  // the ad before may have been muted
    const double duration = VKTTimeUtils::timeIntervalFromVASTDuration(ad.creative->duration().value_or(""));
    if (duration <= 0) {
        std::string text = "note: the ad's duration is not known; only its start and its end are tracked";
        // The standard's start event cannot do without one.
        if (scripts_) text += ", and verification scripts hear of neither";
        note(text);
    }
    if (scripts_) scripts_->begin(player_->measurementScripts(), player_->measurementSession());
    const auto waitForScripts = [this] {
        if (scripts_)
            loop_->holdUntil([this] { return scripts_->areScriptsLoaded(); },
                             VKTTimeInterval(options_.resolve.requestTimeout));
    };
    if (remotePlayer_) {
        remotePlayer_->prepare(duration, waitForScripts);
    } else {
        simulatedPlayer_->prepare(duration, actionsOf(duration), waitForScripts);
    }
}

std::vector<SimulatedMediaPlayer::Action> PlayRun::actionsOf(double duration) {
    std::vector<SimulatedMediaPlayer::Action> actions;
    const auto plan = [&](const std::optional<double>& position, const char* option,
                          std::function<void()> run) {
        if (!position) return;
        if (*position < duration) {
            actions.push_back({*position, [this, run = std::move(run)] {
                                   run();
                                   if (recorder_) recorder_->tell();
                               }});
        } else if (duration > 0) {
            note(std::string("note: ") + option + " " + vkt_numberDescription(*position) +
                 " s is beyond the end of the ad and does nothing");
        }
    };
    plan(options_.muteAt, "--mute-at", [this] { player_->setMuted(true); });
    plan(options_.clickAt, "--click-at", [this] { player_->click(); });
    plan(options_.hideAt, "--hide-at", [this] { view_->removeFromSuperview(); });
    plan(options_.pauseAt, "--pause-at", [this] { pauseForAWhile(); });
    plan(options_.skipAt, "--skip-at", [this] { skip(); });
    return actions;
}

void PlayRun::obey(const std::string& viewerAction) {
    if (!player_ || !player_->currentAd()) return;
    if (viewerAction == "pause") player_->pause();
    if (viewerAction == "resume") player_->resume();
    if (viewerAction == "mute") player_->setMuted(true);
    if (viewerAction == "unmute") player_->setMuted(false);
    if (viewerAction == "click") player_->click();
    if (viewerAction == "skip") skip();
    if (recorder_) recorder_->tell();
}

void PlayRun::pauseForAWhile() {
    player_->pause();
    resumeTimer_ = loop_->schedule(pauseTime, [this] { player_->resume(); });
}

void PlayRun::skip() {
    if (!skipOffset_) {
        note("note: the ad is not skippable; it is skipped all the same");
    } else if (player_->position() < *skipOffset_) {
        note("note: the ad is not skippable before " + vkt_numberDescription(*skipOffset_) +
             " s; it is skipped all the same");
    }
    player_->skip();
}

void PlayRun::adBreakPlayerDidProgress(VKTAdBreakPlayer& /*player*/, double position,
                                       std::optional<double> duration) {
    recorder_->tell();
    if (duration) audience_.progressed(position, *duration);
}

void PlayRun::adBreakPlayerDidTrackEvent(VKTAdBreakPlayer& player, const std::string& event,
                                         const VKTPixels& pixels) {
    if (player.currentAd()) {
        recorder_->add(VKTTimeInterval(loop_->monotonicNow() - adStart_).count(), event, pixels);
    } else {
        problems_.add(0, event, pixels);
    }
}

void PlayRun::adBreakPlayerDidEndAd(VKTAdBreakPlayer& /*player*/, const VKTAdBreakAd& ad,
                                    const VKTAdEnd& /*end*/) {
    recorder_->tell();
    audience_.mediaIsOver();
    result_.ads.push_back({ad, recorder_->timeline(), {}, std::exchange(notes_, {})});
    if (scripts_ && ad.isPlayable()) {
        loop_->runInRealTimeUntil([this] { return scripts_->isOver(); }, lastWordLimit);
        result_.ads.back().scripts = scripts_->scripts();
    }
    audience_.adEnded(result_.ads.size(), result_.ads.back());
}

// What hangs is cancelled with the manager. Whether what is pending is saved.
bool PlayRun::savePixels() {
    scripts_.reset();
    const auto store = pixelManager_->pixelStore();
    pixelManager_.reset();
    loop_->drain();
    return store->saveToDisk();
}

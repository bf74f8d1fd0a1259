// vkt play: an ad break in a player without a screen, in simulated time.
#include <algorithm>
#include <iomanip>
#include <map>
#include <memory>
#include <sstream>
#include <utility>

#include "VKTCoreKit/core/VKTTimeUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTHeadlessView.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/testing/VKTSimulatedRunLoop.h"
#include "VKTCoreKit/player/VKTAdBreakPlayer.h"
#include "commands/Commands.h"
#include "commands/OptionChecks.h"
#include "ground/Output.h"
#include "ground/PixelFile.h"
#include "ground/Text.h"
#include "playing/SimulatedMediaPlayer.h"
#include "report/AdReport.h"
#include "report/AdText.h"
#include "report/PlayReport.h"
#include "report/ResolutionReport.h"

namespace {

constexpr VKTTimeInterval noTimeLimit{1e9};
constexpr VKTTimeInterval lastWordLimit{10};  // for scripts to handle the end, and for their requests
constexpr VKTTimeInterval pauseTime{2};
constexpr VKTRect screenFrame{0, 0, 1920, 1080};
constexpr int outcomeColumn = 17;
constexpr int eventWidth = 13;

// Put in force before anything else of the library is used.
std::shared_ptr<VKTSimulatedRunLoop> installSimulatedLoop(double speed) {
    auto loop = std::make_shared<VKTSimulatedRunLoop>(speed);
    VKTPlatform platform = VKTPlatform::current();
    platform.clock = loop;
    platform.mainRunLoop = loop;
    VKTPlatform::setCurrent(std::move(platform));
    return loop;
}

class PlayRun : public VKTAdBreakPlayerDelegate, public std::enable_shared_from_this<PlayRun> {
  public:
    PlayRun(const PlayOptions& options, std::shared_ptr<VKTPixelStoreProviderProtocol> pixelProvider)
        : options_(options),
          resolving_(options.resolve),
          loop_(installSimulatedLoop(options.speed)),
          screen_(options.resolve.JSON),
          ledger_(std::make_shared<PixelLedger>(
              [this](std::size_t place) { loop_->post([this, place] { showOutcome(place); }); })),
          problems_(*ledger_, screen_) {
        makePixelManager(std::move(pixelProvider));
        if (options.measure) scripts_ = ScriptLedger::initWithPixelManager(pixelManager_);
    }

    PlayResult run(const Source& source);

    void adBreakPlayerDidResolve(VKTAdBreakPlayer& player, const VKTAdBreakResolution& resolution) override;
    void adBreakPlayerWillStartAd(VKTAdBreakPlayer& player, const VKTAdBreakAd& ad) override;
    void adBreakPlayerSkipPossibleFrom(VKTAdBreakPlayer& /*player*/, double seconds) override {
        skipOffset_ = seconds;
    }
    void adBreakPlayerDidProgress(VKTAdBreakPlayer& player, double position,
                                  std::optional<double> duration) override;
    void adBreakPlayerDidTrackEvent(VKTAdBreakPlayer& player, const std::string& event,
                                    const VKTPixels& pixels) override;
    void adBreakPlayerDidEndAd(VKTAdBreakPlayer& player, const VKTAdBreakAd& ad,
                               const VKTAdEnd& end) override;
    void adBreakPlayerDidEnd(VKTAdBreakPlayer& /*player*/, const VKTAdBreakEnd& /*end*/) override {
        isOver_ = true;
    }
    void adBreakPlayerDidTryAllPixels(VKTAdBreakPlayer& /*player*/) override { areAllPixelsTried_ = true; }

  private:
    void makePixelManager(std::shared_ptr<VKTPixelStoreProviderProtocol> provider);
    void showOutcome(std::size_t place);
    [[nodiscard]] std::vector<SimulatedMediaPlayer::Action> actionsOf(VKTAdBreakPlayer& player,
                                                                      double duration);
    void pauseForAWhile(VKTAdBreakPlayer& player);
    void skip(VKTAdBreakPlayer& player);
    void announceUnplayable(const VKTAdBreakAd& ad);
    void prepare(VKTAdBreakPlayer& player, const VKTAdBreakAd& ad);
    bool savePixels();

    const PlayOptions& options_;
    Resolving resolving_;  // before the loop's time is simulated
    const std::shared_ptr<VKTSimulatedRunLoop> loop_;
    PlayScreen screen_;
    const std::shared_ptr<PixelLedger> ledger_;
    TimelineRecorder problems_;
    std::shared_ptr<VKTPixelManager> pixelManager_;
    std::shared_ptr<ScriptLedger> scripts_;             // null when the ads are not measured
    std::map<std::size_t, std::string> shownOutcomes_;  // of each pixel; a repeated one is no news

    const std::shared_ptr<SimulatedMediaPlayer> mediaPlayer_ = std::make_shared<SimulatedMediaPlayer>();
    const std::shared_ptr<VKTHeadlessView> window_ = VKTHeadlessView::windowWithFrame(screenFrame);
    const std::shared_ptr<VKTHeadlessView> view_ = VKTHeadlessView::initWithFrame(screenFrame);
    std::unique_ptr<VKTRunLoopTimer> resumeTimer_;
    std::optional<double> skipOffset_;
    std::optional<TimelineRecorder> recorder_;  // of the current ad
    std::chrono::nanoseconds adStart_{0};
    PlayResult result_;
    bool isOver_ = false;
    bool areAllPixelsTried_ = false;
};

void PlayRun::makePixelManager(std::shared_ptr<VKTPixelStoreProviderProtocol> provider) {
    pixelManager_ = VKTPixelManager::initWithPixelStore(VKTPixelStore::initWithProvider(std::move(provider)),
                                                        VKTURLSession::sharedInstance());
    pixelManager_->setObserver(ledger_);
    if (!ledger_->placesOf(pixelManager_->allPixels()).empty()) pixelManager_->callPixels();
}

void PlayRun::showOutcome(std::size_t place) {
    const PixelRecord pixel = ledger_->record(place);
    if (std::exchange(shownOutcomes_[place], pixel.outcome()) == pixel.outcome()) return;
    std::string reason;
    if (pixel.end == PixelPending) reason = " (stays pending" + pixel.reason() + ")";
    if (pixel.end == PixelExpired) reason = " (expired unsent)";
    std::ostringstream line;
    line << std::setw(outcomeColumn) << pixel.outcome() << "  " << std::left << std::setw(eventWidth)
         << pixel.event << "  " << pixel.url << reason;
    screen_.line(line.str());
}

PlayResult PlayRun::run(const Source& source) {
    VKTAdBreakOptions options = resolving_.options();
    options.enforcesSkipOffset = false;
    options.startsWhenResolved = true;
    VKTAdBreakServices services = resolving_.services();
    services.mainLoop = loop_;
    services.pixelManager = pixelManager_;
    if (scripts_) services.measurement = scripts_->manager();
    auto player = VKTAdBreakPlayer::initWithMediaPlayer(mediaPlayer_, view_, shared_from_this(),
                                                        std::move(services), options);
    if (source.data) {
        player->startWithXML(*source.data, source.url);
    } else {
        player->startWithURL(*source.url);
    }
    loop_->runUntil([this] { return isOver_; }, noTimeLimit);
    screen_.line("");
    loop_->runUntil([this] { return areAllPixelsTried_; }, VKTTimeInterval(options_.wait));
    player.reset();
    result_.arePixelsSaved = savePixels();
    result_.problems = problems_.timeline();
    result_.pixels = ledger_->records();
    return std::move(result_);
}

void PlayRun::adBreakPlayerDidResolve(VKTAdBreakPlayer& /*player*/, const VKTAdBreakResolution& resolution) {
    result_.resolution = resolving_.resolutionOf(resolution);
    for (const std::string& line : linesOfErrors(result_.resolution.errors))
        screen_.note(line);
    screen_.line(titleOf(options_.resolve, result_.resolution) + ", " + countOf(resolution.ads.size(), "ad"));
    for (const std::string& line : linesOfProblems(options_.resolve, result_.resolution))
        screen_.line("   " + line);
    if (!problems_.timeline().empty())
        screen_.line("   " + countOf(problems_.timeline().front().pixels.size(), "error pixel") + " called");
}

void PlayRun::adBreakPlayerWillStartAd(VKTAdBreakPlayer& player, const VKTAdBreakAd& ad) {
    screen_.line("");
    screen_.line(std::to_string(result_.ads.size() + 1) + ". " + headingOf(*ad.ad));
    recorder_.emplace(*ledger_, screen_);
    adStart_ = loop_->monotonicNow();
    skipOffset_.reset();
    if (ad.isPlayable()) {
        prepare(player, ad);
    } else {
        announceUnplayable(ad);
    }
}

void PlayRun::prepare(VKTAdBreakPlayer& player, const VKTAdBreakAd& ad) {
    screen_.line("   plays " + ad.mediaFile->url->url().absoluteString() + " (" +
                 textOfMediaFile(*ad.mediaFile) + ")");
    window_->addSubview(view_);
    player.setMuted(false);  // the ad before may have been muted
    const double duration = VKTTimeUtils::timeIntervalFromVASTDuration(ad.creative->duration().value_or(""));
    if (duration <= 0) {
        std::string note = "note: the ad's duration is not known; only its start and its end are tracked";
        // The standard's start event cannot do without one.
        if (scripts_) note += ", and verification scripts hear of neither";
        screen_.note(note);
    }
    if (scripts_) scripts_->begin(player.measurementScripts(), player.measurementSession());
    mediaPlayer_->prepare(duration, actionsOf(player, duration), [this] {
        if (scripts_)
            loop_->holdUntil([this] { return scripts_->areScriptsLoaded(); },
                             VKTTimeInterval(options_.resolve.requestTimeout));
    });
}

std::vector<SimulatedMediaPlayer::Action> PlayRun::actionsOf(VKTAdBreakPlayer& player, double duration) {
    std::vector<SimulatedMediaPlayer::Action> actions;
    const auto plan = [&](const std::optional<double>& position, const char* option,
                          std::function<void()> run) {
        if (!position) return;
        if (*position < duration) {
            actions.push_back({*position, [this, run = std::move(run)] {
                                   run();
                                   if (recorder_) recorder_->show();
                               }});
        } else if (duration > 0) {
            screen_.note(std::string("note: ") + option + " " + vkt_numberDescription(*position) +
                         " s is beyond the end of the ad and does nothing");
        }
    };
    plan(options_.muteAt, "--mute-at", [&player] { player.setMuted(true); });
    plan(options_.clickAt, "--click-at", [&player] { player.click(); });
    plan(options_.hideAt, "--hide-at", [this] { view_->removeFromSuperview(); });
    plan(options_.pauseAt, "--pause-at", [this, &player] { pauseForAWhile(player); });
    plan(options_.skipAt, "--skip-at", [this, &player] { skip(player); });
    return actions;
}

void PlayRun::pauseForAWhile(VKTAdBreakPlayer& player) {
    player.pause();
    resumeTimer_ = loop_->schedule(pauseTime, [&player] { player.resume(); });
}

void PlayRun::skip(VKTAdBreakPlayer& player) {
    if (!skipOffset_) {
        screen_.note("note: the ad is not skippable; it is skipped all the same");
    } else if (mediaPlayer_->position() < *skipOffset_) {
        screen_.note("note: the ad is not skippable before " + vkt_numberDescription(*skipOffset_) +
                     " s; it is skipped all the same");
    }
    player.skip();
}

void PlayRun::announceUnplayable(const VKTAdBreakAd& ad) {
    const ReportedError reported = problemOfAd(ad);
    screen_.line(lineOfUnplayableAd(ad));
    screen_.note(lineOfError(reported));
    result_.resolution.errors.push_back(reported);
}

void PlayRun::adBreakPlayerDidProgress(VKTAdBreakPlayer& /*player*/, double position,
                                       std::optional<double> duration) {
    recorder_->show();
    if (duration) screen_.showBar(position, *duration);
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
    recorder_->show();
    screen_.hideBar();
    result_.ads.push_back({ad, recorder_->timeline()});
    if (!scripts_ || !ad.isPlayable()) return;
    loop_->runInRealTimeUntil([this] { return scripts_->isOver(); }, lastWordLimit);
    for (const std::string& line : linesOfScripts(scripts_->scripts()))
        screen_.line(line);
    result_.ads.back().scripts = scripts_->scripts();
}

// What hangs is cancelled with the manager. Whether what is pending is saved.
bool PlayRun::savePixels() {
    scripts_.reset();
    const auto store = pixelManager_->pixelStore();
    pixelManager_.reset();
    loop_->drain();
    return store->saveToDisk();
}

std::shared_ptr<VKTPixelStoreProviderProtocol> providerOf(const std::string& store) {
    if (store.empty()) return std::make_shared<VKTPixelStoreProvider>();
    return openPixelFile(store, PixelFileToKeep);
}

int runPlay(const PlayOptions& options) {
    Source source;
    if (!readSource(options.resolve.source, source)) return ExitSourceUnread;
    auto pixelProvider = providerOf(options.store);
    if (!pixelProvider) return ExitSourceUnread;
    const PlayResult result = std::make_shared<PlayRun>(options, std::move(pixelProvider))->run(source);
    if (options.resolve.JSON) {
        Output::standard().JSON(reportOfPlay(options, result));
    } else {
        if (!result.pixels.empty()) Output::standard().line();
        Output::standard().lines(summaryOfPixels(options, result));
    }
    Output::standard().flush();
    const bool isWritten = options.report.empty() || writePage(options, result);
    const ExitStatus status = conclude(options.resolve, result.resolution);
    return isWritten ? status : ExitSourceUnread;
}

}  // namespace

CommandRun addPlay(CLI::App& command) {
    const auto options = std::make_shared<PlayOptions>();
    addResolveOptions(command, options->resolve);
    addAmount(command, "--speed", options->speed, "Simulated seconds in a real one; 0: no waiting");
    addAmount(command, "--wait", options->wait, "Real seconds for the last pixels");
    command
        .add_option("--store", options->store,
                    "A file that keeps undelivered pixels for the next run, made when missing")
        ->type_name("FILE");
    command.add_option("--report", options->report, "Write an HTML page with everything")->type_name("FILE");
    command.add_flag("--measure", options->measure,
                     "Run the ad's verification scripts, and show what they do");
    addAmount(command, "--skip-at", options->skipAt, "Second of each ad at which it is skipped");
    addAmount(command, "--mute-at", options->muteAt, "Second at which the sound is switched off");
    addAmount(command, "--pause-at", options->pauseAt, "Second at which it stands still for two seconds");
    addAmount(command, "--click-at", options->clickAt, "Second at which it is clicked");
    addAmount(command, "--hide-at", options->hideAt, "Second at which the view leaves the window");
    return [options] { return runPlay(*options); };
}

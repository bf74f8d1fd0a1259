// vkt play: an embedding player without a screen. The source is resolved on a thread of its own, everything
// else happens on the main loop, in simulated time.
#include <algorithm>
#include <iomanip>
#include <map>
#include <memory>
#include <sstream>
#include <utility>

#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/testing/VKTSimulatedRunLoop.h"
#include "VKTCoreKit/tracking/VKTVASTPixelManager.h"
#include "VKTCoreKit/vast/VKTVASTManager.h"
#include "commands/Commands.h"
#include "commands/OptionChecks.h"
#include "ground/MediaFileChoice.h"
#include "ground/Output.h"
#include "ground/PixelFile.h"
#include "ground/Text.h"
#include "report/AdReport.h"
#include "report/AdText.h"
#include "report/PlayReport.h"
#include "report/ResolutionReport.h"

namespace {

constexpr VKTTimeInterval noTimeLimit{1e9};
constexpr VKTTimeInterval lastWordLimit{10};  // for scripts to handle the end, and for their requests
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

class PlayRun {
  public:
    PlayRun(const PlayOptions& options, std::shared_ptr<VKTPixelStoreProviderProtocol> pixelProvider)
        : options_(options),
          loop_(installSimulatedLoop(options.speed)),
          screen_(options.resolve.JSON),
          ledger_(std::make_shared<PixelLedger>(
              [this](std::size_t place) { loop_->post([this, place] { showOutcome(place); }); })),
          problems_(*ledger_, screen_) {
        makePixelManager(std::move(pixelProvider));
        if (options.measure) measurement_ = AdMeasurement::initWithPixelManager(pixelManager_);
    }

    PlayResult run(const Source& source);

  private:
    void makePixelManager(std::shared_ptr<VKTPixelStoreProviderProtocol> provider);
    // With macros of its own, since some of them are of the moment.
    [[nodiscard]] std::shared_ptr<VKTVASTPixelManager> vastPixels() const {
        return VKTVASTPixelManager::initWithPixelManager(pixelManager_, macrosOf(options_.resolve));
    }
    void showOutcome(std::size_t place);

    Resolution resolve(const Source& source);
    void callErrorPixels(const std::vector<VKTVASTURL>& errorPixels, const VKTVASTError& error,
                         TimelineRecorder& recorder);
    void callErrorPixelsOfAnswer(const Resolution& resolution);
    PlayedAd play(const ResolvedAd& ad, std::size_t number, Resolution& resolution);
    PlayedAd playCreative(const ResolvedAd& ad);
    PlayedAd fail(const ResolvedAd& ad, Resolution& resolution);
    void measureToTheEnd();
    bool sendWhatIsLeft();

    const PlayOptions& options_;
    const std::shared_ptr<VKTSimulatedRunLoop> loop_;
    PlayScreen screen_;
    const std::shared_ptr<PixelLedger> ledger_;
    TimelineRecorder problems_;
    std::shared_ptr<VKTPixelManager> pixelManager_;
    std::shared_ptr<AdMeasurement> measurement_;
    std::map<std::size_t, std::string> shownOutcomes_;  // of each pixel; a repeated one is no news
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

Resolution PlayRun::resolve(const Source& source) {
    const ProblemObserver observer = [this](const ReportedError& reported) {
        loop_->post([this, reported] { callErrorPixels(reported.errorURLs, reported.error, problems_); });
    };
    Resolution resolution;
    bool isResolved = false;
    const auto queue = VKTPlatform::current().makeSerialQueue();
    queue->post([&] {
        resolution = resolveSource(options_.resolve, source, observer);
        loop_->post([&] { isResolved = true; });
    });
    loop_->runUntil([&] { return isResolved; }, noTimeLimit);
    return resolution;
}

void PlayRun::callErrorPixels(const std::vector<VKTVASTURL>& errorPixels, const VKTVASTError& error,
                              TimelineRecorder& recorder) {
    if (errorPixels.empty() || error.VASTCode() == -1) return;
    recorder.add(0, "error", vastPixels()->callVASTErrorPixels(errorPixels, error.VASTCode()));
}

// An answer without ads may name pixels that hear of it.
void PlayRun::callErrorPixelsOfAnswer(const Resolution& resolution) {
    if (!resolution.model || resolution.model->errorPixels().empty()) return;
    callErrorPixels(resolution.model->errorPixels(), VKTVASTError::VAST_WRAPPER_ERROR_NOT_VAST_RESPONSE(),
                    problems_);
}

PlayedAd PlayRun::play(const ResolvedAd& ad, std::size_t number, Resolution& resolution) {
    screen_.line("");
    screen_.line(std::to_string(number + 1) + ". " + headingOf(*ad.ad));
    return ad.creative ? playCreative(ad) : fail(ad, resolution);
}

PlayedAd PlayRun::playCreative(const ResolvedAd& ad) {
    const auto file = chosenMediaFile(*ad.creative, options_.resolve.networkAccessType);
    screen_.line("   plays " + file->url->url().absoluteString() + " (" + textOfMediaFile(*file) + ")");
    const AdPlayerContext context{options_, vastPixels(), *ledger_, screen_, measurement_};
    const auto player = std::make_shared<AdPlayer>(context, ad.ad, ad.creative);
    player->prepare();
    if (measurement_) {
        loop_->holdUntil([this] { return measurement_->areScriptsLoaded(); },
                         VKTTimeInterval(options_.resolve.requestTimeout));
    }
    player->start();
    loop_->runUntil([&] { return player->hasEnded(); }, noTimeLimit);
    if (!measurement_) return {ad, player->timeline()};
    measureToTheEnd();
    return {ad, player->timeline(), measurement_->scripts()};
}

void PlayRun::measureToTheEnd() {
    loop_->holdUntil([this] { return measurement_->isOver(); }, lastWordLimit);
    for (const std::string& line : linesOfScripts(measurement_->scripts()))
        screen_.line(line);
}

PlayedAd PlayRun::fail(const ResolvedAd& ad, Resolution& resolution) {
    const ReportedError reported = problemOfAd(ad);
    screen_.line(lineOfUnplayableAd(ad));
    screen_.note(lineOfError(reported));
    resolution.errors.push_back(reported);
    TimelineRecorder recorder(*ledger_, screen_);
    callErrorPixels(reported.errorURLs, reported.error, recorder);
    recorder.show();
    return {ad, recorder.timeline()};
}

// One more pass for everything that is pending; what hangs then is cancelled with the manager. Whether what
// is pending is saved.
bool PlayRun::sendWhatIsLeft() {
    const auto isDone = std::make_shared<bool>(false);
    pixelManager_->callPixelsWithCompletionHandler(
        [loop = loop_, isDone] { loop->post([isDone] { *isDone = true; }); });
    loop_->runUntil([&] { return *isDone; }, VKTTimeInterval(options_.wait));
    measurement_.reset();
    const auto store = pixelManager_->pixelStore();
    pixelManager_.reset();
    loop_->drain();
    return store->saveToDisk();
}

PlayResult PlayRun::run(const Source& source) {
    PlayResult result;
    result.resolution = resolve(source);
    Resolution& resolution = result.resolution;
    for (const std::string& line : linesOfErrors(resolution.errors))
        screen_.note(line);
    screen_.line(titleOf(options_.resolve, resolution) + ", " + countOf(resolution.ads.size(), "ad"));
    for (const std::string& line : linesOfProblems(options_.resolve, resolution))
        screen_.line("   " + line);
    callErrorPixelsOfAnswer(resolution);
    if (!problems_.timeline().empty())
        screen_.line("   " + countOf(problems_.timeline().front().pixels.size(), "error pixel") + " called");
    for (const auto& ad : resolution.ads)
        result.ads.push_back(play(ad, result.ads.size(), resolution));
    screen_.line("");
    result.arePixelsSaved = sendWhatIsLeft();
    result.problems = problems_.timeline();
    result.pixels = ledger_->records();
    return result;
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
    const PlayResult result = PlayRun(options, std::move(pixelProvider)).run(source);
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
    command.add_option("--store", options->store,
                       "A file that keeps undelivered pixels for the next run, made when missing");
    command.add_option("--report", options->report, "Write an HTML page with everything");
    command.add_flag("--measure", options->measure,
                     "Run the ad's verification scripts, and show what they do");
    addAmount(command, "--skip-at", options->skipAt, "Second of each ad at which it is skipped");
    addAmount(command, "--mute-at", options->muteAt, "Second at which the sound is switched off");
    addAmount(command, "--pause-at", options->pauseAt, "Second at which it stands still for two seconds");
    addAmount(command, "--click-at", options->clickAt, "Second at which it is clicked");
    addAmount(command, "--hide-at", options->hideAt, "Second at which the view leaves the window");
    return [options] { return runPlay(*options); };
}

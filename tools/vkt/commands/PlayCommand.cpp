// vkt play: an ad break in a player without a screen, in simulated time.
#include <iomanip>
#include <map>
#include <memory>
#include <sstream>
#include <utility>

#include "commands/Commands.h"
#include "commands/OptionChecks.h"
#include "ground/Output.h"
#include "ground/PixelFile.h"
#include "ground/Text.h"
#include "playing/PlayRun.h"
#include "playing/PlayScreen.h"
#include "report/AdReport.h"
#include "report/AdText.h"
#include "report/Fragments.h"
#include "report/Pages.h"
#include "report/PlayReport.h"
#include "report/ResolutionReport.h"

namespace {

constexpr int outcomeColumn = 17;
constexpr int eventWidth = 13;

/// Shows it in a terminal, or in lines.
class ScreenAudience : public PlayAudience {
  public:
    explicit ScreenAudience(const PlayOptions& options) : options_(options), screen_(options.resolve.JSON) {}

    void resolved(const Resolution& resolution, const Timeline& problems,
                  const PixelLedger& /*ledger*/) override {
        for (const std::string& line : linesOfErrors(resolution.errors))
            screen_.note(line);
        screen_.line(titleOf(options_.resolve, resolution) + ", " + countOf(resolution.ads.size(), "ad"));
        for (const std::string& line : linesOfProblems(options_.resolve, resolution))
            screen_.line("   " + line);
        if (!problems.empty())
            screen_.line("   " + countOf(problems.front().pixels.size(), "error pixel") + " called");
    }
    void adStarts(std::size_t number, const VKTAdBreakAd& ad) override {
        screen_.line("");
        screen_.line(std::to_string(number) + ". " + headingOf(*ad.ad));
        if (ad.isPlayable()) {
            screen_.line("   plays " + ad.mediaFile->url->url().absoluteString() + " (" +
                         textOfMediaFile(*ad.mediaFile) + ")");
        } else {
            screen_.line(lineOfUnplayableAd(ad));
            screen_.note(lineOfError(problemOfAd(ad)));
        }
    }
    void eventTracked(const TimelineEntry& entry, const PixelLedger& /*ledger*/) override {
        screen_.line(textOfTime(entry.time) + "  " + entry.event + ": " +
                     (entry.pixels.empty() ? "nothing to call" : countOf(entry.pixels.size(), "pixel")));
    }
    void progressed(double position, double duration) override { screen_.showBar(position, duration); }
    void mediaIsOver() override { screen_.hideBar(); }
    void adEnded(std::size_t /*number*/, const PlayedAd& played) override {
        if (!options_.measure || !played.ad.isPlayable()) return;
        for (const std::string& line : linesOfScripts(played.scripts))
            screen_.line(line);
    }
    void breakEnded() override { screen_.line(""); }
    void pixelAnswered(std::size_t place, const PixelRecord& pixel) override {
        if (std::exchange(toldOutcomes_[place], pixel.outcome()) == pixel.outcome()) return;
        std::string reason;
        if (pixel.end == PixelPending) reason = " (stays pending" + pixel.reason() + ")";
        if (pixel.end == PixelExpired) reason = " (expired unsent)";
        std::ostringstream line;
        line << std::setw(outcomeColumn) << pixel.outcome() << "  " << std::left << std::setw(eventWidth)
             << pixel.event << "  " << pixel.url << reason;
        screen_.line(line.str());
    }
    void noted(const std::string& text) override { screen_.note(text); }

  private:
    const PlayOptions& options_;
    PlayScreen screen_;
    std::map<std::size_t, std::string> toldOutcomes_;  // of each pixel; a repeated one is no news
};

std::shared_ptr<VKTPixelStoreProviderProtocol> providerOf(const std::string& store) {
    if (store.empty()) return std::make_shared<VKTPixelStoreProvider>();
    return openPixelFile(store, PixelFileToKeep);
}

PlayResult play(const PlayOptions& options, const Source& source,
                std::shared_ptr<VKTPixelStoreProviderProtocol> pixelProvider) {
    const VKTData text = source.data ? std::make_shared<const std::string>(*source.data) : nullptr;
    if (options.resolve.fragments) {
        PlayFragments audience(options);
        return std::make_shared<PlayRun>(options, std::move(pixelProvider), audience, audience.detail(text))
            ->run(source);
    }
    ScreenAudience audience(options);
    const bool isPaged = !options.resolve.report.empty();
    return std::make_shared<PlayRun>(options, std::move(pixelProvider), audience,
                                     isPaged ? std::optional(ResolvingDetail{text, nullptr}) : std::nullopt)
        ->run(source);
}

int runPlay(PlayOptions options) {
    Source source;
    if (!readSource(options.resolve.source, source)) return ExitSourceUnread;
    if (options.resolve.fragments) options.resolve.source = nameForPage(options.resolve.source);
    auto pixelProvider = providerOf(options.store);
    if (!pixelProvider) return ExitSourceUnread;
    const PlayResult result = play(options, source, std::move(pixelProvider));
    if (options.resolve.fragments) {
        Output::standard().flush();
    } else if (options.resolve.JSON) {
        Output::standard().JSON(reportOfPlay(options, result));
    } else {
        if (!result.pixels.empty()) Output::standard().line();
        Output::standard().lines(summaryOfPixels(options, result));
    }
    Output::standard().flush();
    const bool isWritten = options.resolve.report.empty() || writePlayPage(options, result);
    const ExitStatus status = conclude(options.resolve, result.resolution);
    return isWritten ? status : ExitSourceUnread;
}

}  // namespace

CommandRun addPlay(CLI::App& command) {
    const auto options = std::make_shared<PlayOptions>();
    addResolveOptions(command, options->resolve);
    addPageOptions(command, options->resolve);
    addAmount(command, "--speed", options->speed, "Simulated seconds in a real one; 0: no waiting");
    addAmount(command, "--wait", options->wait, "Real seconds for the last pixels");
    command
        .add_option("--store", options->store,
                    "A file that keeps undelivered pixels for the next run, made when missing")
        ->type_name("FILE");
    command.add_flag("--measure", options->measure,
                     "Run the ad's verification scripts, and show what they do");
    addAmount(command, "--skip-at", options->skipAt, "Second of each ad at which it is skipped");
    addAmount(command, "--mute-at", options->muteAt, "Second at which the sound is switched off");
    addAmount(command, "--pause-at", options->pauseAt, "Second at which it stands still for two seconds");
    addAmount(command, "--click-at", options->clickAt, "Second at which it is clicked");
    addAmount(command, "--hide-at", options->hideAt, "Second at which the view leaves the window");
    command.add_option("--remote-player", options->remotePlayer)->group("");
    return [options] { return runPlay(*options); };
}

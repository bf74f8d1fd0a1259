// vkt watch: resolves one source again and again, and tells what was common and what was rare.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <memory>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/player/VKTAdBreakResolver.h"
#include "commands/Commands.h"
#include "commands/OptionChecks.h"
#include "commands/WatchSummary.h"
#include "ground/Output.h"
#include "ground/Text.h"
#include "playing/PlayScreen.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

struct WatchOptions {
    ResolveOptions resolve;
    double every = 10;  ///< seconds from the start of one resolve to that of the next
    int count = 60;
};

enum class Ring : char { None = 0, Interrupt, Done };

// Wakes the main thread, from a signal handler too: a byte through a pipe says what has happened.
std::array<int, 2> bell{-1, -1};

void ring(Ring what) {
    const int before = errno;
    [[maybe_unused]] const ssize_t count = write(bell[1], &what, 1);
    errno = before;
}

// The next one ends the process.
bool installBell() {
    if (pipe2(bell.data(), O_CLOEXEC) != 0) return false;
    struct sigaction action {};
    action.sa_handler = [](int /*signal*/) { ring(Ring::Interrupt); };
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    return sigaction(SIGINT, &action, nullptr) == 0;
}

// Waits for a ring until then.
Ring awaitRing(SteadyClock::time_point end) {
    pollfd file{bell[0], POLLIN, 0};
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - SteadyClock::now()).count();
        const int ready = poll(&file, 1, static_cast<int>(std::max<std::int64_t>(left, 0)));
        if (ready == 0) return Ring::None;
        Ring what = Ring::None;
        if (ready > 0 && read(bell[0], &what, 1) == 1) return what;
    }
}

// One resolve on a thread of its own, so that it can be ended. Without threads it is made at once.
class Resolve {
  public:
    Resolve(const ResolveOptions& options, const Source& source)
        : resolving_(options),
          resolver_(VKTAdBreakResolver::initWithOptions(resolving_.options(), resolving_.services(),
                                                        resolving_.options().resolvingDelegate)) {
        if (!worker_->tryPost([this, &source] { run(source); })) run(source);
    }

    void cancel() { resolver_->cancel(); }

    /// Once it is done.
    [[nodiscard]] WatchedResolve result() const {
        return {resolving_.resolutionOf(resolver_->resolution()), millisecondsToPlayable_};
    }

  private:
    void run(const Source& source) {
        const auto start = SteadyClock::now();
        resolver_->readWithXML(source.data, source.url);
        while (const auto ad = resolver_->nextAd()) {
            const std::chrono::duration<double, std::milli> time = SteadyClock::now() - start;
            if (ad->isPlayable() && !millisecondsToPlayable_) millisecondsToPlayable_ = time.count();
        }
        ring(Ring::Done);
    }

    const Resolving resolving_;
    const std::shared_ptr<VKTAdBreakResolver> resolver_;
    std::optional<double> millisecondsToPlayable_;
    const std::unique_ptr<VKTConcurrentPool> worker_ = VKTPlatform::current().makeConcurrentPool(1);
};

// Nothing when it was interrupted.
std::optional<WatchedResolve> resolveOnce(const ResolveOptions& options, const Source& source) {
    Resolve resolve(options, source);
    bool isInterrupted = false;
    Ring what = Ring::None;
    while (what != Ring::Done) {
        what = awaitRing(SteadyClock::now() + std::chrono::hours(1));
        if (what != Ring::Interrupt) continue;
        isInterrupted = true;
        resolve.cancel();
    }
    if (isInterrupted) return std::nullopt;
    return resolve.result();
}

std::string lineOf(std::size_t number, const WatchedResolve& watched) {
    const Resolution& resolution = watched.resolution;
    const auto playable = std::count_if(resolution.ads.begin(), resolution.ads.end(),
                                        [](const VKTAdBreakAd& ad) { return ad.isPlayable(); });
    std::string line =
        std::to_string(number) + ": " + countOf(static_cast<std::size_t>(playable), "playable ad");
    if (watched.millisecondsToPlayable)
        line +=
            ", the first after " + vkt_numberDescription(std::round(*watched.millisecondsToPlayable)) + " ms";
    const std::string shape = shapeOf(resolution);
    if (!shape.empty()) line += ", from " + shape;
    return line;
}

bool isUnread(const Resolution& resolution) {
    return !resolution.model && !resolution.requests.empty() && resolution.requests.front().record.error;
}

int runWatch(const WatchOptions& options) {
    Source source;
    if (!readSource(options.resolve.source, source)) return ExitSourceUnread;
    PlayScreen screen(options.resolve.JSON);
    if (!installBell()) {
        printError(std::string("cannot wait for the end of a resolve: ") + std::strerror(errno));
        return ExitSourceUnread;
    }
    WatchSummary summary(options.resolve.source);
    bool hasBeenRead = false;
    auto next = SteadyClock::now();
    Output& out = Output::standard();
    while (!out.hasFailed()) {
        const auto watched = resolveOnce(options.resolve, source);
        if (!watched) break;
        summary.add(*watched);
        hasBeenRead = hasBeenRead || !isUnread(watched->resolution);
        screen.hasBar() ? screen.showText(summary.progress())
                        : screen.line(lineOf(summary.resolves(), *watched));
        if (summary.resolves() == static_cast<std::size_t>(options.count)) break;
        next =
            std::max(next + std::chrono::duration_cast<SteadyClock::duration>(VKTTimeInterval(options.every)),
                     SteadyClock::now());
        if (awaitRing(next) == Ring::Interrupt) break;
    }
    screen.hideBar();
    options.resolve.JSON ? out.JSON(summary.report()) : out.lines(summary.lines());
    if (summary.filled() > 0) return ExitPlayable;
    if (summary.resolves() == 0 || hasBeenRead) return ExitNonePlayable;
    printError("cannot read " + options.resolve.source + ": every transfer failed");
    return ExitSourceUnread;
}

}  // namespace

CommandRun addWatch(CLI::App& command) {
    const auto options = std::make_shared<WatchOptions>();
    addResolveOptions(command, options->resolve);
    addAmount(command, "--every", options->every, "Seconds from the start of one resolve to the next");
    command.add_option("--count", options->count, "Resolves")
        ->capture_default_str()
        ->transform(integerWithin(1, 1'000'000));
    return [options] { return runWatch(*options); };
}

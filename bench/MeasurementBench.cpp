// Measurement: opening a session with one verification script in a process of its own, and one look at the
// views.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Loopback.h"
#include "Pairs.h"
#include "VKTCoreKit/omruntime/AdSession.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/omruntime/detail/EmbeddedServiceScript.h"
#include "VKTCoreKit/omruntime/detail/Geometry.h"
#include "VKTCoreKit/platform/VKTHeadlessView.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

using namespace OMIDKorvonet1;

// Hears of the script, and ends it.
struct Listener : MeasurementObserver {
    void scriptHeardEvent(const ScriptIdentity&, const std::string& type, std::int64_t) override {
        hasStarted = hasStarted || type == "sessionStart";
    }
    void scriptFailed(const ScriptIdentity&, const VKTError& error) override {
        failure = "the verification script: " + error.localizedDescription().value_or("no description");
    }
    void scriptSentURL(const ScriptIdentity&, const std::string&, bool) override {
        hasFlooded = ++URLCount == 19900;
    }
    void scriptEnded(const ScriptIdentity&) override { hasEnded = true; }

    bool hasStarted = false;
    bool hasEnded = false;
    bool hasFlooded = false;
    int URLCount = 0;
    std::string failure;  // empty: none
};

struct Measured {
    Measured() {
        server.serve("/script.js", "omid3p.registerSessionObserver(function () {});",
                     "application/javascript");
        server.serve("/flood.js",
                     "omid3p.registerSessionObserver(function (event) {"
                     "  if (event.type !== 'sessionStart') return;"
                     "  for (var i = 0; i < 19900; ++i) omid3p.sendUrl('');"
                     "});",
                     "application/javascript");
        runtime.activate();
        runtime.setScriptHostPath(VKT_SCRIPT_HOST);
        runtime.setObserver(listener);
    }

    Server server;
    SDK& runtime = SDK::sharedInstance();
    std::shared_ptr<Listener> listener = std::make_shared<Listener>();
};

void runUntil(const Listener& listener, const bool& done) {
    constexpr VKTTimeInterval limit{10};
    const auto isOver = [&] { return done || !listener.failure.empty(); };
    const bool isInTime = VKTPlatform::current().mainRunLoop->runUntil(isOver, limit);
    if (!listener.failure.empty()) fail(listener.failure);
    if (!isInTime) fail("nothing was heard of the verification script for 10 seconds");
}

std::shared_ptr<AdSession> makeSession(Measured& measured, const std::string& script = "/script.js") {
    *measured.listener = Listener();
    const auto resource =
        VerificationScriptResource::initWithURL(*VKTURL::URLWithString(measured.server.url(script)));
    const auto context =
        AdSessionContext::initWithPartner(*Partner::initWithName("Bench", "1"),
                                          std::string(embeddedServiceScript()), {resource}, {}, {}, nullptr);
    const auto configuration = AdSessionConfiguration::initWithCreativeType(
        CreativeTypeVideo, ImpressionTypeBeginToRender, OwnerNative, OwnerNative, false, nullptr);
    return AdSession::initWithConfiguration(*configuration, context, nullptr);
}

void endSession(Measured& measured, const std::shared_ptr<AdSession>& session) {
    session->finish();
    runUntil(*measured.listener, measured.listener->hasEnded);
}

double seconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// From asking for the session to sessionStart heard, by that clock; the end is not counted.
double startSession(Measured& measured, clockid_t clock) {
    const double begin = seconds(clock);
    const auto session = makeSession(measured);
    session->start();
    runUntil(*measured.listener, measured.listener->hasStarted);
    const double end = seconds(clock);
    endSession(measured, session);
    return end - begin;
}

// From the finish to the end of the script's world.
double finishSession(Measured& measured) {
    const auto session = makeSession(measured);
    session->start();
    runUntil(*measured.listener, measured.listener->hasStarted);
    const double begin = seconds(CLOCK_MONOTONIC);
    endSession(measured, session);
    return seconds(CLOCK_MONOTONIC) - begin;
}

// The longest task of the main loop, in processor time, while a script posts as much as it may.
double drainFlood(Measured& measured) {
    const auto session = makeSession(measured, "/flood.js");
    session->start();
    double longest = 0;
    double before = seconds(CLOCK_THREAD_CPUTIME_ID);
    const Listener& listener = *measured.listener;
    const auto isOver = [&] {
        const double now = seconds(CLOCK_THREAD_CPUTIME_ID);
        longest = std::max(longest, now - std::exchange(before, now));
        return listener.hasFlooded || !listener.failure.empty();
    };
    const bool isInTime = VKTPlatform::current().mainRunLoop->runUntil(isOver, VKTTimeInterval(10));
    if (!listener.failure.empty()) fail(listener.failure);
    if (!isInTime) fail("the script has not flooded for 10 seconds");
    endSession(measured, session);
    return longest;
}

// A process that does nothing, and one GET.
double startProcessAndGet(BareCurl& curl, const std::string& url) {
    const double begin = seconds(CLOCK_MONOTONIC);
    std::string program = "/bin/true";
    const std::array<char*, 2> arguments{program.data(), nullptr};
    pid_t child = 0;
    int status = 0;
    if (posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments.data(), environ) != 0)
        fail("/bin/true cannot be started");
    curl.get(url);
    waitpid(child, &status, 0);
    return seconds(CLOCK_MONOTONIC) - begin;
}

// Kilobytes of memory that the process does not share with another.
long privateKilobytes(const std::string& process) {
    std::ifstream file("/proc/" + process + "/smaps_rollup");
    long kilobytes = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("Private_")) kilobytes += std::atol(line.substr(line.find(':') + 1).c_str());
    }
    return kilobytes;
}

// The only child process there is.
std::string child() {
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(thread.path() / "children");
        if (std::string process; file >> process) return process;
    }
    fail("the script has no process");
}

void printMemory(Measured& measured) {
    endSession(measured, [&] {
        const auto session = makeSession(measured);
        session->start();
        runUntil(*measured.listener, measured.listener->hasStarted);
        return session;
    }());
    const long before = privateKilobytes("self");
    const auto session = makeSession(measured);
    session->start();
    runUntil(*measured.listener, measured.listener->hasStarted);
    std::fprintf(stderr, "om_session_start: %ld KB more in the player, %ld KB in the script's process\n",
                 privateKilobytes("self") - before, privateKilobytes(child()));
    endSession(measured, session);
}

// The ad's view, and 999 others: a page of panels with buttons, half of it in front of the ad.
struct Page {
    Page() {
        const auto add = [this](const std::shared_ptr<VKTHeadlessView>& to, const VKTRect& frame) {
            auto view = VKTHeadlessView::initWithFrame(frame);
            to->addSubview(view);
            return view;
        };
        constexpr int panels = 100;
        constexpr int buttons = 9;
        for (int i = 0; i < panels; ++i) {
            if (i == panels / 2) adView = add(window, {0, 0, 1920, 1080});
            const auto panel = add(window, {i * 19.0, i * 10.0, 60, 40});
            for (int j = 0; j < buttons; ++j)
                add(panel, {j * 6.0, 4, 5, 30});
        }
    }

    std::shared_ptr<VKTHeadlessView> window = VKTHeadlessView::windowWithFrame({0, 0, 1920, 1080});
    std::shared_ptr<VKTHeadlessView> adView;
    GeometryWalker walker;
    std::vector<std::shared_ptr<VKTView>> views;
};

// The least that a walk has to do: every view once, with its frame.
void visitAll(Page& page) {
    page.views.clear();
    page.window->appendSubviewsTo(page.views);
    double area = 0;
    for (std::size_t i = 0; i < page.views.size(); ++i) {
        const auto view = page.views[i];
        area += view->frame().area();
        view->appendSubviewsTo(page.views);
    }
    if (area == 0) fail("the views have no area");
}

}  // namespace

void addMeasurementBenchmarks() {
    static Measured measured;
    static BareCurl curl;
    static const std::string url = measured.server.url("/script.js");
    addTimedPair(
        "om_session_start",
        [] {
            static std::once_flag once;
            std::call_once(once, [] { printMemory(measured); });
            return startSession(measured, CLOCK_MONOTONIC);
        },
        [] { return startProcessAndGet(curl, url); });
    // What the player's thread itself spends on it; its limit is the goal.
    addTimedPair(
        "om_session_blocked", [] { return startSession(measured, CLOCK_THREAD_CPUTIME_ID); },
        [] { return 1e-3; });
    addTimedPair(
        "om_finish", [] { return finishSession(measured); }, [] { return 1e-3; });
    addTimedPairRunOnce(
        "om_drain_20000", [] { return drainFlood(measured); }, [] { return 4e-3; });
    static Page page;
    // Twice: the walker fills two records in turn, and each takes its memory with its first look.
    page.walker.look(page.adView, true, {});
    page.walker.look(page.adView, true, {});
    addPair(
        "om_geometry_1000_views",
        [] {
            const std::size_t before = allocationCount();
            if (page.walker.look(page.adView, true, {})) fail("a look at what stands still saw a change");
            if (allocationCount() != before) fail("a look at what stands still asks for memory");
        },
        [] { visitAll(page); });
}

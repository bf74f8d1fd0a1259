// What each operation does that wants a thread or a descriptor where there is none: it ends, says what it
// can, and works again as soon as there are some.
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "VKTCoreKit/core/VKTFuture.h"
#include "VKTCoreKit/network/VKTReachabilityManager.h"
#include "VKTCoreKit/platform/linux/VKTLinuxRunLoop.h"
#include "VKTCoreKit/platform/linux/VKTNetlinkReachability.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/privacy/VKTLocationProvider.h"
#include "VKTCoreKit/tracking/VKTPixelManager.h"
#include "VKTCoreKit/vast/VKTVASTManager.h"
#include "tests/support/NoNewDescriptors.h"
#include "tests/support/VASTTexts.h"
#include "tests/support/VKTRecordedLog.h"
#include "tests/support/VKTTestPaths.h"
#include "tests/threads/Scarcity.h"

using namespace std::chrono_literals;

namespace {

constexpr auto patience = 60s;

std::shared_ptr<VKTURLSession> sessionOver(const std::shared_ptr<VKTHTTPSession>& http) {
    return VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(http));
}

std::string future() {
    std::optional<VKTError> error;
    const auto asked = VKTFuture<std::optional<std::string>>::initWithTask([] { return "works"; });
    const auto result = asked.getWithTimeout(patience, &error);
    if (result) return *result;
    EXPECT_EQ(asked.get(), std::nullopt);
    return error->domain() + " " + std::to_string(error->code()) + (asked.isDone() ? ", done" : "");
}

// Two passes, so that a warning shows whether it comes once.
std::string pixels() {
    const auto http = std::make_shared<VKTFakeHTTPSession>();
    http->setHandler([](const auto&) { return VKTFakeHTTPAnswer::withStatus(200); });
    const auto manager = VKTPixelManager::initWithPixelStore(
        VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>()), sessionOver(http));
    manager->addPixel(VKTPixel::initWithUrl(*VKTURL::URLWithString("http://pixel.test/")));
    manager->callPixels();
    std::promise<std::thread::id> ended;
    manager->callPixelsWithCompletionHandler([&] { ended.set_value(std::this_thread::get_id()); });
    auto handledBy = ended.get_future();
    if (handledBy.wait_for(patience) != std::future_status::ready) return "no handler was called";
    const bool isHere = handledBy.get() == std::this_thread::get_id();
    if (manager->allPixels().empty() && !isHere) return "works";
    return std::to_string(manager->allPixels().size()) + " pending" + (isHere ? ", handled here" : "");
}

struct Playable : VKTConsumableVideoAd {
    std::string identifier;
};

struct Embedder : VKTVASTManagerDelegate, VKTVASTAdAdapterProtocol {
    std::shared_ptr<VKTConsumableVideoAd> convertVASTAdToConsumableVideoAd(
        const std::shared_ptr<VKTVASTAd>& ad) override {
        auto playable = std::make_shared<Playable>();
        playable->identifier = ad->adID().value_or("");
        return playable;
    }
};

// The passbacks that come after a failed ad, until there is none.
std::string adsAfterFailure(const std::vector<std::string>& passbacks) {
    const auto http = std::make_shared<VKTFakeHTTPSession>();
    std::string ads = inlineAd("main");
    for (const std::string& each : passbacks) {
        http->setAnswer("http://ads.test/" + each, VKTFakeHTTPAnswer::withBody(vast(inlineAd(each))));
        ads += wrapperTo("http://ads.test/" + each);
    }
    const auto embedder = std::make_shared<Embedder>();
    const auto manager =
        VKTVASTManager::initWithDelegate(embedder, embedder, sessionOver(http), VKTVASTManagerConfig());
    manager->createAdsStoreWithXML(vast(ads), std::nullopt, patience);
    std::string given;
    while (const auto ad = manager->nextAdWithTimeout(patience, true).ad)
        given += static_cast<const Playable&>(*ad).identifier;
    return given;
}

std::string passback() {
    return adsAfterFailure({"works"});
}

std::string reachability() {
    const VKTNetworkInterfaceSource source{
        [] { return VKTNetworkInterfaces{{.name = "eth0", .isRunning = true, .hasAddress = true}}; },
        vkt_systemInterfaceSource().openChangeSocket};
    const auto manager = VKTReachabilityManager::initWithReachability(
        vkt_makeNetlinkReachabilityTarget("ads.example", source));
    manager->startMonitoring();
    manager->startMonitoring();
    return manager->isNetworkReachableViaWiFi() ? "works" : "unreachable";
}

std::string scriptWorld() {
    std::string heard;
    VKTScriptOptions options;
    options.turnLimit = 20s;
    options.hostPath = VKTTestPaths::scriptHost;
    const auto world = VKTPlatform::current().makeScriptExecutor(
        options, {.onMessage = [&](const std::string& message) { heard = message; },
                  .onException = nullptr,
                  .onEnd =
                      [&](const VKTError& error) {
                          heard = "end " + std::to_string(error.code());
                          EXPECT_NE(error.localizedDescription(), std::nullopt);
                      }});
    world->evaluate("postToHost('works')", "test.js");
    VKTPlatform::current().mainRunLoop->runUntil([&] { return !heard.empty(); }, patience);
    return heard;
}

std::string timer() {
    const auto loop = vkt_makeLinuxRunLoop();
    std::string log;
    const auto timer = loop->schedule(1ms, [&] { log = "works"; });
    loop->runUntil([&] { return !log.empty(); }, patience);
    return log;
}

std::string location() {
    VKTTestPlatform test = vkt_makeTestPlatform();
    test.platform.globalPool = VKTPlatform::current().globalPool;
    test.locationServices->setEnabled(true);
    const VKTScopedPlatform scope(test.platform);
    const auto provider = VKTLocationProvider::init();
    provider->startLocationProvider();
    while (test.locationServices->requestCount() == 0) {
        test.mainRunLoop->drain();
        std::this_thread::yield();
    }
    return "works";
}

struct Row {
    const char* name;
    std::function<std::string()> operate;  // "works", with threads and descriptors
    std::string withoutThreads;
    std::string withoutDescriptors;
};

const Row rows[] = {
    {"future", future, "VKTFutureError 1001, done", "works"},
    {"pixels", pixels, "1 pending, handled here, 1 warning", "works"},
    {"passback", passback, "works, 1 warning", "works"},
    {"reachability", reachability, "works, 1 warning", "works, 1 warning"},
    {"script world", scriptWorld, "end 6", "end 6"},
    {"timer", timer, "works", "works"},
    {"location", location, "works", "works"},
};

class Scarcity : public testing::Test {
  protected:
    // What the operation says, and how many warnings were logged, each with what to do.
    std::string outcome(const Row& row) {
        std::string said = row.operate();
        const std::vector<std::string> lines = log_.take();
        for (const std::string& line : lines)
            EXPECT_NE(line.find("aise the limit"), std::string::npos) << line;
        if (!lines.empty()) said += ", " + std::to_string(lines.size()) + " warning";
        return said;
    }

    template <typename Scarce>
    void expectAll(std::string Row::*expected) {
        for (const Row& row : rows) {
            SCOPED_TRACE(row.name);
            // One of its own, whose pools have no thread yet.
            VKTPlatform platform = vkt_makeDefaultPlatform();
            // Managers borrow it: a passback may be the last to hold one, and must not end its own pool.
            const auto passbackPool = platform.passbackPool;
            platform.passbackPool =
                std::shared_ptr<VKTConcurrentPool>(std::shared_ptr<void>(), passbackPool.get());
            platform.mainRunLoop = vkt_makeLinuxRunLoop();
            const VKTScopedPlatform scope(platform);
            {
                const Scarce scarce;
                EXPECT_EQ(outcome(row), row.*expected);
            }
            EXPECT_EQ(outcome(row), "works");
        }
    }

    VKTRecordedLog log_;
};

TEST_F(Scarcity, EveryOperationEndsWithoutThreads) {
    expectAll<NoNewThreads>(&Row::withoutThreads);
}

TEST_F(Scarcity, EveryOperationEndsWithoutDescriptors) {
    expectAll<NoNewDescriptors>(&Row::withoutDescriptors);
}

TEST_F(Scarcity, NoPassbackIsLostForWantOfAThread) {
    const VKTScopedPlatform scope(vkt_makeDefaultPlatform());
    const NoNewThreads refused;
    EXPECT_EQ(adsAfterFailure({"a", "b", "c"}), "abc");
    EXPECT_EQ(log_.take().size(), 1U);
}

}  // namespace

// Passbacks that are wrappers: resolved at once, on threads of a pool, while one caller waits.
#include <algorithm>
#include <future>
#include <latch>
#include <set>
#include <stdexcept>
#include <thread>

#include "tests/vast/ManagerFixture.h"

using namespace std::chrono_literals;

namespace {

class VASTManagerPassbacks : public ManagerFixture {
  protected:
    // Asks for a passback on a thread of its own. What the test does meanwhile may wait for the end, which
    // would be a fault, for a moment.
    void ask() {
        answer = std::async(std::launch::async, [this] {
                     std::string given = next(true);
                     hasEnded.count_down();
                     return given;
                 }).share();
    }
    bool endsTooEarly() {
        for (const auto end = std::chrono::steady_clock::now() + 30ms;
             std::chrono::steady_clock::now() < end;)
            if (hasEnded.try_wait()) return true;
        return false;
    }

    std::latch hasEnded{1};
    std::shared_future<std::string> answer;
};

TEST_F(VASTManagerPassbacks, SaysThatPassbacksAreStillBeingResolved) {
    serve("p1", inlineAd("p1"));
    serve("p2", inlineAd("p2"));
    SteppedPool pool(1);
    start(inlineAd("m") + wrapper("w1", "p1") + wrapper("w2", "p2"), &pool);
    EXPECT_EQ(next(true), "p1");
    EXPECT_EQ(next(true), "10006 Passback resolution incomplete.");
    ASSERT_EQ(pool.waiting.size(), 1U);
    pool.waiting.front()();
    EXPECT_TRUE(manager->didResolvePassbackWrappers());
    EXPECT_EQ(next(true), "p2");  // late, and kept
    EXPECT_EQ(next(true), noMorePassback);
    EXPECT_EQ(embedder->conversions, 2);
}

// The wait ends when every passback has been started and one has given nothing; the next valid one wins for
// nobody, and what comes after it is kept.
TEST_F(VASTManagerPassbacks, EndsEmptyWhileOthersStillDownload) {
    std::latch started(2);
    std::latch firstMayEnd(1);
    std::latch secondMayEnd(1);
    fake->setHandler([&](const VKTURLRequest& request) {
        const std::string& target = request.url.absoluteString();
        if (target == url("none")) {
            started.wait();
            return VKTFakeHTTPAnswer::withError(VKTURLErrorCannotFindHost);
        }
        started.count_down();
        (target == url("p1") ? firstMayEnd : secondMayEnd).wait();
        return adNamedAsThePathOf(request);
    });
    const auto pool = VKTPlatform::current().makeConcurrentPool(3);
    start(inlineAd("m") + wrapper("w1", "p1") + wrapper("w2", "p2") + wrapper("w3", "none"), pool.get());
    EXPECT_EQ(next(true), noMorePassback);
    firstMayEnd.count_down();
    while (embedder->conversions == 0)
        std::this_thread::yield();
    EXPECT_EQ(next(true), noMorePassback);
    secondMayEnd.count_down();
    while (manager->inlinePassbackAdsStore().size() < 2)
        std::this_thread::yield();
    EXPECT_EQ(next(true), "p2");
}

TEST_F(VASTManagerPassbacks, HasOneWinnerAmongManyPassbacks) {
    constexpr int count = 200;
    fake->setHandler(adNamedAsThePathOf);
    const auto pool = VKTPlatform::current().makeConcurrentPool(VKTPassbackThreadLimit);
    start(passbacks(count), pool.get());
    std::set<std::string> given{next(true)};
    while (manager->isResolvingPassbackWrappers() || manager->inlinePassbackAdsStore().size() < count)
        std::this_thread::yield();
    EXPECT_EQ(embedder->conversions, 1);
    for (int i = 1; i < count; ++i)
        given.insert(next(true));
    EXPECT_EQ(given.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(next(true), noMorePassback);
}

TEST_F(VASTManagerPassbacks, WaitsForTheFirstThatIsThereAndStored) {
    fake->setHandler(
        [&](const VKTURLRequest& request) {
            EXPECT_EQ(request.timeoutInterval, config.requestTimeout);
            if (pathOf(request) == "p0") return VKTFakeHTTPAnswer::withBody(vast(invalid("p0")));
            EXPECT_FALSE(endsTooEarly())
                << "one that gives nothing ends the wait only when all have been started";
            return adNamedAsThePathOf(request);
        });
    embedder->onEvent = [&](const std::string& event) {
        if (!event.starts_with("convert")) return;
        EXPECT_FALSE(endsTooEarly()) << "the winner is not there before it is converted";
        EXPECT_TRUE(manager->isResolvingPassbackWrappers());
        EXPECT_FALSE(manager->didResolvePassbackWrappers());
    };
    config.requestTimeout = VKTTimeInterval(3);
    const auto pool = VKTPlatform::current().makeConcurrentPool(1);
    start(passbacks(2), pool.get());
    ask();
    EXPECT_EQ(answer.get(), "p1");
    EXPECT_TRUE(manager->didResolvePassbackWrappers());
    EXPECT_FALSE(manager->isResolvingPassbackWrappers());
    EXPECT_EQ(embedder->conversions, 1);
}

// All have been started, and the others end while the winner is converted.
TEST_F(VASTManagerPassbacks, IsNotResolvedBeforeTheResultIsThere) {
    std::latch othersHaveEnded(2);
    std::latch isConverting(1);
    fake->setHandler([&](const VKTURLRequest& request) {
        if (pathOf(request) == "p0") return adNamedAsThePathOf(request);
        isConverting.wait();
        return VKTFakeHTTPAnswer::withError(VKTURLErrorCannotFindHost);
    });
    embedder->onEvent = [&](const std::string& event) {
        if (event.starts_with("VAST_WRAPPER_ERROR_FETCH")) othersHaveEnded.count_down();
        if (event != "convert p0") return;
        isConverting.count_down();
        othersHaveEnded.wait();
        EXPECT_FALSE(endsTooEarly());
        EXPECT_FALSE(manager->didResolvePassbackWrappers());
    };
    const auto pool = VKTPlatform::current().makeConcurrentPool(3);
    start(passbacks(3), pool.get());
    ask();
    EXPECT_EQ(answer.get(), "p0");
    EXPECT_TRUE(manager->didResolvePassbackWrappers());
}

TEST_F(VASTManagerPassbacks, AWinnerThatIsRefusedLeavesItsPlace) {
    fake->setHandler(adNamedAsThePathOf);
    for (const auto& [refused, given] :
         {std::pair("p0", "p1"), std::pair("p0 p1 p2", noMorePassback.c_str())}) {
        embedder->refused = refused;
        SteppedPool pool(3);
        start(passbacks(3), &pool);
        EXPECT_EQ(next(true), given);
        EXPECT_TRUE(manager->didResolvePassbackWrappers());
    }
}

TEST_F(VASTManagerPassbacks, ARefusedWinnerIsFollowedByOneThatHasArrivedMeanwhile) {
    embedder->refused = "p0 p1";
    embedder->onEvent = [&](const std::string& event) {
        while (event == "convert p0" && manager->inlinePassbackAdsStore().size() < 3)
            std::this_thread::yield();
    };
    const auto pool = VKTPlatform::current().makeConcurrentPool(3);
    fake->setHandler([&](const VKTURLRequest& request) {
        if (pathOf(request) != "p0") {
            while (embedder->conversions == 0)
                std::this_thread::yield();
        }
        return adNamedAsThePathOf(request);
    });
    start(passbacks(3), pool.get());
    EXPECT_EQ(next(true), "p2");
}

TEST_F(VASTManagerPassbacks, ARefusedWinnerIsFollowedByOneThatStillDownloads) {
    embedder->refused = "p0";
    std::latch started(2);
    fake->setHandler([&](const VKTURLRequest& request) {
        started.arrive_and_wait();
        if (pathOf(request) == "p1") {
            while (embedder->conversions == 0)
                std::this_thread::yield();
            EXPECT_FALSE(endsTooEarly());
        }
        return adNamedAsThePathOf(request);
    });
    const auto pool = VKTPlatform::current().makeConcurrentPool(2);
    start(passbacks(2), pool.get());
    ask();
    EXPECT_EQ(answer.get(), "p1");
}

// Where an embedder throws, on a passback thread and on the one that waits: that passback ends, nothing else.
TEST_F(VASTManagerPassbacks, OneThatThrowsEndsAlone) {
    serve("empty", "");
    serve("p", inlineAd("p"));
    const std::pair<const char*, std::string> rows[] = {
        {"start w0", "p"},
        {"VAST_WRAPPER_ERROR_FETCH", "p"},
        {"VAST_WRAPPER_ERROR_NOT_VAST_RESPONSE", "p"},
        {"no ad behind", "p"},
        {"macros", noMorePassback},
        {"convert p", noMorePassback},
    };
    const auto pool = VKTPlatform::current().makeConcurrentPool(1);
    ThreadlessPool threadless;
    for (VKTConcurrentPool* each : {pool.get(), static_cast<VKTConcurrentPool*>(&threadless)}) {
        for (const auto& [event, given] : rows) {
            SCOPED_TRACE(event);
            embedder->onEvent = [&, place = std::string(event)](const std::string& now) {
                if (!now.starts_with(place)) return;
                if (each == &threadless) throw 7;
                throw std::runtime_error("the embedder's");
            };
            start(inlineAd("m") + wrapper("w0", "none") + wrapper("w1", "empty") + wrapper("w2", "p"), each);
            EXPECT_EQ(next(true), given);
            EXPECT_EQ(next(true), noMorePassback);
        }
    }
}

TEST_F(VASTManagerPassbacks, WhatIsThrownOnTheCallingThreadIsTheCallers) {
    embedder->onEvent = [&](const std::string& event) {
        if (event.starts_with("VAST_WRAPPER_ERROR_FETCH") || event == "convert b") throw 7;
    };
    start(wrapper("w", "none", one) + inlineAd("b", two) + inlineAd("c", "sequence='3'"));
    EXPECT_THROW(next(), int);
    EXPECT_THROW(next(), int);
    EXPECT_EQ((Texts{next(), next()}), (Texts{"c", noMoreAds}));
}

// On the calling thread and on passback threads; the manager is the only one to hold its pool.
TEST_F(VASTManagerPassbacks, OutlivesItsLastReferenceInsideACallback) {
    serve("empty", "");
    serve("p", inlineAd("p"));
    const struct {
        const char* event;
        std::string ads;
        char ask;
    } rows[] = {
        {"ready", wrapper("w", "p"), 'm'},
        {"start w", wrapper("w", "p"), 'm'},
        {"macros", wrapper("w", "p"), 'm'},
        {"VAST_WRAPPER_ERROR_FETCH", wrapper("w", "none"), 'm'},
        {"no ad behind", wrapper("w", "empty"), 'm'},
        {"convert", inlineAd("a"), 'm'},
        {"start w", inlineAd("m") + wrapper("w", "p"), 'p'},
        {"macros", inlineAd("m") + wrapper("w", "p"), 'p'},
        {"VAST_WRAPPER_ERROR_FETCH", inlineAd("m") + wrapper("w", "none"), 'p'},
        {"no ad behind", inlineAd("m") + wrapper("w", "empty"), 'p'},
        {"convert", inlineAd("m") + wrapper("w", "p"), 'p'},
    };
    for (const auto& [event, ads, ask] : rows) {
        SCOPED_TRACE(std::string(event) + " " + ask);
        std::latch isDropped(1);
        embedder->onEvent = [&, place = event](const std::string& now) {
            if (!now.starts_with(place) || !manager) return;
            manager.reset();
            isDropped.count_down();
        };
        manager = VKTVASTManager::initWithDelegate(embedder, embedder, session, config,
                                                   VKTPlatform::current().makeConcurrentPool(2));
        const std::weak_ptr<VKTVASTManager> watched = manager;
        manager->createAdsStoreWithXML(vast(ads), std::nullopt, VKTTimeInterval(1));
        if (manager) manager->nextAdWithTimeout(VKTTimeInterval(1), ask == 'p');
        isDropped.wait();
        while (!watched.expired())
            std::this_thread::yield();
    }
}

// Each of the greedy has a hundred requests that hang; one more waits for nobody.
TEST_F(VASTManagerPassbacks, GreedyManagersDoNotStarveAnother) {
    constexpr int greedy = 5;
    std::latch mayEnd(1);
    std::atomic<int> hanging = 0;
    fake->setHandler([&](const VKTURLRequest& request) {
        if (pathOf(request) == "instant") return adNamedAsThePathOf(request);
        ++hanging;
        mayEnd.wait();
        return VKTFakeHTTPAnswer::withError(VKTURLErrorTimedOut);
    });
    const auto pool = VKTPlatform::current().makeConcurrentPool(VKTPassbackThreadLimit);
    std::vector<std::shared_ptr<VKTVASTManager>> managers;
    std::vector<std::thread> callers;
    for (int i = 0; i < greedy; ++i) {
        start(passbacks(100), pool.get());
        managers.push_back(manager);
        callers.emplace_back([one = manager] { one->nextAdWithTimeout(VKTTimeInterval(1), true); });
        while (hanging < static_cast<int>(VKTPassbackThreadLimit) + i)
            std::this_thread::yield();
    }
    start(inlineAd("m") + wrapper("w", "instant"), pool.get());
    EXPECT_EQ(next(true), "instant");
    EXPECT_EQ(hanging, static_cast<int>(VKTPassbackThreadLimit) + greedy - 1);
    for (const auto& each : managers)
        each->cancel();
    mayEnd.count_down();
    for (std::thread& caller : callers)
        caller.join();
}

}  // namespace

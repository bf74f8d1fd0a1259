// A cancelled request: nothing is started any more, and the call under way ends.
#include <future>
#include <latch>
#include <thread>

#include "server/VKTRawServer.h"
#include "tests/vast/ManagerFixture.h"

namespace {

class VASTManagerCancel : public ManagerFixture {
  protected:
    // Downloads are answered with an ad once they may end.
    void holdDownloads() {
        fake->setHandler([this](const VKTURLRequest& request) {
            mayEnd.wait();
            return adNamedAsThePathOf(request);
        });
    }
    void waitForRequests(std::size_t count) const {
        while (fake->requests().size() < count)
            std::this_thread::yield();
    }

    std::latch mayEnd{1};
};

}  // namespace

TEST_F(VASTManagerCancel, InsideACallbackIsFinal) {
    serve("a", inlineAd("a"));
    serve("empty", "");
    const std::string toNobody = wrapper("w", "none", one) + wrapper("v", "a", two) + wrapper("p", "a");
    const struct {
        const char* event;
        std::string ads;
        std::size_t requests;
        std::string given;
    } rows[] = {
        {"ready", wrapper("w", "a"), 0, noMoreAds},
        {"document", wrapper("w", "a"), 0, noMoreAds},
        {"start", wrapper("w", "a"), 0, noMoreAds},
        {"macros", wrapper("w", "a"), 0, noMoreAds},
        {"VAST_WRAPPER_ERROR_FETCH", toNobody, 1, noMoreAds},
        {"no ad", wrapper("w", "empty", one) + wrapper("v", "a", two) + inlineAd("p"), 1, noMoreAds},
        {"convert", inlineAd("a"), 0, noMoreAds},
        {"start", passbacks(3), 0, noMorePassback},
        {"macros", passbacks(3), 0, noMorePassback},
        {"VAST_WRAPPER_ERROR_FETCH", passbacks(3), 1, noMorePassback},
        {"convert", inlineAd("m") + wrapper("w", "a") + wrapper("v", "a"), 1, noMorePassback},
    };
    for (const auto operation : {&VKTVASTManager::cancel, &VKTVASTManager::cancelImmediately}) {
        for (const auto& [event, ads, requests, given] : rows) {
            SCOPED_TRACE(event + (": " + ads));
            Texts heard;
            embedder->onEvent = [&, place = event](const std::string& now) {
                if (!now.starts_with(place)) return;
                ((*manager).*operation)();
                ((*manager).*operation)();
                manager->setDelegate(embedder);
                heard = embedder->takeHeard();
            };
            const std::size_t before = fake->requests().size();
            ThreadlessPool pool;
            start(ads, &pool);
            EXPECT_EQ(next(given == noMorePassback), given);
            EXPECT_EQ(next(given == noMorePassback), given);
            EXPECT_FALSE(manager->delegate());
            EXPECT_EQ(fake->requests().size() - before, requests);
            EXPECT_EQ(embedder->takeHeard(), Texts{}) << "after " << vkt_joined(heard, ", ");
        }
    }
}

TEST_F(VASTManagerCancel, LetsTheDownloadUnderWayComplete) {
    holdDownloads();
    start(wrapper("w", "a"));
    auto answer = std::async(std::launch::async, [&] { return next(); });
    waitForRequests(1);
    manager->cancel();
    mayEnd.count_down();
    EXPECT_EQ(answer.get(), noMoreAds);
    EXPECT_EQ(embedder->conversions, 0);
    EXPECT_EQ(embedder->takeHeard(), (Texts{"ready", "start w"}));
    EXPECT_EQ(embedder->takeOutcomes().size(), 1U) << "only the first document";
}

TEST_F(VASTManagerCancel, LeavesNoStoreOfADocumentUnderWay) {
    holdDownloads();
    manager = VKTVASTManager::initWithDelegate(embedder, embedder, session, config);
    auto ended = std::async(std::launch::async, [&] {
        manager->createAdsStoreWithXML(std::nullopt, VKTURL::URLWithString(url("a")), VKTTimeInterval(1));
    });
    waitForRequests(1);
    manager->cancel();
    mayEnd.count_down();
    ended.get();
    EXPECT_EQ(next(), noModel);
    EXPECT_EQ(embedder->takeHeard(), Texts{});
}

TEST_F(VASTManagerCancel, StartsNoFurtherPassback) {
    holdDownloads();
    auto pool = VKTPlatform::current().makeConcurrentPool(VKTPassbackThreadLimit);
    start(passbacks(200), pool.get());
    auto answer = std::async(std::launch::async, [&] { return next(true); });
    waitForRequests(VKTPassbackThreadLimit);
    manager->cancel();
    mayEnd.count_down();
    EXPECT_EQ(answer.get(), noMorePassback);
    while (manager.use_count() > 1)
        std::this_thread::yield();
    EXPECT_EQ(fake->requests().size(), VKTPassbackThreadLimit);
    EXPECT_EQ(embedder->conversions, 0);
}

TEST_F(VASTManagerCancel, DoesNotWaitForPassbacksThatHaveNotBegun) {
    SteppedPool pool(0);
    start(passbacks(2), &pool);
    auto answer = std::async(std::launch::async, [&] { return next(true); });
    while (!manager->isResolvingPassbackWrappers())
        std::this_thread::yield();
    manager->cancel();
    EXPECT_EQ(answer.get(), noMorePassback);
    for (const VKTTask& task : pool.waiting)
        task();
    EXPECT_TRUE(fake->requests().empty());
}

// The time-outs are an hour: what is not ended never returns.
TEST_F(VASTManagerCancel, EndsTheRequestsUnderWay) {
    constexpr VKTTimeInterval hour = std::chrono::hours(1);
    const VKTRawAnswer nothing{{}, VKTRawAnswer::Hang};
    const VKTRawAnswer half{{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n", "half"}, VKTRawAnswer::Hang};
    config.requestTimeout = hour;
    for (const VKTRawAnswer& sent : {nothing, half}) {
        for (const char* road : {"first document", "main", "passbacks"}) {
            SCOPED_TRACE(road);
            const std::string ask = road;
            const VKTRawServer server(sent);
            const std::string wrappers =
                ad("w", "Wrapper", "<VASTAdTagURI>" + server.url() + "</VASTAdTagURI>", "");
            const int requests = ask == "passbacks" ? 2 : 1;
            manager = VKTVASTManager::initWithDelegate(embedder, embedder, nullptr, config);
            auto answer = std::async(std::launch::async, [&] {
                if (ask == "first document") {
                    manager->createAdsStoreWithXML(std::nullopt, VKTURL::URLWithString(server.url()), hour);
                } else {
                    const std::string ads = requests == 1 ? wrappers : inlineAd("m") + wrappers + wrappers;
                    manager->createAdsStoreWithXML(vast(ads), std::nullopt, hour);
                }
                return next(requests == 2);
            });
            while (server.requestCount() < requests)
                std::this_thread::yield();
            manager->cancelImmediately();
            EXPECT_EQ(answer.get(), requests == 2             ? noMorePassback
                                    : ask == "first document" ? noModel
                                                              : noMoreAds);
            while (manager.use_count() > 1)  // by a passback whose request has not ended
                std::this_thread::yield();
            for (const std::string& line : embedder->takeHeard())
                EXPECT_FALSE(line.starts_with("VAST_")) << line;
        }
    }
}

#include "VKTCoreKit/tracking/VKTPixelManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "server/VKTRawServer.h"
#include "tests/tracking/TrackingFixture.h"

namespace {

// Keeps the last list that was saved.
struct RecordingProvider : VKTPixelStoreProvider {
    bool savePixels(const VKTPixels& pixels) override {
        saved = pixels;
        ++savings;
        return true;
    }
    VKTPixels saved;
    int savings = 0;
};

std::shared_ptr<VKTPixelManager> managerOver(const std::shared_ptr<VKTPixelStore>& store,
                                             const std::shared_ptr<VKTHTTPSession>& http) {
    return VKTPixelManager::initWithPixelStore(
        store, VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(http)));
}

std::shared_ptr<VKTPixel> pixelWithURL(const std::string& url) {
    return VKTPixel::initWithUrl(urlOf(url));
}

void waitForPass(VKTPixelManager& manager) {
    std::promise<void> ended;
    manager.callPixelsWithCompletionHandler([&] { ended.set_value(); });
    ended.get_future().wait();
}

Texts urlsOf(const VKTPixels& pixels) {
    Texts urls;
    for (const auto& pixel : pixels)
        urls.push_back(pixel->url().absoluteString());
    return urls;
}

class PixelManager : public testing::Test {
  protected:
    static VKTTestPlatform platformOfDifferingDraws() {
        VKTTestPlatform test = vkt_makeTestPlatform();
        test.platform.random = VKTPlatform::current().random;
        return test;
    }

    [[nodiscard]] Texts requestedURLs() const {
        Texts urls;
        for (const VKTURLRequest& request : http_->requests())
            urls.push_back(request.url.absoluteString());
        return urls;
    }

    const VKTPlatform realPlatform_ = VKTPlatform::current();
    VKTTestPlatform test_ = platformOfDifferingDraws();
    VKTScopedPlatform scope_{test_.platform};
    std::shared_ptr<VKTFakeHTTPSession> http_ = test_.HTTPSession;
    std::shared_ptr<RecordingProvider> provider_ = std::make_shared<RecordingProvider>();
    std::shared_ptr<VKTPixelStore> store_ = VKTPixelStore::initWithProvider(provider_);
    std::shared_ptr<VKTPixelManager> manager_ = managerOver(store_, http_);
};

TEST_F(PixelManager, SendsInOrderAndKeepsWhatWasNotDelivered) {
    Texts urls;
    Texts kept;
    VKTPixels pixels;
    const auto add = [&](int status, bool isDelivered) {
        urls.push_back("http://h/" + std::to_string(status));
        if (status != 0) http_->setAnswer(urls.back(), VKTFakeHTTPAnswer::withStatus(status));
        if (!isDelivered) kept.push_back(urls.back());
        pixels.push_back(pixelWithURL(urls.back()));
    };
    for (const int status : {200, 204, 302, 399, 404})
        add(status, true);
    for (const int status : {0, 199, 400, 403, 405, 500})
        add(status, false);
    manager_->addPixels(pixels);
    manager_->addPixels(pixels);
    EXPECT_EQ(provider_->savings, 1) << "once for all, and not for those that are there";
    waitForPass(*manager_);
    EXPECT_EQ(provider_->savings, 2);
    EXPECT_EQ(requestedURLs(), urls);
    EXPECT_EQ(urlsOf(provider_->saved), kept);
    for (const auto& pixel : pixels)
        EXPECT_EQ(pixel->status() == VKTPixelStatusPending, store_->isPixelInStore(*pixel));
    for (const VKTURLRequest& request : http_->requests()) {
        EXPECT_EQ(request.HTTPMethod, "GET");
        EXPECT_EQ(request.cachePolicy, VKTURLRequestReloadIgnoringLocalCacheData);
        EXPECT_EQ(request.timeoutInterval, VKTTimeInterval(10));
        EXPECT_EQ(request.bodyKeepLimit, 65536u);
    }
    waitForPass(*manager_);
    urls.insert(urls.end(), kept.begin(), kept.end());
    EXPECT_EQ(requestedURLs(), urls);
}

TEST_F(PixelManager, PixelIsTriedInEachPassUntilItsDateWhateverTheClockDoes) {
    struct Step {
        double seconds;  // that the clock moves
        std::size_t requests, left;
    };
    manager_->addPixel(pixelWithURL("http://h/fails"));
    for (const Step& step : {Step{0, 1, 1}, Step{-1e6, 2, 1}, Step{1e6, 3, 1}, Step{86400, 4, 1},
                             Step{0.001, 4, 0}, Step{-90000, 4, 0}}) {
        test_.clock->advance(VKTTimeInterval(step.seconds));
        waitForPass(*manager_);
        EXPECT_EQ(http_->requests().size(), step.requests);
        EXPECT_EQ(provider_->saved.size(), step.left);
    }
}

TEST_F(PixelManager, WhatTheSessionThrowsConcernsOnePixelOnly) {
    http_->setHandler([](const VKTURLRequest& request) {
        if (request.url.absoluteString() == "http://h/2") throw std::runtime_error("of the session");
        return VKTFakeHTTPAnswer::withStatus(200);
    });
    manager_->addPixels({pixelWithURL("http://h/1"), pixelWithURL("http://h/2"), pixelWithURL("http://h/3")});
    waitForPass(*manager_);
    EXPECT_EQ(urlsOf(store_->allPixels()), Texts{"http://h/2"});
}

TEST_F(PixelManager, FoldsWaitingPassesWithoutAHandlerOnly) {
    const auto http = std::make_shared<VKTFakeHTTPSession>(VKTFakeHTTPSession::Delivery::ByHand);
    const auto manager = managerOver(store_, http);
    manager->addPixel(pixelWithURL("http://h/fails"));
    std::atomic<std::size_t> handled = 0;
    constexpr std::size_t handlers = 40;
    manager->callPixels();
    while (http->requests().empty())
        std::this_thread::yield();
    for (std::size_t i = 0; i < 100; ++i)
        manager->callPixels();
    for (std::size_t i = 0; i < handlers; ++i)
        manager->callPixelsWithCompletionHandler([&] { ++handled; });
    while (handled < handlers)
        http->deliverNext();
    EXPECT_EQ(http->requests().size(), 1 + VKTPixelWaitingPassLimit + handlers);
}

TEST_F(PixelManager, DestructionEndsTheRequestUnderWayAndRunsEachHandlerOnce) {
    VKTRawServer good({{"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n"}});
    VKTRawServer hanging({{}, VKTRawAnswer::Hang});
    auto manager = managerOver(store_, realPlatform_.HTTPSession);
    manager->addPixels({pixelWithURL(good.url()), pixelWithURL(hanging.url()), pixelWithURL(good.url())});
    std::atomic<int> handled = 0;
    manager->callPixelsWithCompletionHandler([&] { ++handled; });
    manager->callPixelsWithCompletionHandler([&] { ++handled; });
    while (hanging.requestCount() == 0)
        std::this_thread::yield();
    const auto start = std::chrono::steady_clock::now();
    manager.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(handled, 2);
    EXPECT_EQ(good.requestCount(), 1);
    EXPECT_EQ(urlsOf(provider_->saved), (Texts{hanging.url(), good.url()}));
}

TEST_F(PixelManager, BadServersDoNotStopThePass) {
    const std::string ok = "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n";
    VKTRawServer endless({{ok, std::string(10'000, 'x')}, VKTRawAnswer::Endless});
    VKTRawServer cutShort({{"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nx"}});
    VKTRawServer loop({{"HTTP/1.1 302 F\r\nLocation: /\r\nContent-Length: 0\r\nConnection: close\r\n\r\n"}});
    VKTRawServer good({{ok}});
    const Texts failing{VKTRawServer::refusingURL(), cutShort.url(), loop.url()};
    const auto manager = managerOver(store_, realPlatform_.HTTPSession);
    for (const std::string& url : failing)
        manager->addPixel(pixelWithURL(url));
    manager->addPixels({pixelWithURL(endless.url()), pixelWithURL(good.url())});
    for (int pass = 0; pass < 2; ++pass) {
        waitForPass(*manager);
        EXPECT_EQ(urlsOf(store_->allPixels()), failing);
        EXPECT_EQ(good.requestCount(), 1);
        EXPECT_EQ(endless.requestCount(), 1) << "it counts by its status";
    }
}

TEST_F(PixelManager, TellsOfAPixelThatIsNotDelivered) {
    manager_->addPixel(pixelWithURL("http://h/fails"));
    EXPECT_EQ(loggedBy([&] { waitForPass(*manager_); }), " Can't send pixel 'http://h/fails'!\n");
}

}  // namespace

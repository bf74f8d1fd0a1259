// One ad request from the first document to playable ads: the order of everything the delegate hears.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <latch>
#include <thread>
#include <tuple>

#include "tests/support/VKTRecordedLog.h"
#include "tests/vast/ManagerFixture.h"

namespace {

class VASTManager : public ManagerFixture {};

TEST_F(VASTManager, TellsWhetherThereIsAModel) {
    const std::tuple<std::string, Texts, std::string> cases[] = {
        {vast(inlineAd("a")), {"ready"}, "a"},
        {vast("<Error>http://ads.test/e</Error>"), {"ready"}, noMoreAds},
        {"<VAST", {"XML_PARSING_ERROR + document", "failed 100"}, noModel},
    };
    for (const auto& [document, heard, expected] : cases) {
        SCOPED_TRACE(document);
        manager = VKTVASTManager::initWithDelegate(embedder, embedder, session, nullptr, VKTTimeInterval(5),
                                                   5, false);
        manager->createAdsStoreWithXML(document, std::nullopt, VKTTimeInterval(1));
        EXPECT_EQ(embedder->takeHeard(), heard);
        EXPECT_EQ(next(false, 0), "10001 VASTManager Timeout.");
        EXPECT_EQ(next(), expected);
    }
}

TEST_F(VASTManager, FailsWithoutAnErrorWhenTheSessionGivesNothing) {
    struct SilentProvider : VKTURLSessionProviderProtocol {
        std::shared_ptr<VKTURLSessionTask> dataRequest(const VKTURLRequest& /*request*/,
                                                       VKTURLSessionCompletionHandler handler) override {
            const auto task = VKTURLSessionTask::initWithDataTask(nullptr);
            handler(VKTURLSessionResponse::initWithData(nullptr, nullptr, std::nullopt), task);
            return task;
        }
    };
    const auto silent = VKTURLSession::initWithSessionProvider(std::make_shared<SilentProvider>());
    manager = VKTVASTManager::initWithDelegate(embedder, embedder, silent, config);
    manager->createAdsStoreWithXML(std::nullopt, VKTURL::URLWithString(url("first")), VKTTimeInterval(1));
    EXPECT_EQ(embedder->takeHeard(), Texts{"failed"});
    // A wrapper to such an answer is passed over; no passback is due.
    const std::string ads = vast(wrapper("w", "x", one) + inlineAd("a", two) + inlineAd("p"));
    manager->createAdsStoreWithXML(ads, std::nullopt, VKTTimeInterval(1));
    EXPECT_EQ(next(), "a");
}

// For one root document: the ways to ask ("m" for a main ad, "p" for a passback), what comes, what is heard.
TEST_F(VASTManager, WalksMainAdsAndPassbacksInOrder) {
    const std::string title = "VAST_VALIDATION_ERROR_MISSING_ADTITLE";
    const std::string noAd =
        "start w; VAST_WRAPPER_ERROR_NOT_VAST_RESPONSE root e-w + document; no ad behind w";
    serve("a", inlineAd("a"));
    serve("pod", inlineAd("p3") + inlineAd("p2", two) + inlineAd("p1", one));
    serve("empty", "<Error>http://ads.test/root</Error>");
    serve("untitled",
          "<Ad><Wrapper><AdSystem>s</AdSystem><VASTAdTagURI>http://ads.test/a</VASTAdTagURI></Wrapper></Ad>");
    fake->setAnswer(url("late"), VKTFakeHTTPAnswer::withError(VKTURLErrorTimedOut));
    fake->setAnswer(url("broken"), VKTFakeHTTPAnswer::withBody("<VAST"));
    const std::string bad = "VAST_VALIDATION_ERROR_MISSING_CREATIVES e-x + document";
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        {inlineAd("b", two) + inlineAd("a", one), "mmm", "a; b; " + noMoreAds, ""},
        {invalid("x", one) + inlineAd("b", two) + inlineAd("p"), "mmp", "p; b; " + noMorePassback, bad},
        {inlineAd("a") + invalid("x") + inlineAd("p"), "mpp", "a; p; " + noMorePassback, bad},
        {wrapper("w", "none") + inlineAd("a"), "mp", "a; " + noMorePassback, ""},
        {wrapper("w", "pod"), "mm", "p3; " + noMoreAds, "start w"},
        {wrapper("w", "empty", one) + inlineAd("b", two), "m", "b", noAd},
        {wrapper("w", "late", one) + inlineAd("p"), "mm", "p; " + noMoreAds,
         "start w; VAST_WRAPPER_ERROR_FETCH_TIMEOUT e-w"},
        {wrapper("w", "broken"), "m", noMoreAds, "start w; XML_PARSING_ERROR_WRAPPER e-w + document"},
        {ad("w", "Wrapper", "", ""), "m", noMoreAds, "VAST_VALIDATION_ERROR_MISSING_VASTADTAGURI e-w"},
        {wrapper("w", "untitled"), "m", "a", "start w; " + title + " + document"},
        {inlineAd("m") + wrapper("w", "untitled"), "p", "a", "start w; " + title + " e-w + document"},
        {inlineAd("m") + wrapper("w", "empty"), "ppm", noMorePassback + "; " + noMorePassback + "; m", noAd},
        {inlineAd("m") + wrapper("w", "pod"), "p", "p3", "start w"},
    };
    for (const auto& [ads, asks, expectedAds, expectedHeard] : cases) {
        SCOPED_TRACE(ads);
        start(ads);
        Texts given;
        for (const char ask : asks)
            given.push_back(next(ask == 'p'));
        EXPECT_EQ(vkt_joined(given, "; "), expectedAds);
        Texts heard = embedder->takeHeard();
        const auto ready = std::find(heard.begin(), heard.end(), "ready");
        ASSERT_NE(ready, heard.end());
        EXPECT_EQ(ready - heard.begin(), expectedHeard == bad ? 1 : 0);
        heard.erase(ready);
        EXPECT_EQ(vkt_joined(heard, "; "), expectedHeard);
    }
}

TEST_F(VASTManager, TakesWholePodsWhenConfigured) {
    serve("pod", inlineAd("p3", "sequence='3'") + inlineAd("no") + inlineAd("p1", one));
    config.handleWrappersAdpods = true;
    start(wrapper("w", "pod", one) + inlineAd("z", two));
    EXPECT_EQ((Texts{next(), next(), next(), next()}), (Texts{"p1", "p3", "z", noMoreAds}));
}

TEST_F(VASTManager, FollowsFiveWrappersToAMainAdAndSixToAPassback) {
    for (int depth = 1; depth <= 6; ++depth) {
        serve("w" + std::to_string(depth), wrapper(std::to_string(depth), "w" + std::to_string(depth + 1)));
    }
    const Texts limit{"ready", "start 0", "VAST_WRAPPER_ERROR_LIMIT_REACHED e-5 e-4 e-3 e-2 e-1 e-0"};
    start(wrapper("0", "w1"));
    EXPECT_EQ(next(), noMoreAds);
    EXPECT_EQ(embedder->takeHeard(), limit);
    EXPECT_EQ(fake->requests().size(), 5U);

    start(wrapper("0", "w1", one) + inlineAd("p"));
    EXPECT_EQ(next(), "p") << "a passback is due behind the limit";
    embedder->takeHeard();
    start(inlineAd("m") + wrapper("0", "w1"));
    EXPECT_EQ(next(true), noMorePassback);
    EXPECT_EQ(embedder->takeHeard().back(), "VAST_WRAPPER_ERROR_LIMIT_REACHED e-6 e-5 e-4 e-3 e-2 e-1 e-0");

    serve("w6", inlineAd("six"));
    start(inlineAd("m") + wrapper("0", "w1"));
    EXPECT_EQ(next(true), "six");
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->errorPixels().size(), 7U);
}

TEST_F(VASTManager, FillsMacrosAndRefusesFirstWrappersWithoutImpressionWhenStrict) {
    serve("a?cb=12", wrapper("inner", "b?cb=[CACHEBUSTING]"));
    serve("b?cb=12", inlineAd("a"));
    embedder->macros.emplace().emplace("CACHEBUSTING", "12");
    config.requestTimeout = VKTTimeInterval(3);
    start(wrapper("w", "a?cb=[CACHEBUSTING]"));
    EXPECT_EQ(next(), "a");
    EXPECT_EQ(fake->requests().front().timeoutInterval, VKTTimeInterval(3));
    embedder->takeHeard();

    config.strictWrapperFirstLevelImpressionValidation = true;
    start(wrapper("w", "a?cb=[CACHEBUSTING]"));
    EXPECT_EQ(next(), noMoreAds);
    EXPECT_EQ(embedder->takeHeard(), (Texts{"ready", "VAST_VALIDATION_ERROR_MISSING_IMPRESSION e-w"}));
    start(ad("w", "Wrapper",
             "<Impression>http://ads.test/i</Impression><VASTAdTagURI>http://ads.test/a?cb=12</VASTAdTagURI>",
             ""));
    EXPECT_EQ(next(), "a");
    const auto other = VKTVASTParser::parseXMLAndGenerateVASTObjectModel(vast(wrapper("w", "a?cb=12")));
    EXPECT_TRUE(
        manager->resolveWrapper(other.model->firstAd(), VKTTimeInterval(1), [](const auto&...) {}).model)
        << "only those of the first document are asked for impressions";
}

TEST_F(VASTManager, GivesNoAdWhereTheAdapterGivesNone) {
    embedder->refused = "x";
    start(inlineAd("x", one) + inlineAd("b", two) + inlineAd("p"));
    EXPECT_EQ((Texts{next(), next()}), (Texts{noMoreAds, "b"}));
    start(inlineAd("m") + inlineAd("x") + inlineAd("p"));
    EXPECT_EQ((Texts{next(true), next(true)}), (Texts{noMorePassback, "p"}));
}

TEST_F(VASTManager, NeedsAnAdapter) {
    manager = VKTVASTManager::initWithDelegate(embedder, std::make_shared<Embedder>(), session, config);
    manager->createAdsStoreWithXML(vast(inlineAd("b")), std::nullopt, VKTTimeInterval(1));
    EXPECT_EQ(embedder->takeHeard(), Texts{});
    EXPECT_EQ(next(), noModel);
}

TEST_F(VASTManager, GoesOnWithoutADelegateThatDies) {
    auto dying = std::make_shared<Embedder>();
    dying->macros.emplace().emplace("CACHEBUSTING", "12");
    serve("b?cb=%5BCACHEBUSTING%5D", inlineAd("a"));
    fake->setHandler([&](const auto&) {
        dying.reset();
        return VKTFakeHTTPAnswer::withBody(vast(wrapper("inner", "b?cb=[CACHEBUSTING]")));
    });
    manager = VKTVASTManager::initWithDelegate(dying, embedder, session, config);
    manager->createAdsStoreWithXML(vast(wrapper("w", "first")), std::nullopt, VKTTimeInterval(1));
    EXPECT_EQ(next(), "a");
}

TEST_F(VASTManager, ServesOneRequest) {
    start(inlineAd("a"));
    VKTRecordedLog log;
    manager->createAdsStoreWithXML(vast(inlineAd("b")), std::nullopt, VKTTimeInterval(1));
    EXPECT_EQ((Texts{next(), next()}), (Texts{"a", noMoreAds}));
    EXPECT_EQ(embedder->takeHeard(), Texts{"ready"});
    const Texts lines = log.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines.front().find("ake a manager for each"), std::string::npos) << lines.front();
}

TEST_F(VASTManager, ReplacesTheCurrentRootAdAndKnowsItsOwnPassbacks) {
    start(inlineAd("a", one) + inlineAd("b", two));
    const auto other = VKTVASTParser::parseXMLAndGenerateVASTObjectModel(
        vast(inlineAd("c", one) + inlineAd("d", two) + inlineAd("p")));
    manager->setCurrentRootAd(manager->mainAdsStore().front());
    manager->processRootModel(*other.model);
    EXPECT_EQ((Texts{next(), next(), next(), next()}), (Texts{"c", "d", "b", noMoreAds}));
    EXPECT_EQ(next(true), noMorePassback);  // "p" is not the root model's
    EXPECT_EQ(VKTVASTManager::adIndex(*other.model->ads()[1], manager->mainAdsStore()), 1U);
    EXPECT_EQ(VKTVASTManager::adIndex(*other.model->ads()[2], manager->mainAdsStore()), 0U);
}

TEST_F(VASTManager, HasOneMergeBudgetForAllItsAds) {
    constexpr std::size_t count = 50'000;
    std::string tracking;
    for (std::size_t i = 0; i < count; ++i)
        tracking += "<Tracking event='start'>//h</Tracking>";
    serve("pod", inlineAd("1", one) + inlineAd("2", two) + inlineAd("3", "sequence='3'"));
    serve("p", inlineAd("p"));
    config.handleWrappersAdpods = true;
    VKTRecordedLog log;
    start(ad("w", "Wrapper",
             "<VASTAdTagURI>" + url("pod") + "</VASTAdTagURI><Creatives><Creative><Linear><TrackingEvents>" +
                 tracking + "</TrackingEvents></Linear></Creative></Creatives>",
             one) +
          wrapper("x", "p"));
    constexpr std::size_t errorPixels = 3;
    for (const std::size_t kept : {count, count, VKTVASTMergeBudgetLimit - 2 * count - errorPixels}) {
        next();
        EXPECT_EQ(last->linearCreatives()[0]->trackingEvents().size(), kept);
        EXPECT_EQ(last->errorPixels().size(), 2U);
    }
    EXPECT_EQ(next(true), "p");
    EXPECT_EQ(last->errorPixels().size(), 1U);
    EXPECT_EQ(log.take().size(), 1U);
}

// A player thread reads the first ad while the second is merged and gets its offsets.
TEST_F(VASTManager, DeliversAdsThatNoLongerChange) {
    const std::string tracked =
        "<Extensions><Extension><KorvoMetrics><KorvoMetric name='viewcount'>//m</KorvoMetric></KorvoMetrics>"
        "</Extension></Extensions><Creatives><Creative><Linear><TrackingEvents><Tracking event='midpoint'>//h"
        "</Tracking></TrackingEvents><MediaFiles><MediaFile "
        "type='video/mp4'>//m</MediaFile></MediaFiles></Linear></Creative>"
        "</Creatives>";
    const auto tagged = [&](const std::string& to) { return "<VASTAdTagURI>" + url(to) + "</VASTAdTagURI>"; };
    serve("pod", inlineAd("a", one) + wrapper("x", "b", two));
    serve("b", ad("b", "InLine", tracked, ""));
    config.handleWrappersAdpods = true;
    start(ad("w", "Wrapper", tagged("pod") + tracked, ""));
    ASSERT_EQ(next(), "a");
    const auto first = last;

    std::atomic<bool> isEnding = false;
    std::latch reading(1);
    std::thread player([&] {
        bool isSeen = false;
        while (!isEnding) {
            for (const auto& metric : first->extensions()->metrics)
                EXPECT_EQ(metric->eventOffset(), -1);
            for (const auto& event : first->linearCreatives()[0]->trackingEvents())
                EXPECT_EQ(event->eventOffset(), -1);
            if (!std::exchange(isSeen, true)) reading.count_down();
        }
    });
    reading.wait();
    EXPECT_EQ(next(), "b");
    for (const auto& metric : last->extensions()->metrics)
        metric->setEventOffset(5);
    for (const auto& event : last->linearCreatives()[0]->trackingEvents())
        event->setEventOffset(5);
    isEnding = true;
    player.join();
    EXPECT_EQ(first->extensions()->metrics.size(), 1U);
    EXPECT_EQ(last->extensions()->metrics.size(), 2U);
}

// Ten times as many ads take about ten times as long; a square would take a hundred times.
TEST_F(VASTManager, PassesManyInvalidAdsInLinearTimeAndConstantStack) {
    const auto seconds = [&](int count) {
        std::string ads;
        for (int i = 0; i < count; ++i)
            ads += "<Ad sequence='1'><InLine><AdSystem>s</AdSystem></InLine></Ad>";
        ads += inlineAd("last", two) + inlineAd("p") + inlineAd("q");
        start(ads);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ((Texts{next(), next(), next(), next()}), (Texts{"p", "q", "last", noMoreAds}));
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    };
    const double few = std::max(seconds(10'000), 1e-3);
    // Of two runs the one that the machine disturbed less.
    EXPECT_LT(std::min(seconds(100'000), seconds(100'000)), 40 * few);
}

TEST(VASTManagerMacros, AreThoseOfTheTable) {
    auto macros =
        VKTVASTManager::generateDefaultVASTMacrosWithAppBundleIdentifier("b", "partner", "1.2", {5, 7});
    EXPECT_EQ(std::to_string(std::stoi(macros["CACHEBUSTING"])).size(), 8U);
    EXPECT_EQ(macros["TIMESTAMP"].size(), std::string("2024-03-05T07:08:09.123+0000").size());
    macros.erase("CACHEBUSTING");
    macros.erase("TIMESTAMP");
    Texts texts;
    for (const auto& [name, value] : macros)
        texts.push_back(name + "=" + value);
    EXPECT_EQ(vkt_joined(texts, " "),
              "APIFRAMEWORKS=5,7 APPBUNDLE=b OMIDPARTNER=partner/1.2 "
              "VASTVERSIONS=2,3,5,6,7,8,11,12,13,14 VERIFICATIONVENDORS=-2");
    macros = VKTVASTManager::generateDefaultVASTMacrosWithAppBundleIdentifier("b", "p", "1", {});
    EXPECT_EQ(macros["APIFRAMEWORKS"], "-1");
}

}  // namespace

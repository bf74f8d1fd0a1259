#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>

#include "VKTCoreKit/config/VKTProdURL.h"
#include "VKTCoreKit/config/VKTRemoteConfigManager.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "tests/support/VKTRecordedLog.h"

namespace {

using namespace std::string_view_literals;
using Events = std::vector<std::string>;

constexpr const char* siteKey = "com.korvonet.coresdk.remoteconfigmanager.VKTRemoteConfig-7-12";

VKTDictionary dictionaryOf(std::string_view json) {
    return *vkt_JSONValueWithData(json)->asDictionary();
}

struct Listener : VKTRemoteConfigManagerDelegate {
    void remoteConfigManagerDidFetchRemoteConfig(VKTRemoteConfigManager& /*manager*/,
                                                 const VKTRemoteConfig& config) override {
        if (onConfig) onConfig();
        lastStatusCode = config.statusCode;
        events.push_back("config " + config.version.value_or("none"));
    }
    void remoteConfigManagerDidSucceedToFetchConfigWithKorvoDictionary(
        VKTRemoteConfigManager& /*manager*/, const VKTDictionary& korvo,
        const std::optional<std::vector<VKTDictionary>>& additional) override {
        EXPECT_FALSE(additional && additional->empty());
        events.push_back("korvo " + *vkt_JSONStringWithValue(korvo));
        for (const VKTDictionary& dictionary : additional.value_or(std::vector<VKTDictionary>()))
            events.push_back("also " + *vkt_JSONStringWithValue(dictionary));
    }
    void remoteConfigManagerDidFailToFetchConfigWithError(VKTRemoteConfigManager& manager,
                                                          const std::optional<VKTError>& error) override {
        EXPECT_TRUE(manager.fetchInProgress()) << "another fetch would go round and round";
        events.push_back(!error ? "no error" : error->localizedDescription().value_or("other error"));
    }

    Events events;
    std::function<void()> onConfig;
    std::int64_t lastStatusCode = 0;
};

struct ThrowingCache : VKTPropertyCacheManager {
    [[nodiscard]] std::optional<VKTValue> objectForKey(std::string_view /*key*/) const override { throw 7; }
    bool setObject(const VKTValue& /*object*/, std::string_view /*forKey*/) override { throw 7; }
};

class RemoteConfig : public testing::Test {
  protected:
    std::shared_ptr<VKTRemoteConfigManager> manager(std::int64_t sdkVersionId = 7, bool hasDefault = false) {
        auto made = VKTRemoteConfigManager::initWithSession(
            VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(http)),
            VKTDefaultPropertyCacheManager::initWithKeyValueStore(store), delegate, "https://c.example/",
            "sites/[SITEID_PLACEHOLDER]/config", {{"v", 2}, {"a", "x"}}, sdkVersionId,
            hasDefault ? std::optional(VKTRemoteConfig::initWithTTL(1, {}, {}, 0, "default")) : std::nullopt);
        made->setCurrentDate([this] { return now; });
        return made;
    }
    void answer(int statusCode, const std::string& body) {
        http->setHandler([=](const auto&) { return VKTFakeHTTPAnswer{statusCode, body, {}, {}, {}}; });
    }
    // What the delegate hears inside the fetching call, and how many requests are answered after it.
    Events fetch(VKTRemoteConfigManager& fetcher, bool forced, std::size_t answers) {
        fetcher.fetchRemoteConfigurationWithSiteId(12, forced);
        const Events heard = heardSince();
        EXPECT_EQ(http->deliverAll(), answers);
        EXPECT_FALSE(fetcher.fetchInProgress());
        return heard;
    }
    Events heardSince() { return std::exchange(delegate->events, {}); }
    void cache(std::string json) { store->setValueForKey(VKTBytes{std::move(json)}, siteKey); }
    [[nodiscard]] std::string cached() const { return store->valueForKey(siteKey)->asBytes()->bytes; }

    double now = 1000.4;
    std::shared_ptr<VKTFakeHTTPSession> http =
        std::make_shared<VKTFakeHTTPSession>(VKTFakeHTTPSession::Delivery::ByHand);
    std::shared_ptr<VKTMemoryKeyValueStore> memory = std::make_shared<VKTMemoryKeyValueStore>();
    std::shared_ptr<VKTKeyValueStore> store = memory;
    std::shared_ptr<Listener> delegate = std::make_shared<Listener>();
};

TEST_F(RemoteConfig, TheModelTakesWhatHasTheRightType) {
    const auto url = [](const char* text) { return *VKTURL::URLWithString(text); };
    const auto full = VKTRemoteConfig::initWithDictionary(dictionaryOf(
        R"({"TTL":1.5,"statusCode":-3,"version":"v","korvo":{"networkId":18446744073709551614,
            "adCallBaseURL":"https://a.example/","latestSDKVersionId":7022,"latestSDKMessage":"new",
            "adCallAdditionalParameters":{"post":{"p":[1]},"get":{"g":"1"}}},
            "logger":{"URL":"https://l.example/","minLogLevel":"warning",
            "samplingRate":{"debug":1,"info":2.9,"warning":3,"error":9223372036854775809}}})"));
    const auto logger = VKTRemoteConfigLoggerConfig::initWithEndPointURL(
        url("https://l.example/"), VKTRemoteLogLevelWarning, 1, 2, 3, 9223372036854775809U);
    const auto parameters = VKTRemoteConfigKorvoConfigAdCallParameters::initWithPostParameters(
        {{"p", VKTArray{1}}}, {{"g", "1"}});
    const auto korvo = VKTRemoteConfigKorvoConfig::initWithNetworkID(
        18446744073709551614U, url("https://a.example/"), parameters, "7022", "new");
    EXPECT_TRUE(full == VKTRemoteConfig::initWithTTL(1.5, logger, korvo, -3, "v"));
    EXPECT_FALSE(full->isEqualToRemoteConfig(VKTRemoteConfig::initWithTTL(1.5, logger, korvo, -3, {})));

    VKTRemoteConfig nothing;
    nothing.TTL = 1;
    nothing.korvoConfig.adCallBaseURL = url(VKTProductionAdServerBaseURL);
    for (
        const char* wrong :
        {R"({"TTL":1,"korvo":{}})",
         R"({"TTL":1,"statusCode":"3","version":2,"logger":[],"korvo":{"networkId":"12","adCallBaseURL":"a b",
              "latestSDKVersionId":"7","latestSDKMessage":null,"adCallAdditionalParameters":"post"}})",
         R"({"TTL":1,"statusCode":true,"version":null,"logger":{"URL":1,"minLogLevel":"Error",
              "samplingRate":[1]},"korvo":{"networkId":-5,"adCallBaseURL":{},"latestSDKVersionId":true,
              "latestSDKMessage":{},"adCallAdditionalParameters":{"post":[],"get":"a"}}})",
         R"({"TTL":1,"logger":{"URL":"","minLogLevel":0,"samplingRate":{"debug":-1,"info":"5",
              "warning":true,"error":null}},"korvo":{"networkId":-1e300}})"})
        EXPECT_TRUE(VKTRemoteConfig::initWithDictionary(dictionaryOf(wrong)) == nothing) << wrong;
}

TEST_F(RemoteConfig, ADownloadIsToldAndCachedUntilItExpires) {
    const auto fetcher = manager(7, true);
    answer(302,
           R"({"TTL":100.2,"big":9007199254740993,"korvo":{"networkId":3},"logger":{},"x":[{}],"n":null})");
    fetcher->fetchRemoteConfigurationWithSiteId(12, false);
    EXPECT_EQ(heardSince(), Events{"config default"});
    fetcher->fetchRemoteConfigurationWithSiteId(12, true);
    EXPECT_EQ(heardSince(), Events{}) << "dropped: one is in progress";
    ASSERT_EQ(http->deliverAll(), 1u);
    const VKTURLRequest request = http->requests()[0];
    EXPECT_EQ(request.url.absoluteString(), "https://c.example/sites/12/config?a=x&v=2");
    EXPECT_EQ(request.cachePolicy, VKTURLRequestReloadIgnoringLocalAndRemoteCacheData);
    EXPECT_EQ(request.timeoutInterval, VKTURLSession::DEFAULT_TIMEOUT);
    const Events told{"config none", R"(korvo {"networkId":3})", R"(also {"logger":{}})"};
    EXPECT_EQ(heardSince(), told);
    EXPECT_EQ(cached(), R"({"TTL":100.2,"big":9007199254740993,"korvo":{"networkId":3},"logger":{},)"
                        R"("x":[{}],"n":null,"expirationDate":1101})");

    answer(400, R"({"TTL":1,"korvo":{}})");
    for (const auto& [time, forced, answers] :
         {std::tuple(1100.9, false, 0u), {1100.9, true, 1u}, {1101.0, false, 1u}}) {
        now = time;
        EXPECT_EQ(fetch(*fetcher, forced, answers), told);
        EXPECT_EQ(heardSince(), Events(answers, "no error"));
    }
    now = 1000;
    EXPECT_EQ(fetch(*manager(8), false, 1), Events{}) << "another version has a cache of its own";
}

TEST_F(RemoteConfig, CallbacksThatThrowLeaveNoFetchInProgress) {
    const auto fetcher = manager();
    answer(200, R"({"TTL":60,"version":"v","korvo":{}})");
    delegate->onConfig = [] { throw std::runtime_error("boom"); };
    VKTRecordedLog log;
    fetch(*fetcher, false, 1);
    EXPECT_EQ(log.take().size(), 1U);
    EXPECT_EQ(heardSince(), Events{"korvo {}"}) << "the next call is made";
    EXPECT_EQ(cached(), R"({"TTL":60,"version":"v","korvo":{},"expirationDate":1060})");
    fetch(*fetcher, false, 0);
    fetcher->setCurrentDate([]() -> double { throw 7; });
    fetch(*fetcher, false, 0);
    fetch(*fetcher, true, 0);
    fetcher->setCurrentDate(nullptr);
    fetch(*fetcher, true, 1);
}

TEST_F(RemoteConfig, ACacheThatThrowsIsNone) {
    const auto fetcher = VKTRemoteConfigManager::initWithSession(
        VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(http)),
        std::make_shared<ThrowingCache>(), delegate, "https://c.example/", "config", {}, 7, std::nullopt);
    answer(200, R"({"TTL":60,"version":"v","korvo":{}})");
    fetch(*fetcher, false, 1);
    EXPECT_EQ(heardSince(), (Events{"config v", "korvo {}"}));
}

TEST_F(RemoteConfig, ABadAnswerLeavesTheCachedCopy) {
    const std::string old = R"({"TTL":1,"korvo":{},"version":"old","expirationDate":1})";
    const Events oldTold{"config old", "korvo {}"};
    const std::string huge = R"({"TTL":1,"korvo":")" + std::string(10'000'000, 'x') + R"("})";
    cache(old);
    for (const std::string_view body :
         {""sv, "<html>"sv, "null"sv, std::string_view(huge), R"({"TTL":5,"korvo":{)"sv,
          R"([{"TTL":5,"korvo":{}}])"sv, R"({"korvo":{}})"sv, R"({"TTL":0,"korvo":{}})"sv,
          R"({"TTL":-1,"korvo":{}})"sv, R"({"TTL":true,"korvo":{}})"sv, R"({"TTL":"60","korvo":{}})"sv,
          R"({"TTL":null,"korvo":{}})"sv, R"({"TTL":1e999,"korvo":{}})"sv, R"({"TTL":5})"sv,
          R"({"TTL":5,"korvo":[]})"sv, R"({"TTL":5,"korvo":null})"sv}) {
        SCOPED_TRACE(body.substr(0, 60));
        answer(200, std::string(body));
        EXPECT_EQ(fetch(*manager(), false, 1), oldTold);
        EXPECT_EQ(heardSince(),
                  Events{"Configuration FAILED - The remote configuration downloaded is invalid."});
        EXPECT_EQ(cached(), old);
    }
    http->setHandler([](const auto&) { return VKTFakeHTTPAnswer::withError(VKTURLErrorTimedOut); });
    EXPECT_EQ(fetch(*manager(), false, 1), oldTold);
    EXPECT_EQ(heardSince().size(), 1u);
    EXPECT_EQ(cached(), old);
    for (const char* body :
         {R"({"TTL":2000000,"korvo":{}})", R"({"TTL":1e300,"korvo":{},"expirationDate":1})"}) {
        answer(200, body);
        fetch(*manager(), true, 1);
        EXPECT_EQ(*dictionaryOf(cached()).find("expirationDate"), VKTValue(605'800));
    }
}

TEST_F(RemoteConfig, AnUnusableCachedCopyCountsAsNone) {
    for (const VKTValue& copy : {VKTValue(R"({"TTL":9,"korvo":{},"expirationDate":9e9})"), VKTValue(5),
                                 VKTValue(VKTBytes{R"({"TTL":9,"korvo":{},"expirationD)"}),
                                 VKTValue(VKTBytes{"[]"}), VKTValue(VKTBytes{})}) {
        store->setValueForKey(copy, siteKey);
        EXPECT_EQ(fetch(*manager(7, true), false, 1), Events{"config default"});
        heardSince();
    }
    for (const char* date : {"null", "\"9000000000\"", "true", "1000"}) {
        cache(std::string(R"({"TTL":9,"korvo":{},"expirationDate":)") + date + "}");
        fetch(*manager(), false, 1);
    }
}

TEST_F(RemoteConfig, AnUnreadableCachedCopyStaysUntilAGoodAnswer) {
    const std::string old = R"({"TTL":9,"korvo":{},"expirationDate":9000000000})";
    cache(old);
    memory->setFailsReads(true);
    answer(500, "");
    EXPECT_EQ(fetch(*manager(7, true), false, 1), Events{"config default"});
    EXPECT_EQ(heardSince(), Events{"no error"});
    memory->setFailsReads(false);
    EXPECT_EQ(cached(), old);

    memory->setFailsReads(true);
    answer(200, R"({"TTL":5,"korvo":{},"version":"new"})");
    EXPECT_EQ(fetch(*manager(), false, 1), Events{});
    memory->setFailsReads(false);
    EXPECT_EQ(cached(), R"({"TTL":5,"korvo":{},"version":"new","expirationDate":1005})");
}

TEST_F(RemoteConfig, ALateAnswerOutlivesManagerAndDelegate) {
    answer(200, R"({"TTL":5,"korvo":{}})");
    manager()->fetchRemoteConfigurationWithSiteId(12, false);
    delegate.reset();
    EXPECT_EQ(http->deliverAll(), 1u);
    EXPECT_EQ(cached(), R"({"TTL":5,"korvo":{},"expirationDate":1005})");

    delegate = std::make_shared<Listener>();
    auto released = manager();
    delegate->onConfig = [&] { released.reset(); };
    released->fetchRemoteConfigurationWithSiteId(12, false);
    EXPECT_EQ(heardSince(), (Events{"config none", "korvo {}"}));
}

// Caches one configuration after the other and says so, until it is killed.
[[noreturn]] void cacheUntilKilled(VKTRemoteConfigManager& manager, int output) {
    const std::string rest = R"(,"padding":")" + std::string(20'000, 'x') + "\"}";
    for (int i = 1;; ++i) {
        manager.setupConfigWithData(R"({"TTL":9,"korvo":{},"statusCode":)" + std::to_string(i) + rest, 12,
                                    true);
        if (write(output, &i, sizeof i) != sizeof i) std::abort();
    }
}

TEST_F(RemoteConfig, AKillDuringAWriteLeavesAWholeConfiguration) {
    const auto folder =
        std::filesystem::path(testing::TempDir()) / ("vkt-config-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    const auto openStore = [&] {
        store = VKTPlatform::current().makeKeyValueStore(
            folder / "store", [](const std::string& problem) { ADD_FAILURE() << problem; });
    };
    for (int round = 1; round <= 25; ++round) {
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe(ends.data()), 0);
        store.reset();
        const pid_t child = fork();
        if (child == 0) {
            openStore();
            cacheUntilKilled(*manager(), ends[1]);
        }
        close(ends[1]);
        int last = 0;
        for (int i = 0; read(ends[0], &i, sizeof i) == sizeof i; last = i) {
            if (i == round) kill(child, SIGKILL);
        }
        close(ends[0]);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);

        openStore();
        EXPECT_EQ(fetch(*manager(), false, 0), (Events{"config none", "korvo {}"}));
        EXPECT_GE(delegate->lastStatusCode, last);
        EXPECT_LE(delegate->lastStatusCode, last + 1);
    }
    std::filesystem::remove_all(folder);
}

TEST(ProdURL, TheStandInIsForDebugBuilds) {
    const auto test = vkt_makeTestPlatform();
    const VKTScopedPlatform scope(test.platform);
    auto url = VKTProdURL::URLWithProdURL(*VKTURL::URLWithString("https://p.example/a"),
                                          VKTURL::URLWithString("https://d.example/a"));
    for (const bool isDebug : {false, true}) {
        url.debugFramework = isDebug;
        EXPECT_EQ(url.URL().absoluteString(),
                  isDebug ? "https://d.example/a?1709622489" : "https://p.example/a");
    }
    url.cacheBusterEnabled = false;
    EXPECT_EQ(url.URL(), url.devURL);
    url.devURL.reset();
    EXPECT_EQ(url.URL(), url.prodURL);
}

}  // namespace

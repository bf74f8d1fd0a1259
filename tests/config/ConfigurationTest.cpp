#include <gtest/gtest.h>

#include "VKTCoreKit/config/VKTConfiguration.h"
#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

namespace {

struct Reports : VKTConfigurationRemoteLogger {
    void logWrongSiteIDError() override { text += " site"; }
    void logInvalidAdditionalParameters(VKTAdditionalParametersPart part) override {
        text += " " + std::to_string(part);
    }
    std::string text;
};

struct EverythingIsLogged : VKTLogDataSource {
    bool logShouldLogMessageWithLevel(const VKTLog& /*logger*/, VKTLogLevel /*level*/) override {
        return true;
    }
};

VKTDictionary dictionaryOf(const char* json) {
    return *vkt_JSONValueWithData(json)->asDictionary();
}

// Network, parameters, reports and deprecation after a dictionary; what was printed.
std::pair<std::string, std::string> outcome(VKTConfiguration& configuration, const char* json) {
    Reports reports;
    testing::internal::CaptureStderr();
    configuration.configureWithKorvoDictionary(dictionaryOf(json), &reports, "7");
    std::string text = std::to_string(configuration.networkID()) + " " +
                       *vkt_JSONStringWithValue(configuration.adCallAdditionalParametersPOST());
    for (const auto& [key, value] : configuration.adCallAdditionalParametersGET())
        text += " " + key + "=" + value;
    text += reports.text + (configuration.isDeprecated() ? " deprecated" : "");
    return {text, testing::internal::GetCapturedStderr()};
}

TEST(Configuration, WhatADictionaryChangesAndWhatIsReported) {
    const auto configuration = VKTConfiguration::init();
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {R"({"networkId":5,"adCallBaseURL":"https://n.example/","adCallAdditionalParameters":
             {"post":{"iabFrameworks":[]},"get":{"a":"1","b":2}}})",
         R"(5 {"iabFrameworks":[]} a=1 1)", ""},
        {R"({"networkId":0,"adCallBaseURL":"a b","adCallAdditionalParameters":[],"latestSDKVersionId":0})",
         R"(5 {"iabFrameworks":[]} a=1 site -1)", ""},
        {R"({"networkId":-4,"adCallBaseURL":null,"adCallAdditionalParameters":null,"latestSDKVersionId":"8"})",
         R"(5 {"iabFrameworks":[]} a=1 site -1)", ""},
        {R"({"networkId":"7","adCallAdditionalParameters":{"post":null,"get":"a"},"latestSDKVersionId":true})",
         R"(5 {"iabFrameworks":[]} a=1 site 0 1)", ""},
        {R"({"networkId":true,"adCallAdditionalParameters":{"post":{},"get":{}},"latestSDKVersionId":-8})",
         "5 {} site", ""},
        {R"({"networkId":6.9,"latestSDKVersionId":8,"latestSDKMessage":"Up!"})", "6 {} deprecated",
         "[Korvonet] Warning: a newer version of the SDK exists!\n[Korvonet] Up!\n"},
        {R"({"networkId":6,"latestSDKVersionId":8,"latestSDKMessage":[]})", "6 {} deprecated",
         "[Korvonet] Warning: a newer version of the SDK exists!\n"},
        {R"({"networkId":1e300,"latestSDKVersionId":7.0,"latestSDKMessage":"Up!"})", "9223372036854775807 {}",
         ""}};
    for (const auto& [json, result, printed] : rows) {
        EXPECT_EQ(outcome(*configuration, json), std::pair(std::string(result), std::string(printed)));
        EXPECT_EQ(configuration->iabFrameworks() != nullptr, std::string_view(result).find("iab") != -1UL);
        EXPECT_EQ(configuration->baseURL().absoluteString(), "https://n.example/");
    }
    configuration->setManualBaseURL(VKTURL::URLWithString("https://m.example/"));
    configuration->configureWithKorvoDictionary(
        dictionaryOf(R"({"adCallBaseURL":"https://o.example/","latestSDKVersionId":8})"));
    EXPECT_FALSE(configuration->isDeprecated()) << "not looked at without a version of its own";
    EXPECT_EQ(configuration->baseURL().absoluteString(), "https://m.example/");
    EXPECT_EQ(configuration->networkBaseURL().absoluteString(), "https://o.example/");
}

TEST(Configuration, WhatItStartsWith) {
    const auto test = vkt_makeTestPlatform();
    const VKTScopedPlatform scope(test.platform);
    const auto plain = VKTConfiguration::initWithDefaultAdCallAdditionalParemeters(
        dictionaryOf(R"({"get":{"g":"1","h":[]}})"));
    EXPECT_FALSE(plain->loggingEnabled() || plain->allowAutomaticLocationDetection() ||
                 plain->isConfigured());
    EXPECT_EQ(plain->manualLocation(), VKTInvalidCoordinate);
    EXPECT_EQ(plain->baseURL().absoluteString(), "https://adserver.korvonet.example/");
    EXPECT_EQ(plain->adCallAdditionalParametersGET(), (VKTConfiguration::GETParameters{{"g", "1"}}));
    EXPECT_EQ(plain->deviceIdentity()->type(), VKTIdentityTypeTransientID);

    const auto full = VKTConfiguration::initWithLoggingEnabled(true, false, true, {1, 2}, true, "me");
    EXPECT_TRUE(full->loggingEnabled() && full->allowAutomaticLocationDetection());
    EXPECT_FALSE(full->transientIDEnabled() || full->identifierHashing());
    EXPECT_EQ(full->manualLocation(), (VKTCoordinate{1, 2}));
    EXPECT_EQ(full->deviceIdentity()->identity(), "me");
    EXPECT_EQ(full->deviceIdentity()->transientId(), std::nullopt);
}

TEST(Configuration, FetchesForItsSiteUntilItIsDestroyed) {
    const auto test = vkt_makeTestPlatform();
    const VKTScopedPlatform scope(test.platform);
    const auto manager = VKTRemoteConfigManager::initWithSession(
        VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(test.HTTPSession)),
        nullptr, nullptr, "https://c.example", "[SITEID_PLACEHOLDER]", {}, 1, std::nullopt);
    auto configuration = VKTConfiguration::init();
    const auto requestsInForeground = [&] {
        test.notificationCentre->post({VKTApplicationWillEnterForegroundNotification, {}});
        return test.HTTPSession->requests().size();
    };
    const auto error = configuration->configureWithSiteID(std::nullopt, manager);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(std::pair(error->domain(), error->code()),
              std::pair(std::string("VKTRemoteConfigErrorDomain"), std::int64_t{1}));
    EXPECT_EQ(error->localizedDescription(),
              "Configuration FAILED - Wrong SiteID. Please try with another siteID.");
    EXPECT_EQ(configuration->remoteConfigManager(), nullptr);
    EXPECT_EQ(requestsInForeground(), 0u);

    EXPECT_EQ(configuration->configureWithSiteID(42, manager), std::nullopt);
    EXPECT_EQ(test.HTTPSession->requests().at(0).url.absoluteString(), "https://c.example/42");
    EXPECT_EQ(requestsInForeground(), 2u);
    manager->setupConfigWithData(R"({"TTL":60,"korvo":{}})", 42, true);
    EXPECT_EQ(requestsInForeground(), 2u) << "answered from the cache";

    const VKTError offline(VKTURLErrorDomain, VKTURLErrorNotConnectedToInternet);
    VKTLog::sharedInstance()->setDataSource(std::make_shared<EverythingIsLogged>());
    testing::internal::CaptureStdout();
    for (const auto& failure : {std::optional(offline), {}, {VKTError(VKTURLErrorDomain, -1001)}})
        configuration->retryRemoteConfigurationAfterError(failure);
    VKTLog::sharedInstance()->setDataSource(nullptr);
    const std::string logged = testing::internal::GetCapturedStdout();
    EXPECT_NE(logged.find("[ERROR] Unable to fetch remote configuration because of error: (null)\n"), -1UL)
        << logged;
    test.mainRunLoop->advance(VKTTimeInterval(4.9));
    EXPECT_EQ(requestsInForeground(), 2u);
    test.mainRunLoop->advance(VKTTimeInterval(0.1));
    EXPECT_EQ(requestsInForeground(), 3u) << "forced, once";

    configuration->retryRemoteConfigurationAfterError(offline);
    configuration.reset();
    test.mainRunLoop->advance(VKTTimeInterval(100));
    EXPECT_EQ(requestsInForeground(), 3u);
}

}  // namespace

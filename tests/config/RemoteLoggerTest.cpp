#include "VKTCoreKit/config/VKTRemoteLogger.h"

#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>

#include "VKTCoreKit/config/VKTRemoteLogUtils.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "server/VKTRawServer.h"
#include "tests/support/VKTRecordedLog.h"

namespace {

using Delivery = VKTFakeHTTPSession::Delivery;

const VKTURL endPoint = *VKTURL::URLWithString("https://logs.example/collect");

std::string JSON(const VKTValue& value) {
    return vkt_JSONStringWithValue(value).value_or("not JSON");
}

VKTDictionary dictionaryFromJSON(std::string_view text) {
    return *vkt_JSONValueWithData(text)->asDictionary();
}

std::string messages(const VKTArray& logs) {
    std::string all;
    for (const VKTValue& log : logs)
        all += log.asDictionary()->find("message")->description() + " ";
    return all;
}

std::string joined(const VKTRemoteLogHeaders& headers) {
    std::string all;
    for (const auto& [name, value] : headers)
        all += name + ":" + value + " ";
    return all;
}

class RemoteLogger : public testing::Test {
  protected:
    // All levels, nothing left to chance.
    std::shared_ptr<VKTRemoteLogger> makeLogger(Delivery delivery, std::vector<std::uint32_t> draws = {0}) {
        http_ = std::make_shared<VKTFakeHTTPSession>(delivery);
        auto logger = VKTRemoteLogger::initWithDefaultEndPoint(
            endPoint, "sdk",
            VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(http_)), clock_,
            std::make_shared<VKTFixedRandomSource>(std::move(draws)),
            VKTDeviceInfo::initWithInfoProvider(
                VKTDeviceInfoProvider::initWithDevice(std::make_shared<VKTSettableDevice>())));
        VKTRemoteLoggerSettings settings = logger->settings();
        settings.minimumLogLevel = VKTRemoteLogLevelDebug;
        logger->setSettings(settings);
        return logger;
    }

    static void submit(VKTRemoteLogger& logger, const std::string& message) {
        logger.log(*logger.generateLogWithMessage(message, VKTRemoteLogLevelError));
    }

    void answerAll(VKTFakeHTTPAnswer answer) {
        http_->setAnswer(endPoint.absoluteString(), std::move(answer));
    }
    [[nodiscard]] std::size_t requestCount() const { return http_->requests().size(); }
    [[nodiscard]] std::string lastBody() const {
        return messages(*vkt_JSONValueWithData(*http_->requests().back().HTTPBody)->asArray());
    }

    const VKTFakeHTTPAnswer offline_ = VKTFakeHTTPAnswer::withError(VKTURLErrorNotConnectedToInternet);
    std::shared_ptr<VKTFakeHTTPSession> http_;
    std::shared_ptr<VKTManualClock> clock_ = std::make_shared<VKTManualClock>();
};

TEST_F(RemoteLogger, ARecordIsMadeWhenItsLevelCountsAndTheDrawIsWon) {
    constexpr std::uint64_t all = std::uint64_t{1} << 32U;
    const auto isMade = [&](int minimum, int level, std::uint64_t rate, std::vector<std::uint32_t> halves) {
        const auto logger = makeLogger(Delivery::AtOnce, std::move(halves));
        VKTRemoteLoggerSettings settings = logger->settings();
        settings.minimumLogLevel = static_cast<VKTRemoteLogLevel>(minimum);
        settings.warningSamplingRate = rate;
        logger->setSettings(settings);
        const auto log = logger->generateLogWithMessage("m", static_cast<VKTRemoteLogLevel>(level));
        EXPECT_EQ(log.value_or(VKTRemoteLog()).samplingRate, log ? rate : 0);
        return log.has_value();
    };
    EXPECT_FALSE(isMade(2, 1, 1, {0})) << "below the minimum";
    EXPECT_FALSE(isMade(4, 3, 1, {0}) || isMade(4, 4, 1, {0})) << "a minimum of none";
    EXPECT_FALSE(isMade(0, 9, 1, {0})) << "no level";
    EXPECT_TRUE(isMade(2, 2, 1, {7, 9})) << "all";
    EXPECT_FALSE(isMade(0, 2, 0, {0})) << "none";
    EXPECT_TRUE(isMade(0, 2, 100, {0, 200}) && !isMade(0, 2, 100, {0, 201})) << "multiples";
    EXPECT_TRUE(isMade(0, 2, 65'536, {1, 0}) && !isMade(0, 2, 65'536, {0, 1})) << "both halves count";
    EXPECT_TRUE(isMade(0, 2, all - 1, {65'535, 65'535})) << "the largest number";
    EXPECT_FALSE(isMade(0, 2, all, {65'535, 65'535})) << "beyond it";
}

TEST_F(RemoteLogger, AMetricThatIsNotSentMayStillBecomeARecordWithoutOne) {
    const std::vector<std::uint32_t> won = {0, 0}, lost = {0, 1}, lostThenWon = {0, 1, 0, 0};
    const std::string start = R"({"log":{"category":"sdk","level":"info","samplingRate":1000,"type":"t")";
    const std::tuple<const char*, std::vector<std::uint32_t>, std::optional<std::string>, std::string>
        cases[] = {
            {"won", won, "12", start + R"(,"metricType":"time","metricValue":"12"}}measure{"time":"12"})"},
            {"empty value", won, "", start + R"(}}measure{"time":""})"},
            {"second draw won", lostThenWon, "12", start + "}}"},
            {"no value", won, std::nullopt, start + "}}"},
            {"both lost", lost, "12", "nothing"},
            {"no value, one draw only", lostThenWon, std::nullopt, "nothing"}};
    for (const auto& [name, draws, value, expected] : cases) {
        const auto log = makeLogger(Delivery::AtOnce, draws)
                             ->generateLogWithMessage("m", VKTRemoteLogLevelInfo, "t", "time", value);
        std::string got = log ? JSON(log->toLogJSONDictionary()) : "nothing";
        if (log && log->nodes)
            got += log->nodes->front()->name() + JSON(*log->nodes->front()->jsonDictionary());
        EXPECT_EQ(got, expected) << name;
    }
}

TEST_F(RemoteLogger, TakesFromADictionaryWhatHasTheRightType) {
    const auto logger = VKTRemoteLogger::initWithClientSDKCategory("sdk");
    EXPECT_EQ(logger->endPointURL().absoluteString(), "https://127.0.0.1/");
    const auto summary = [&] {
        const VKTRemoteLoggerSettings now = logger->settings();
        std::string text = now.endPointURL.absoluteString() + " " + std::to_string(now.minimumLogLevel);
        for (const std::uint64_t rate :
             {now.debugSamplingRate, now.infoSamplingRate, now.warningSamplingRate, now.errorSamplingRate})
            text += " " + std::to_string(rate);
        text += " " + std::to_string(static_cast<int>(now.sendingLogsInterval.count()));
        return text + " " + (now.customHeaders ? joined(*now.customHeaders) : "nil");
    };
    const std::string defaults = "https://logs.example/collect 4 10000 1000 100 100 60 nil";
    const std::pair<const char*, std::string> cases[] = {
        {"{}", defaults},
        {R"({"URL":"http://a b","minLogLevel":1,"customHTTPHeaders":{},"sendingLogsInterval":"9",
             "samplingRate":[1]})",
         defaults},
        {R"({"URL":null,"samplingRate":{"debug":"1","info":true,"warning":null}})", defaults},
        {R"({"URL":"http://x/y","minLogLevel":"warning","sendingLogsInterval":9.5,
             "samplingRate":{"debug":1,"info":-1,"warning":2.9,"error":1e99},
             "customHTTPHeaders":[{"name":"a","value":"b"},{"name":"a"},{"value":"b"},{"name":"c","value":1},7]})",
         "http://x/y 2 1 0 2 18446744073709551615 9 a:b "},
        {R"({"minLogLevel":"Warning"})", defaults}};
    for (const auto& [text, expected] : cases) {
        logger->resetDefaultValues(endPoint);
        logger->configureWithDictionary(dictionaryFromJSON(text));
        EXPECT_EQ(summary(), expected) << text;
    }

    logger->configFromRemoteConfig(VKTRemoteConfigLoggerConfig{{}, VKTRemoteLogLevelInfo, 1, 2, 3, 4});
    EXPECT_EQ(summary(), "https://logs.example/collect 1 1 2 3 4 60 nil");
    logger->configFromRemoteConfig(
        VKTRemoteConfigLoggerConfig{VKTURL::URLWithString("http://z"), VKTRemoteLogLevelError, 5, 6, 7, 8});
    EXPECT_EQ(summary(), "http://z 3 5 6 7 8 60 nil");
    logger->configFromRemoteConfig(std::nullopt);
    EXPECT_FALSE(logger->canSendLogWithLevel(VKTRemoteLogLevelError));
    EXPECT_EQ(logger->errorSamplingRate(), std::numeric_limits<std::uint64_t>::max());
}

TEST_F(RemoteLogger, LeavesOutHeadersThatCannotBeSentAndSaysSo) {
    const auto logger = makeLogger(Delivery::AtOnce);
    const auto headersFrom = [&](const std::string& name, const std::string& value) {
        const VKTArray headers{VKTDictionary{{"name", name}, {"value", value}}};
        logger->configureWithDictionary({{"customHTTPHeaders", headers}});
        return joined(*logger->customHeaders());
    };
    VKTRecordedLog log;
    EXPECT_EQ(headersFrom("X-\xC3", "v"), "");
    EXPECT_EQ(log.take(), std::vector<std::string>{
                              "WARNING Header 'X-?' of \"customHTTPHeaders\" in the remote configuration's "
                              "\"logger\" is not sent: its name has a character that no header name may "
                              "have; write letters, digits and hyphens."});
    for (const char* name : {"", "a b", "a:", "a\r\nb", "content-LENGTH", "Transfer-encoding", "host",
                             "connection", "Expect", "TRAILER"}) {
        EXPECT_EQ(headersFrom(name, "v"), "");
        EXPECT_EQ(log.take().size(), 1U) << name;
    }
    for (const char* value : {"", "a\tb", "\xE2\x82\xAC", "v\nb: c"})
        EXPECT_EQ(headersFrom("X-!#$%&'*+-.^_`|~9", value), "X-!#$%&'*+-.^_`|~9:" + std::string(value) + " ");
    EXPECT_EQ(log.take().size(), 0U);

    VKTRemoteLoggerSettings settings = logger->settings();
    settings.customHeaders = {{"a", "b"}, {"Host", "h"}, {"a", "c"}};
    logger->setSettings(settings);
    EXPECT_EQ(joined(*logger->customHeaders()), "a:b a:c ");
    EXPECT_EQ(log.take().size(), 1U);
}

TEST_F(RemoteLogger, TheDocumentHoldsWhatTheRecordHas) {
    const auto logger = makeLogger(Delivery::AtOnce);
    const auto measure = [](const char* name) {
        return VKTLogMeasureNode::initWithMeasureDictionary({{name, 1}});
    };
    const auto log =
        logger->generateLogWithMessage("m", VKTRemoteLogLevelWarning, "t", "HTTPS://user@h.example:8/p",
                                       VKTLogNodes{measure("a"), measure("b")});
    const std::string start =
        R"({"timestamp":"2024-03-65T07:03:09.123000+0000","message":"m","severity":"warning","samplingRate":100,)"
        R"("host":"h.example","secured":true,"type":"t","measure":)";
    EXPECT_EQ(JSON(VKTRemoteLogUtils::dictionaryFromLog(*log)), start + R"({"b":1}})");
    const VKTLogNodes nodes{measure("c"), nullptr, VKTLogMeasureNode::initWithMeasureDictionary({}),
                            VKTLogErrorNode::initWithErrorMessage("e", std::nullopt, VKTTimeInterval(3))};
    EXPECT_EQ(JSON(VKTRemoteLogUtils::generateJSONDictionaryWithLog(*log, nodes)),
              start + R"({"c":1},"error":{"message":"e"}})");
    const std::vector<VKTDictionary> dictionaries{{{"measure", 1}, {"x", 1}}, {{"x", 2}}};
    EXPECT_EQ(JSON(VKTRemoteLogUtils::generateJSONDictionaryWithLog(*log, dictionaries)),
              start + R"(1,"x":2})");
    EXPECT_EQ(JSON(log->toLogJSONDictionary()),
              R"({"log":{"category":"sdk","level":"warning","samplingRate":100,"type":"t"}})");

    VKTRemoteLog bare;
    bare.type = bare.metricValue = "";
    bare.metricType = "a";
    EXPECT_EQ(JSON(VKTRemoteLogUtils::dictionaryFromLog(bare)),
              R"({"timestamp":"","severity":"debug","samplingRate":0,"secured":-1})");
    EXPECT_EQ(JSON(bare.toLogJSONDictionary()), R"({"log":{"level":"debug","samplingRate":0}})");
    bare.metricValue = "b";
    EXPECT_EQ(JSON(bare.toLogJSONDictionary()),
              R"({"log":{"level":"debug","samplingRate":0,"metricType":"a","metricValue":"b"}})");
    const std::pair<const char*, const char*> baseURLs[] = {{"http://h", R"("host":"h","secured":false})"},
                                                            {"", R"("secured":false})"},
                                                            {"https:x", R"("secured":true})"}};
    for (const auto& [text, end] : baseURLs) {
        bare.setBaseURLString(text);
        EXPECT_TRUE(JSON(VKTRemoteLogUtils::dictionaryFromLog(bare)).ends_with(end)) << text;
    }
}

TEST_F(RemoteLogger, ANodeWithoutOperationsThrows) {
    const auto logger = makeLogger(Delivery::AtOnce);
    const auto reason = [](const std::function<void()>& call) {
        try {
            call();
        } catch (const std::logic_error& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    EXPECT_EQ(reason([] { (void)VKTLogNode().name(); }), "You must override name in a subclass");
    EXPECT_EQ(reason([&] { logger->log(VKTRemoteLog(), {std::make_shared<VKTLogNode>()}); }),
              "You must override jsonDictionary in a subclass");
    EXPECT_TRUE(logger->pendingLogs().empty());
}

TEST_F(RemoteLogger, SendsAPOSTRequestWithItsHeaders) {
    const auto logger = makeLogger(Delivery::AtOnce);
    logger->configureWithDictionary(dictionaryFromJSON(
        R"({"customHTTPHeaders":[{"name":"accept","value":"x/y"},{"name":"user-agent","value":"other"}]})"));
    submit(*logger, "m");
    const VKTURLRequest request = http_->requests().at(0);
    EXPECT_EQ(request.url, endPoint);
    EXPECT_EQ(request.HTTPMethod, "POST");
    EXPECT_EQ(request.cachePolicy, VKTURLRequestUseProtocolCachePolicy);
    EXPECT_EQ(request.timeoutInterval, VKTTimeInterval(30));
    EXPECT_EQ(request.headers, (VKTRemoteLogHeaders{{"Content-Type", "application/json"},
                                                    {"Accept", "application/json"},
                                                    {"accept", "x/y"},
                                                    {"User-Agent", "Apple TV"}}));
    EXPECT_EQ(messages(*vkt_JSONValueWithData(*request.HTTPBody)->asArray()), "m ");
}

TEST_F(RemoteLogger, OnlyWhatFailedWithoutNetworkWaits) {
    const struct {
        const char* name;
        VKTFakeHTTPAnswer answer;
        bool succeeds;
        const char* waiting;
    } cases[] = {{"200", VKTFakeHTTPAnswer::withStatus(200), true, ""},
                 {"399", VKTFakeHTTPAnswer::withStatus(399), true, ""},
                 {"199", VKTFakeHTTPAnswer::withStatus(199), false, ""},
                 {"400", VKTFakeHTTPAnswer::withStatus(400), false, ""},
                 {"timed out", VKTFakeHTTPAnswer::withError(VKTURLErrorTimedOut), false, ""},
                 {"offline", offline_, false, "a "}};
    // At once: the end comes before the logger knows the identifier of the task.
    for (const Delivery delivery : {Delivery::AtOnce, Delivery::ByHand}) {
        for (const auto& [name, answer, succeeds, waiting] : cases) {
            const auto logger = makeLogger(delivery);
            std::vector<bool> heard;
            logger->setRequestCompletionHandler([&, expected = waiting](bool succeeded) {
                heard.push_back(succeeded);
                EXPECT_EQ(messages(logger->pendingLogs()), expected);
            });
            answerAll(answer);
            submit(*logger, "a");
            EXPECT_EQ(logger->ongoingRequests().size(), delivery == Delivery::ByHand ? 1U : 0U) << name;
            http_->deliverAll();
            EXPECT_EQ(heard, std::vector<bool>{succeeds}) << name;
            EXPECT_TRUE(logger->ongoingRequests().empty()) << name;
        }
    }
}

TEST_F(RemoteLogger, WhatFailedWithoutNetworkGoesFirstWithTheNextSubmission) {
    auto logger = makeLogger(Delivery::ByHand);
    answerAll(offline_);
    for (const char* message : {"a", "b", "c"})
        submit(*logger, message);
    http_->deliverNext();
    http_->deliverNext();
    EXPECT_EQ(messages(logger->pendingLogs()), "b a ") << "each is put in front";
    EXPECT_EQ(requestCount(), 3U) << "nobody asked for another attempt";
    submit(*logger, "\xC3");  // no JSON: dropped, and the others are sent
    EXPECT_EQ(lastBody(), "b a ");
    http_->deliverAll();
    EXPECT_EQ(messages(logger->pendingLogs()), "b a c ");
    submit(*logger, "d");
    EXPECT_EQ(lastBody(), "b a c d ");
    EXPECT_EQ(http_->requests().back().HTTPBody,
              logger->requestWithLogs(logger->ongoingRequests().begin()->second).HTTPBody);
    const std::weak_ptr<VKTRemoteLogger> weakLogger = logger;
    logger.reset();
    EXPECT_FALSE(weakLogger.expired()) << "the request holds it";
    http_->deliverAll();
    EXPECT_TRUE(weakLogger.expired());
}

TEST_F(RemoteLogger, BeyondFourRequestsRecordsWaitUntilOneEnds) {
    const auto logger = makeLogger(Delivery::ByHand);
    for (const char* message : {"1", "2", "3", "4", "5", "6"})
        submit(*logger, message);
    EXPECT_EQ(requestCount(), 4U);
    EXPECT_EQ(logger->ongoingRequests().size(), 4U);
    EXPECT_EQ(messages(logger->pendingLogs()), "5 6 ");
    answerAll(offline_);
    http_->deliverNext();
    EXPECT_EQ(lastBody(), "5 6 ") << "what failed is held until somebody logs";
    EXPECT_EQ(messages(logger->pendingLogs()), "1 ");
    submit(*logger, "7");  // no room; releases 1
    answerAll(VKTFakeHTTPAnswer::withStatus(200));
    http_->deliverNext();
    EXPECT_EQ(lastBody(), "1 7 ");
    EXPECT_EQ(http_->deliverAll(), 4U);
    EXPECT_EQ(requestCount(), 6U) << "nothing is left";
}

TEST_F(RemoteLogger, TheBacklogDropsWhatWasSubmittedFirst) {
    const auto logger = makeLogger(Delivery::ByHand);
    answerAll(offline_);
    for (const char* message : {"a", "b", "c", "d"})
        submit(*logger, message);
    for (int i = 0; i < 998; ++i)
        submit(*logger, "x");
    http_->deliverAll();  // those four, and then what has waited, which is put in front of them
    EXPECT_EQ(logger->pendingLogs().size(), 1'000U);
    EXPECT_TRUE(messages(logger->pendingLogs()).ends_with(" x d c ")) << "neither b nor a";
    EXPECT_TRUE(messages(logger->pendingLogs()).starts_with("x ")) << "nothing else";
}

TEST_F(RemoteLogger, AllTextsTogetherAreBounded) {
    const auto logger = makeLogger(Delivery::ByHand);
    const std::string mebibyte(1024 * 1024, 'x');
    const auto lengths = [&] {
        std::string all;
        for (const VKTValue& log : logger->pendingLogs())
            all += std::to_string(log.asDictionary()->find("message")->asString()->size()) + " ";
        return all;
    };
    submit(*logger, mebibyte + mebibyte);
    for (int i = 0; i < 3; ++i)
        submit(*logger, "under way");
    submit(*logger, "a");
    submit(*logger, mebibyte);
    submit(*logger, "bb");
    EXPECT_EQ(lengths(), "1 1048576 2 ");
    submit(*logger, mebibyte);
    EXPECT_EQ(lengths(), "2 1048576 ") << "the first submitted make room";
    submit(*logger, mebibyte + mebibyte);
    EXPECT_EQ(lengths(), "") << "nor does the last one fit beside what is under way";
    http_->deliverAll();
    submit(*logger, mebibyte + mebibyte);
    EXPECT_EQ(logger->ongoingRequests().size(), 1U) << "there is room again";
    http_->deliverAll();  // a request under way holds the logger
}

TEST_F(RemoteLogger, AHandlerThatThrowsKeepsNoPlaceAndHidesNothing) {
    const auto logger = makeLogger(Delivery::ByHand);
    logger->setRequestCompletionHandler([](bool) { throw std::runtime_error("boom"); });
    VKTRecordedLog log;
    for (std::size_t i = 1; i <= VKTRemoteLogRequestLimit + 2; ++i) {
        submit(*logger, "a");
        EXPECT_TRUE(http_->deliverNext());
        EXPECT_EQ(requestCount(), i);
    }
    EXPECT_EQ(log.take().at(0),
              "ERROR requestCompletionHandler has thrown an exception (boom), which was dropped. Catch it in "
              "there: the library takes the call as returned.");
}

TEST_F(RemoteLogger, ACollectorThatHangsCostsFourConnections) {
    auto server = std::make_unique<VKTRawServer>(VKTRawAnswer{{""}, VKTRawAnswer::Hang});
    const auto logger =
        VKTRemoteLogger::initWithDefaultEndPoint(*VKTURL::URLWithString(server->url()), "sdk");
    logger->configFromRemoteConfig(VKTRemoteConfigLoggerConfig{{}, VKTRemoteLogLevelError, 0, 0, 0, 1});
    for (int i = 0; i < 10'000; ++i)
        submit(*logger, "m");
    while (server->requestCount() < 4)
        std::this_thread::yield();
    EXPECT_EQ(logger->ongoingRequests().size(), 4U);
    EXPECT_EQ(logger->pendingLogs().size(), 1'000U);
    EXPECT_EQ(server->requestCount(), 4);
    server.reset();  // the requests end, the last of them with what has waited
    while (!logger->ongoingRequests().empty() || !logger->pendingLogs().empty())
        std::this_thread::yield();
}

TEST_F(RemoteLogger, NothingIsLostOrSentTwiceWhenThreadsLogAtOnce) {
    constexpr int threadCount = 4, logsEach = 50;
    const auto logger = makeLogger(Delivery::ByHand);
    std::atomic<int> requests = 0, delivered = 0;
    http_->setHandler([&](const VKTURLRequest& request) {
        if (requests++ % 3 == 0) return VKTFakeHTTPAnswer::withError(VKTURLErrorNotConnectedToInternet);
        delivered += static_cast<int>(vkt_JSONValueWithData(*request.HTTPBody)->asArray()->size());
        return VKTFakeHTTPAnswer::withStatus(200);
    });
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < logsEach; ++j) {
                submit(*logger, "m");
                http_->deliverNext();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    do {
        logger->sendPendingLogs();
    } while (http_->deliverAll() > 0);
    EXPECT_EQ(delivered, threadCount * logsEach);
    EXPECT_TRUE(logger->ongoingRequests().empty());
}

}  // namespace

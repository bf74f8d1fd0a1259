// "vkt config" and "vkt log" against "vkt serve": the last good configuration outlives every bad answer, and
// a record arrives at the collector as it was shown.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/integration/LocalDemoServer.h"
#include "tests/integration/ToolRun.h"
#include "tests/support/VKTStoreFolder.h"

namespace {

using namespace std::string_literals;

constexpr const char* deadURL = "http://127.0.0.1:1/";

class ConfigLog : public testing::Test {
  protected:
    [[nodiscard]] Outcome config(const std::string& path, const std::string& arguments = "") const {
        const std::string options = " --json --site 7 --store " + folder_.path() + " ";
        return runTool("config " + server_.url(path) + options + arguments);
    }
    [[nodiscard]] std::vector<VKTDictionary> deliveries() const {
        return entriesOf(parsed("{\"logs\":" + server_.get("/logs") + "}"), "logs");
    }

    const LocalDemoServer server_;
    const VKTStoreFolder folder_;
};

}  // namespace

TEST_F(ConfigLog, KeepsTheLastGoodConfigurationWhateverTheServerAnswers) {
    const Outcome first = config("/config/[SITEID_PLACEHOLDER]");
    EXPECT_EQ(first.status, 0) << first.err;
    const VKTDictionary fetched = parsed(first.out);
    EXPECT_EQ(keysOf(fetched), "source url request applied ignored expirationDate error");
    EXPECT_EQ(textAt(fetched, "source"), "network");
    EXPECT_EQ(textAt(fetched, "applied.networkId"), "1007");
    EXPECT_EQ(textAt(fetched, "applied.logger.URL"), server_.url("/logs"));
    EXPECT_TRUE(entriesOf(fetched, "ignored").empty());
    EXPECT_EQ(textAt(fetched, "expirationDate").size(), "2024-03-05T07:08:09Z"s.size());

    const VKTDictionary cached = parsed(config("/status/500").out);
    EXPECT_EQ(textAt(cached, "source"), "cache");
    EXPECT_TRUE(valueOf(cached, "request").isNull());

    const std::pair<const char*, const char*> cases[] = {
        {"/status/404", "the answer has status 404"},
        {"/config/7/not-json", "the answer is not JSON"},
        {"/config/7/array", "the answer is an array, not an object"},
        {"/config/7/no-korvo", "the answer holds no valid korvo: an object is expected, not nothing"},
        {"/config/7/ttl-0", "the answer holds no valid TTL: a number above 0 is expected, not 0"},
        {"/config/7/ttl-negative", "not -3600"},
        {"/hang", "timed out"},
        {"/huge", "body too large"},
    };
    for (const auto& [path, error] : cases) {
        SCOPED_TRACE(path);
        const Outcome outcome = config(path, path == "/hang"s ? "--force --timeout 0.3" : "--force");
        EXPECT_EQ(outcome.status, 0);
        const VKTDictionary report = parsed(outcome.out);
        EXPECT_EQ(textAt(report, "source"), "cache");
        EXPECT_EQ(valueOf(report, "applied"), valueOf(fetched, "applied"));
        EXPECT_EQ(valueOf(report, "expirationDate"), valueOf(fetched, "expirationDate"));
        EXPECT_NE(textAt(report, "error.description").find(error), std::string::npos) << outcome.out;
        EXPECT_NE(outcome.err.find("vkt: the last good configuration stays\n"), std::string::npos);
    }
    const Outcome none = runTool("config --json --site 8 "s + deadURL);
    EXPECT_EQ(none.status, 1);
    EXPECT_TRUE(valueOf(parsed(none.out), "applied").isNull());
}

TEST_F(ConfigLog, TellsWhatOfAConfigurationIsIgnored) {
    const struct {
        const char *variant, *ignored, *networkID;
    } cases[] = {
        {"wrong-types",
         "korvo.networkId korvo.adCallAdditionalParameters.post korvo.adCallAdditionalParameters.get.page "
         "statusCode version korvo.adCallBaseURL korvo.latestSDKVersionId korvo.latestSDKMessage logger.URL "
         "logger.minLogLevel logger.samplingRate.debug logger.samplingRate.info logger.samplingRate.warning "
         "logger.samplingRate.error logger.sendingLogsInterval logger.samplingRate.fatal",
         "0"},
        {"wrong-site", "korvo.networkId", "0"},
        {"ttl-23-days", "TTL", "1007"},
        {"sampled", "", "1007"},
        {"huge", "", "1007"},
    };
    for (const auto& [variant, ignored, networkID] : cases) {
        const VKTDictionary report = parsed(config("/config/7/"s + variant, "--force").out);
        EXPECT_EQ(textsOf(report, "ignored", "path"), ignored);
        EXPECT_EQ(textAt(report, "applied.networkId"), networkID) << variant;
    }
    const Outcome newer = runTool("config --site 7 " + server_.url("/config/7/newer-sdk"));
    EXPECT_NE(newer.out.find("is deprecated: Version 7.23"), std::string::npos) << newer.out;
}

TEST_F(ConfigLog, SendsTheRecordThatItShows) {
    const std::string arguments =
        "log " + server_.url("/logs") + " --json --vast-error 301 --measure load=12.5 --site 7 --sampling 1";
    const Outcome sent = runTool(arguments);
    EXPECT_EQ(sent.status, 0) << sent.err;
    auto shown = entriesOf(parsed(sent.out), "logs");
    ASSERT_EQ(deliveries().size(), 1U);
    EXPECT_EQ(entriesOf(deliveries().front(), "logs"), shown);
    EXPECT_EQ(keysOf(shown.front()),
              "timestamp message severity samplingRate host secured sdk measure error siteId");

    const Outcome dry = runTool(arguments + " --dry-run");
    auto notSent = entriesOf(parsed("{\"logs\":" + dry.out + "}"), "logs");
    for (auto* logs : {&shown, &notSent})
        logs->front().remove("timestamp");
    EXPECT_EQ(notSent, shown);
    EXPECT_EQ(deliveries().size(), 1U);
}

TEST_F(ConfigLog, RefusesNumbersOutOfTheirRange) {
    const std::string config = "config "s + deadURL + " --site ";
    const std::string log = "log "s + deadURL + " --dry-run ";
    const struct {
        std::string arguments;
        const char *value, *range;
    } cases[] = {
        {config, "99999999999999999999", "--site: A whole number from 0 to 9223372036854775807"},
        {config, "-1", "--site: A whole number from 0"},
        {config, "1e3", "--site: "},
        {config, "7x", "--site: "},
        {config, "0x10", "--site: "},
        {config + "7 --timeout ", "1e300", "--timeout: A number from 0 to 1000000"},
        {config + "7 --timeout ", "nan", "--timeout: A number from 0"},
        {log + "--site ", "-1", "--site: A whole number from 0"},
        {log + "--sampling ", "18446744073709551616",
         "--sampling: A whole number from 0 to 18446744073709551615"},
        {log + "--sampling ", "1.5", "--sampling: A whole number"},
        {log + "--vast-error ", "99", "--vast-error: A whole number from 100 to 999"},
        {"resolve - --max-wrappers ", "2147483648", "--max-wrappers: A whole number from 0 to 2147483647"},
        {"resolve - --fail ", "-1", "--fail: A whole number from 0"},
        {"resolve - --network-access-type ", "4294967296", "from 0 to 4294967295"},
        {"serve --port ", "65536", "--port: A whole number from 0 to 65535"},
    };
    for (const auto& [arguments, value, range] : cases) {
        SCOPED_TRACE(arguments + value);
        const Outcome outcome = runTool(arguments + value);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_NE(outcome.err.find(range), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find("is expected, not \""s + value + "\""), std::string::npos) << outcome.err;
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1);
    }
    EXPECT_NE(runTool(log + "--site 010 --json").out.find("\"siteId\":10"), std::string::npos);
}

TEST_F(ConfigLog, TellsWhyARecordIsDropped) {
    server_.tell("/logs", "500&times=1");
    const std::pair<std::string, const char*> cases[] = {
        {server_.url("/logs"), "dropped: the collector answered with status 500"},
        {server_.url("/hang") + " --timeout 0.3", "dropped: error -1001: timed out"},
        {deadURL, "dropped: error -1004"},
        {server_.url("/logs") + " --level info --minimum-level error", "below the minimum"},
        {server_.url("/logs") + " --sampling 0", "dropped: with a sampling rate of 0"},
        {server_.url("/logs") + " --sampling 4000000000", "dropped: the draw was lost"},
        {server_.url("/logs") + " --message \"$(printf '\\351')\"", "dropped: JSON cannot hold it"},
    };
    for (const auto& [arguments, reason] : cases) {
        const Outcome outcome = runTool("log " + arguments);
        EXPECT_EQ(outcome.status, 1) << arguments;
        EXPECT_NE(outcome.err.find(reason), std::string::npos) << outcome.err;
    }
    ASSERT_EQ(deliveries().size(), 1U);
    EXPECT_EQ(textAt(deliveries().front(), "answer"), "500");
    EXPECT_EQ(keysOf(entriesOf(deliveries().front(), "logs").front()),
              "timestamp message severity samplingRate host secured sdk error");
}

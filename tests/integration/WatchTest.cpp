// "vkt watch": what it sums up, and how it ends.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <future>
#include <string>
#include <thread>

#include "tests/integration/ToolRun.h"
#include "tests/support/VKTLoopbackServer.h"
#include "tests/support/VKTTestPaths.h"

namespace {

const std::string ad =
    "<VAST "
    "version='3.0'><Ad><InLine><AdSystem>s</AdSystem><AdTitle>t</AdTitle><Impression>http://i.test/</"
    "Impression>"
    "<Creatives><Creative><Linear><Duration>00:00:15</Duration><MediaFiles><MediaFile delivery='progressive' "
    "type='video/mp4' width='1' "
    "height='1'>http://m.test/</MediaFile></MediaFiles></Linear></Creative></Creatives>"
    "</InLine></Ad></VAST>";

// The JSON texts of a list of counts, without the brackets.
std::string countsOf(const VKTDictionary& report, const char* key) {
    const std::string text = vkt_JSONStringWithValue(valueOf(report, key)).value_or("");
    return text.substr(1, text.size() - 2);
}

class Watch : public testing::Test {
  protected:
    // An ad, the same behind a wrapper, an empty answer, and again.
    Watch() {
        server_.serve("/ad", ad);
        server_.handle("/tag", [this](const VKTServerRequest&) {
            const std::string answers[] = {
                ad,
                "<VAST version='3.0'><Ad><Wrapper><VASTAdTagURI>" + server_.url("/ad") +
                    "</VASTAdTagURI><Impression>http://i.test/</Impression></Wrapper></Ad></VAST>",
                "<VAST version='3.0'/>"};
            return VKTServerResponse{200, answers[asked_++ % 3], {}};
        });
    }

    // Starts the tool, and gives its process and its first lines to `interrupt`. What came after, and its
    // status.
    Outcome runInterrupted(const std::string& arguments, bool hasLine) {
        std::FILE* output =
            popen((std::string("echo $$; exec ") + VKTTestPaths::tool + " watch " + arguments).c_str(), "r");
        const auto nextLine = [output] {
            std::array<char, 1024> line{};
            return std::string(std::fgets(line.data(), line.size(), output) == nullptr ? "" : line.data());
        };
        const pid_t process = std::stoi(nextLine());
        if (hasLine) nextLine();
        while (asked_ == 0)
            std::this_thread::yield();
        kill(process, SIGINT);
        Outcome outcome;
        for (std::string line = nextLine(); !line.empty(); line = nextLine())
            outcome.out += line;
        const int status = pclose(output);
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return outcome;
    }

    std::atomic<std::size_t> asked_ = 0;
    VKTLoopbackServer server_;
};

TEST_F(Watch, SumsUpWhatEachResolveGave) {
    const Outcome outcome = runTool("watch --json --every 0 --count 7 " + server_.url("/tag"));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const VKTDictionary report = parsed(outcome.out);
    EXPECT_EQ(textAt(report, "resolves") + " " + textAt(report, "filled"), "7 5");
    EXPECT_DOUBLE_EQ(valueOf(report, "fillRate").asNumber()->doubleValue(), 5.0 / 7);
    EXPECT_DOUBLE_EQ(valueOf(report, "adsPerResolve").asNumber()->doubleValue(), 5.0 / 7);
    const std::string host = server_.url("").substr(7);
    EXPECT_EQ(countsOf(report, "shapes"), R"({"hosts":")" + host + R"(","count":5},{"hosts":")" + host +
                                              " > " + host + R"(","count":2})");
    EXPECT_EQ(countsOf(report, "problems"),
              R"({"host":")" + host + R"(","problem":"it holds no ad","count":2})");
    double before = 0;
    for (const char* time : {"min", "median", "percentile95", "max"}) {
        const double milliseconds =
            vkt_doubleValue(textAt(report, std::string("millisecondsToPlayable.") + time));
        EXPECT_LE(before, milliseconds) << time;
        before = milliseconds;
    }
    EXPECT_GT(before, 0);
}

TEST_F(Watch, PrintsALineForEachResolveAndTheSummary) {
    const Outcome outcome = runTool("watch --every 0 --count 3 " + server_.url("/tag"));
    EXPECT_EQ(outcome.out.find("1: 1 playable ad, the first after "), 0U) << outcome.out;
    EXPECT_NE(outcome.out.find("\n3: 0 playable ads, from 127.0.0.1:"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find(": 3 resolves, 66.7 % with a playable ad, 0.67 playable ads each\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_EQ(outcome.out.find('\x1b'), std::string::npos);
}

TEST_F(Watch, CountsErrorsByTheirCodeAndOneFaultOnce) {
    const Outcome outcome = runTool("watch --json --every 0 --count 3 http://127.0.0.1:1/");
    EXPECT_EQ(outcome.status, 3);
    const VKTDictionary report = parsed(outcome.out);
    EXPECT_EQ(countsOf(report, "errors"), R"({"VASTCode":301,"name":"VAST_WRAPPER_ERROR_FETCH","count":3})");
    EXPECT_EQ(entriesOf(report, "problems").size(), 1U) << outcome.out;
    EXPECT_TRUE(valueOf(*valueOf(report, "millisecondsToPlayable").asDictionary(), "median").isNull());
    EXPECT_EQ(runTool("watch --every 0 --count 1 -", "<VAST version='3.0'/>").status, 1);
}

TEST_F(Watch, EndsWithTheSummaryWhenItIsInterrupted) {
    const Outcome waiting = runInterrupted("--every 1000 " + server_.url("/tag"), true);
    EXPECT_EQ(waiting.status, 0);
    EXPECT_NE(waiting.out.find(": 1 resolve, 100.0 % "), std::string::npos) << waiting.out;

    asked_ = 0;
    std::promise<void> isOver;
    const std::shared_future<void> over = isOver.get_future();
    server_.handle("/hang", [this, over](const VKTServerRequest&) {
        ++asked_;
        over.wait();
        return VKTServerResponse{};
    });
    const Outcome resolving =
        runInterrupted("--timeout 1000 --request-timeout 1000 " + server_.url("/hang"), false);
    isOver.set_value();
    EXPECT_EQ(resolving.status, 1);
    EXPECT_NE(resolving.out.find(": 0 resolves\n"), std::string::npos) << resolving.out;
}

}  // namespace

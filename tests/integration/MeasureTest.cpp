// "vkt play --measure" against "vkt serve": what the verification scripts did is counted by the server.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <regex>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "tests/integration/LocalDemoServer.h"
#include "tests/integration/ToolRun.h"
#include "tests/support/VKTTestPaths.h"

namespace {

// The value of one parameter of a hit's query, decoded.
std::string parameterOf(const VKTDictionary& hit, const std::string& name) {
    const std::string query = textAt(hit, "query");
    for (const std::string_view pair : vkt_split(query, '&')) {
        if (pair.starts_with(name + "=")) return *vkt_removingPercentEncoding(pair.substr(name.size() + 1));
    }
    return "";
}

class Measure : public testing::Test {
  protected:
    std::vector<VKTDictionary> measure(const std::string& arguments, const std::string& document = "") {
        const Outcome outcome = runTool("play --speed 0 --measure --json " + arguments, document);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        heard_.clear();
        queued_ = 0;
        for (const VKTDictionary& hit : server_.takePixels()) {
            if (!parameterOf(hit, "n").empty()) heard_.push_back(hit);
            if (!parameterOf(hit, "queued").empty()) ++queued_;
        }
        std::sort(heard_.begin(), heard_.end(), [](const auto& left, const auto& right) {
            return std::stoi(parameterOf(left, "n")) < std::stoi(parameterOf(right, "n"));
        });
        return entriesOf(entriesOf(parsed(outcome.out), "ads").at(0), "measurement");
    }

    const LocalDemoServer server_;
    std::vector<VKTDictionary> heard_;  // requests of the recording script, in the order of its calls
    std::size_t queued_ = 0;            // requests of the script that queues them
};

}  // namespace

TEST_F(Measure, AScriptHearsTheStandardsEventsInOrderWithTheViewsGeometry) {
    const auto scripts =
        measure("--mute-at 2 --pause-at 4 --click-at 5 --hide-at 9 " + server_.url("/inline"));
    ASSERT_EQ(scripts.size(), 1U);
    EXPECT_EQ(keysOf(scripts.front()), "vendor script events urls failure loss");
    EXPECT_EQ(textAt(scripts.front(), "vendor"), "demo.verification");
    EXPECT_TRUE(valueOf(scripts.front(), "failure").isNull()) << textAt(scripts.front(), "failure");
    EXPECT_EQ(textsOf(scripts.front(), "events", "type"),
              "sessionStart loaded impression geometryChange start volumeChange firstQuartile pause resume "
              "adUserInteraction midpoint geometryChange thirdQuartile complete sessionFinish");

    EXPECT_EQ(textAt(entriesOf(scripts.front(), "events").back(), "time"), "17") << "seconds, the pause too";
    EXPECT_EQ(valueOf(scripts.front(), "urls").asArray()->size(), heard_.size());

    std::vector<std::string> types;
    for (const VKTDictionary& hit : heard_) {
        EXPECT_EQ(parameterOf(hit, "session"), parameterOf(heard_.front(), "session"));
        types.push_back(textAt(hit, "path").substr(std::string_view("/pixel/measured/").size()));
        const VKTDictionary data = parsed(parameterOf(hit, "data"));
        if (types.back() == "start") {
            EXPECT_EQ(textAt(data, "duration"), "15");
        } else if (types.back() == "impression") {
            EXPECT_EQ(textAt(data, "adView.percentageInView"), "100");
            EXPECT_EQ(textAt(data, "adView.onScreenGeometry.width"), "1920");
            EXPECT_EQ(textAt(data, "adView.onScreenGeometry.height"), "1080");
        }
    }
    EXPECT_EQ(vkt_joined(types, " "), textsOf(scripts.front(), "events", "type"));
}

TEST_F(Measure, AVerificationInAnExtensionRunsOnce) {
    for (const std::string type : {"AdVerifications", "any other"}) {
        std::string document = server_.get("/inline");
        const std::pair<const char*, std::string> changes[] = {
            {"Extensions>", "Others>"},
            {"<AdVerifications>", "<Extensions><Extension type=\"" + type + "\"><AdVerifications>"},
            {"</AdVerifications>", "</AdVerifications></Extension></Extensions>"}};
        for (const auto& [from, to] : changes)
            document = vkt_replacingOccurrences(document, from, to);
        EXPECT_EQ(measure("-", document).size(), 1U) << type;
    }
}

TEST_F(Measure, AScriptThatQueuesWhatItSendsSaysItsLastWords) {
    const VKTDictionary script = measure("--skip-at 12 " + server_.url("/measured/queue")).back();
    EXPECT_TRUE(valueOf(script, "failure").isNull()) << textAt(script, "failure");
    const VKTArray& urls = *valueOf(script, "urls").asArray();
    EXPECT_EQ(urls.size(), entriesOf(script, "events").size());
    EXPECT_NE(urls.back().asString()->find("/sessionFinish?queued=10&"), std::string::npos)
        << *urls.back().asString();
}

TEST_F(Measure, AScriptThatMisbehavesHurtsOnlyItself) {
    // What matches a part of the failure's text; empty: it does not count as one. Whether the script is lost
    // with it. On a busy machine the session is over before a loop has had its time.
    const std::tuple<const char*, const char*, bool> cases[] = {{"throw", "at the top", false},
                                                                {"loop", "250 ms|the script hangs", true},
                                                                {"memory", "alloc failed", false},
                                                                {"flood", "", false},
                                                                {"meddle", "registerSessionObserver", false},
                                                                {"not-there", "404", true}};
    for (const auto& [name, failure, isLost] : cases) {
        SCOPED_TRACE(name);
        const auto scripts = measure("--skip-at 12 " + server_.url(std::string("/measured/") + name));
        ASSERT_EQ(scripts.size(), 2U);
        const VKTDictionary& good = scripts.front();
        const VKTDictionary& bad = scripts.back();
        EXPECT_TRUE(valueOf(good, "failure").isNull()) << textAt(good, "failure");
        EXPECT_EQ(textsOf(good, "events", "type"),
                  "sessionStart loaded impression geometryChange start firstQuartile midpoint thirdQuartile "
                  "skipped sessionFinish");
        EXPECT_EQ(heard_.size(), entriesOf(good, "events").size());
        const std::string text = textAt(bad, "failure");
        EXPECT_TRUE(std::regex_search(text, std::regex(failure))) << text;
        EXPECT_EQ(valueOf(bad, "failure").isNull(), std::string(failure).empty()) << text;
        EXPECT_EQ(textAt(bad, "loss"), isLost ? text : textAt(good, "loss"));
        EXPECT_LT(valueOf(bad, "urls").asArray()->size(), 10'000U);
    }
}

// Cores that are busy make scripts late, and punish none.
TEST_F(Measure, EachGoodVendorOfEightIsHeardOnBusyCores) {
    const std::string document = server_.get("/inline");
    const std::size_t begin = document.find("<Verification vendor");
    const std::string_view endTag = "</Verification>";
    const std::size_t end = document.find(endTag) + endTag.size();
    std::string verifications;
    for (const char* name : {"loop", "record", "memory", "flood", "queue", "throw", "meddle", "record"})
        verifications += vkt_replacingOccurrences(document.substr(begin, end - begin), "/record.js",
                                                  std::string("/") + name + ".js");
    std::atomic<bool> isOver = false;
    std::vector<std::thread> load;
    for (unsigned i = 0; i < std::thread::hardware_concurrency(); ++i)
        load.emplace_back([&] {
            while (!isOver) {
            }
        });
    const auto scripts = measure("-", document.substr(0, begin) + verifications + document.substr(end));
    isOver = true;
    for (auto& thread : load)
        thread.join();
    ASSERT_EQ(scripts.size(), 8U);
    for (const std::size_t good : {1U, 4U, 7U}) {
        EXPECT_TRUE(valueOf(scripts[good], "loss").isNull()) << textAt(scripts[good], "loss");
        EXPECT_EQ(entriesOf(scripts[good], "events").size(), 10U) << textAt(scripts[good], "script");
    }
    EXPECT_EQ(heard_.size(), 20U);
    EXPECT_EQ(queued_, 10U);
}

TEST_F(Measure, ScriptsRunInAnInstallationThatHasMovedAndVendorsHearWhenNoneDoes) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::path(testing::TempDir()) / ("vkt-installed-" + std::to_string(getpid()));
    const Outcome installed =
        runProgram(std::string("sh -c 'for each in Runtime Tools; do cmake --install ") +
                       VKTTestPaths::buildFolder + " --component $each --prefix $0; done'",
                   (folder / "first").string());
    ASSERT_EQ(installed.status, 0) << installed.err;
    fs::rename(folder / "first", folder / "moved");
    const auto failure = [&] {
        const Outcome played = runProgram((folder / "moved/bin/vkt").string(),
                                          "play --speed 0 --measure --json " + server_.url("/inline"));
        return textAt(entriesOf(entriesOf(parsed(played.out), "ads").at(0), "measurement").at(0), "failure");
    };
    const std::string first = failure();
    EXPECT_EQ(first.find("vkt-script-host"), std::string::npos) << first;
    EXPECT_GT(server_.takePixels().size(), 0U);

    const fs::path host = folder / "moved" / VKT_SCRIPT_HOST_FOLDER "/vkt-script-host";
    fs::remove(host);
    fs::create_symlink("/bin/true", host);
    const std::string text = failure();
    EXPECT_NE(text.find(host.string() + " ended"), std::string::npos) << text;
    const auto hits = server_.takePixels();
    EXPECT_EQ(std::count_if(hits.begin(), hits.end(),
                            [](const auto& hit) {
                                return textAt(hit, "path").ends_with("/verificationNotExecuted") &&
                                       parameterOf(hit, "reason") == "2";
                            }),
              1);
    fs::remove_all(folder);
}

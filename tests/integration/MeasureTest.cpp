// "vkt play --measure" against "vkt serve": what the verification scripts did is counted by the server.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "tests/integration/DemoServerProcess.h"
#include "tests/integration/ToolRun.h"

namespace {

std::string textOf(const VKTDictionary& dictionary, const char* key) {
    return valueOf(dictionary, key).description();
}

// The value of one parameter of a hit's query, decoded.
std::string parameterOf(const VKTDictionary& hit, const std::string& name) {
    const std::string query = textOf(hit, "query");
    for (const std::string_view pair : vkt_split(query, '&')) {
        if (pair.starts_with(name + "=")) return *vkt_removingPercentEncoding(pair.substr(name.size() + 1));
    }
    return "";
}

class Measure : public testing::Test {
  protected:
    std::vector<VKTDictionary> measure(const std::string& path, const std::string& arguments = "") {
        const Outcome outcome =
            runTool("play " + server_.url(path) + " --speed 0 --measure --json " + arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        const auto ads = entriesOf(parsed(outcome.out), "ads");
        EXPECT_EQ(ads.size(), 1U);
        for (const VKTDictionary& hit : server_.takePixels()) {
            const std::string hitPath = textOf(hit, "path");
            if (hitPath.starts_with("/pixel/measured/") && !parameterOf(hit, "n").empty())
                heard_.push_back(hit);
        }
        std::sort(heard_.begin(), heard_.end(), [](const auto& left, const auto& right) {
            return std::stoi(parameterOf(left, "n")) < std::stoi(parameterOf(right, "n"));
        });
        return ads.empty() ? std::vector<VKTDictionary>() : entriesOf(ads.front(), "measurement");
    }

    static std::string eventsOf(const VKTDictionary& script) {
        std::vector<std::string> types;
        for (const VKTDictionary& event : entriesOf(script, "events"))
            types.push_back(textOf(event, "type"));
        return vkt_joined(types, " ");
    }

    const DemoServerProcess server_;
    std::vector<VKTDictionary> heard_;  // requests of the recording script, in the order of its calls
};

}  // namespace

TEST_F(Measure, AScriptHearsTheStandardsEventsInOrderWithTheViewsGeometry) {
    const auto scripts = measure("/inline", "--mute-at 2 --pause-at 4 --click-at 5 --hide-at 9");
    ASSERT_EQ(scripts.size(), 1U);
    EXPECT_EQ(keysOf(scripts.front()), "vendor script events urls failure");
    EXPECT_EQ(textOf(scripts.front(), "vendor"), "demo.verification");
    EXPECT_TRUE(valueOf(scripts.front(), "failure").isNull()) << textOf(scripts.front(), "failure");
    EXPECT_EQ(eventsOf(scripts.front()),
              "sessionStart loaded impression geometryChange start volumeChange firstQuartile pause resume "
              "adUserInteraction midpoint geometryChange thirdQuartile complete sessionFinish");

    std::set<std::string> sessions;
    std::vector<std::string> types;
    for (const VKTDictionary& hit : heard_) {
        sessions.insert(parameterOf(hit, "session"));
        types.push_back(textOf(hit, "path").substr(std::string_view("/pixel/measured/").size()));
        const VKTDictionary data = parsed(parameterOf(hit, "data"));
        if (types.back() == "start") {
            EXPECT_EQ(textOf(data, "duration"), "15");
        } else if (types.back() == "impression") {
            const VKTValue* view = data.find("adView");
            ASSERT_NE(view, nullptr);
            EXPECT_EQ(textOf(*view->asDictionary(), "percentageInView"), "100");
            const VKTDictionary& onScreen =
                *valueOf(*view->asDictionary(), "onScreenGeometry").asDictionary();
            EXPECT_EQ(textOf(onScreen, "width") + "x" + textOf(onScreen, "height"), "1920x1080");
        }
    }
    EXPECT_EQ(sessions.size(), 1U);
    EXPECT_EQ(types.size(), entriesOf(scripts.front(), "events").size());
    EXPECT_EQ(types.front(), "sessionStart");
    EXPECT_EQ(types.back(), "sessionFinish");
}

TEST_F(Measure, AScriptThatMisbehavesHurtsOnlyItself) {
    struct Case {
        std::string script;
        std::string failure;  // a part of the text; empty: it does not count as one
    };
    const std::vector<Case> cases{{"throw", "at the top"},
                                  {"loop", "too long"},
                                  {"memory", "alloc failed"},
                                  {"flood", ""},
                                  {"meddle", "registerSessionObserver"},
                                  {"not-there", "404"}};
    for (const auto& [name, failure] : cases) {
        SCOPED_TRACE(name);
        heard_.clear();
        const auto scripts = measure("/measured/" + name);
        ASSERT_EQ(scripts.size(), 2U);
        const VKTDictionary& good = scripts.front();
        const VKTDictionary& bad = scripts.back();
        EXPECT_TRUE(valueOf(good, "failure").isNull()) << textOf(good, "failure");
        EXPECT_EQ(eventsOf(good),
                  "sessionStart loaded impression geometryChange start firstQuartile midpoint thirdQuartile "
                  "complete sessionFinish");
        EXPECT_EQ(heard_.size(), entriesOf(good, "events").size());
        const std::string text = textOf(bad, "failure");
        EXPECT_NE(text.find(failure), std::string::npos) << text;
        EXPECT_EQ(valueOf(bad, "failure").isNull(), failure.empty()) << text;
        EXPECT_LT(valueOf(bad, "urls").asArray()->size(), 10'000U);
    }
}

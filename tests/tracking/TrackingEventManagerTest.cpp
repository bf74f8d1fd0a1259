#include <thread>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/vast/VKTVASTAdVerification.h"
#include "VKTCoreKit/vast/VKTVASTViewabilityEvent.h"
#include "tests/tracking/TrackingFixture.h"

namespace {

using TrackingEventManager = TrackingFixture;

TEST_F(TrackingEventManager, ConsumableEventsFireOnceTheLastFirst) {
    const auto manager =
        managerOf({event("start", "http://1"), event("mute", "http://2"), event("start", "http://3")});
    EXPECT_TRUE(manager->trackEvent("start", {}));
    EXPECT_EQ(sent(), (Texts{"1", "http://3", "http://1"}));
    EXPECT_FALSE(manager->trackEvent("start", {}));
    EXPECT_EQ(sent(), (Texts{"0"}));
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(manager->trackEvent("mute", {}));
        EXPECT_EQ(sent(), (Texts{"1", "http://2"}));
    }
    EXPECT_EQ(delegate->heard, (Texts{"start 2", "start 0", "mute 1", "mute 1"}));
}

TEST_F(TrackingEventManager, EqualEventsAreConsumedTogether) {
    const auto manager =
        managerOf({event("progress", "http://1", 5, "5%"), event("progress", "http://1", 5, "5%"),
                   event("progress", "http://2", 5), event("progress", "http://2", 5),
                   VKTVASTViewabilityEvent::viewableEventWithURL(*VKTURL::URLWithString("http://3")),
                   VKTVASTAdVerificationEvent::initWithName("verificationNotExecuted",
                                                            *VKTURL::URLWithString("http://4"))});
    manager->trackEvent("progress", {});
    EXPECT_EQ(sent(), (Texts{"1", "http://2", "http://2", "http://1"}));
    EXPECT_EQ(delegate->heard, (Texts{"progress 4"}));
    manager->trackEventByReference(
        VKTVASTViewabilityEvent::viewableEventWithURL(*VKTURL::URLWithString("http://3")), {}, {}, true);
    manager->trackEventByReference(*manager->events().begin(), {}, {}, true, false);
    EXPECT_EQ(sent(), (Texts{"2", "http://3", "http://4"}));
    EXPECT_EQ(delegate->heard, (Texts{"progress 4", "viewable 1"}));
    EXPECT_TRUE(manager->events().empty());
}

TEST_F(TrackingEventManager, MacrosAndVariablesAreFilledOrTheTemplateIsSent) {
    const auto manager = managerOf({}, {{"CB", "1"},
                                        {"BRACE", "{x}"},
                                        {"BRACKET", "[x]"},
                                        {"LINE", "a\nb"},
                                        {"NEST", "%5BZ%5D"},
                                        {"PERCENT", "50%"}});
    const VKTReplacements macros{{"CB", "2"}, {"ERRORCODE", "900"}, {"Z", "z"}};
    const VKTReplacements variables{{"${v}", "w"}, {"a{b}c", "x"}, {"plain", "no"},
                                    {"{", "no"},   {"{}", "no"},   {"${bad}", " "}};
    const std::pair<const char*, const char*> cases[] = {
        {"http://h/?c=%5BCB%5D&e=%5BERRORCODE%5D%5BERRORCODE%5D", "http://h/?c=1&e=900900"},
        {"http://h/[CB]%5bCB%5d%5BXY%5DCB", "http://h/[CB]%5bCB%5d%5BXY%5DCB"},
        {"http://h/%5BNEST%5D", "http://h/z"},
        {"http://h/%5BBRACKET%5D", "http://h/[x]"},
        {"http://h/%5BCB%5D%5BBRACE%5D", nullptr},
        {"http://h/%5BCB%5D%5BLINE%5D", nullptr},
        {"http://h/%5BCB%5D%5BPERCENT%5D", nullptr},
        {"http://%5BBRACKET%5D/%5BCB%5D", nullptr},
        {"http://h/$v/abc/plain?$v", "http://h/$w/axc/plain?$w"},
        {"http://h/%5BCB%5D/$bad", nullptr},
    };
    for (const auto& [text, expected] : cases) {
        const auto url = manager->finalEventURLWithURL(*VKTURL::URLWithString(text), variables, macros);
        EXPECT_EQ(url.absoluteString(), expected == nullptr ? text : expected);
    }
}

TEST_F(TrackingEventManager, ValuesThatGrowWithoutEndGiveTheTemplate) {
    VKTReplacements macros;
    VKTReplacements variables;
    for (char c = 'a'; c < 'z'; ++c) {
        const std::string next(1, static_cast<char>(c + 1));
        const std::string name(1, c);
        macros[name] = "%5B" + next + "%5D%5B" + next + "%5D";
        variables["$$" + name + "{}"] = next + "$$" + next;
    }
    macros["z"] = std::string(1000, 'z');
    variables["$$z{}"] = macros["z"];
    const VKTURL url = *VKTURL::URLWithString("http://h/%5Ba%5D");
    EXPECT_EQ(managerOf({}, macros)->finalEventURLWithURL(url, {}, {}), url);
    EXPECT_EQ(managerOf({})->finalEventURLWithURL(url, {}, macros), url);
    const std::string longValue(VKTEventURLLengthLimit / 2, 'v');
    const VKTURL twice = *VKTURL::URLWithString("http://h/$v$v");
    EXPECT_EQ(managerOf({})->finalEventURLWithURL(twice, {{"${v}", longValue}}, {}), twice);
    EXPECT_EQ(VKTTrackingEventManager::string("$v$v", "${v}", longValue), "$v$v");
    EXPECT_EQ(VKTTrackingEventManager::string("$v", "${v}", longValue), "$" + longValue);
}

TEST_F(TrackingEventManager, WhatCannotBeTrackedIsLogged) {
    const auto manager = managerOf({}, {{"M", " "}});
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(true);
    testing::internal::CaptureStdout();
    manager->trackEventByReference(event("start", "http://gone"), {}, {}, true);
    const VKTURL macro = *VKTURL::URLWithString("http://h/%5BM%5D");
    EXPECT_EQ(manager->finalEventURLWithURL(macro, {}, {}), macro);
    const VKTURL variable = *VKTURL::URLWithString("http://h/$v");
    EXPECT_EQ(manager->finalEventURLWithURL(variable, {{"${v}", " "}}, {}), variable);
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(false);
    const std::string output = testing::internal::GetCapturedStdout();
    for (const char* line :
         {"Event tracking cancelled because the event was not contained in the events array: "
          "'http://gone'!\n",
          "Replacing macros in URL 'http://h/%5BM%5D' has resulted in a invalid URL! Using the original URL "
          "instead.\n",
          "Replacing variables in URL 'http://h/$v' has resulted in a invalid URL! Using the original URL "
          "instead.\n"})
        EXPECT_NE(output.find(line), std::string::npos) << output;
    EXPECT_EQ(sent(), (Texts{"0"}));
    EXPECT_TRUE(delegate->heard.empty());
}

TEST_F(TrackingEventManager, AnotherThreadEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto start = event("start", "http://1");
    const auto manager = managerOf({start});
    EXPECT_DEATH(std::thread([&] { manager->trackEvent("start", {}); }).join(),
                 "trackEvent was called off the main thread; post the call to the main run loop");
    EXPECT_DEATH(std::thread([&] { manager->trackEventByReference(start, {}, {}, false); }).join(),
                 "trackEventByReference was called off the main thread");
}

TEST_F(TrackingEventManager, FactoriesSetOffsetsAndFilter) {
    struct Case {
        const char* name;
        std::optional<std::string> offset;
        double ofTwenty, ofUnknown;
    };
    const Case cases[] = {
        {"start", std::nullopt, 0, -1},
        {"firstQuartile", std::nullopt, 5, -1},
        {"midpoint", std::nullopt, 10, -1},
        {"thirdQuartile", std::nullopt, 15, -1},
        {"complete", std::nullopt, 20, -1},
        {"mute", std::nullopt, -1, -1},
        {"progress", "00:00:07.500", 7.5, 7.5},
        {"progress", "40%", 8, -1},
        {"progress", "later", -1, -1},
        {"complete", "00:00:03", 3, 3},
        {"midpoint", "25%", 5, -1},
        {"midpoint", "", 10, -1},
        {"firstQuartile", "00:00:61", 5, -1},
    };
    VKTVASTTrackingEventFactory::VASTTrackingEvents events;
    for (const Case& one : cases)
        events.push_back(event(one.name, "http://h", 99, one.offset));
    for (const double total : {20.0, 0.0}) {
        const auto factory = VKTVASTTrackingEventFactory::initWithVASTTrackingEvents(events, total);
        ASSERT_EQ(factory->trackingEvents(), VKTTrackingEvents(events.begin(), events.end()));
        for (std::size_t i = 0; i < events.size(); ++i)
            EXPECT_EQ(events[i]->eventOffset(), total > 0 ? cases[i].ofTwenty : cases[i].ofUnknown) << i;
    }
    const auto filtered = VKTTrackingEventDefaultFactory::initWithEvents(
        {events[0], events[5]}, [](const auto& one, const auto&) { return !one.isEventConsumable(); });
    EXPECT_EQ(filtered->trackingEvents(), (VKTTrackingEvents{events[5]}));
}

}  // namespace

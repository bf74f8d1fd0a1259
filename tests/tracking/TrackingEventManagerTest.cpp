#include "VKTCoreKit/tracking/VKTVideoTrackingEventManager.h"
#include "VKTCoreKit/vast/VKTVASTViewabilityEvent.h"
#include "tests/tracking/TrackingFixture.h"

namespace {

using TrackingEventManager = TrackingFixture;

TEST_F(TrackingEventManager, ConsumableEventsFireOnceTheLastFirstAndEqualOnesEach) {
    const auto equal = [](const char* url) { return event("start", url, 5, "5%"); };
    const auto viewable = [] { return VKTVASTViewabilityEvent::viewableEventWithURL(urlOf("http://6")); };
    const auto manager = managerOf({event("start", "http://1"), event("mute", "http://2"), equal("http://3"),
                                    equal("http://3"), viewable(), equal("http://4")});
    EXPECT_FALSE(manager->trackEvent("star", {}));
    EXPECT_FALSE(manager->trackEvent("starts", {}));
    manager->trackEventByReference(equal("http://4"), {}, {}, true, false);
    EXPECT_EQ(sent(), (Texts{"1", "http://4"})) << "an equal one stands for it";
    EXPECT_TRUE(manager->trackEvent("start", {}));
    EXPECT_EQ(sent(), (Texts{"1", "http://3", "http://3", "http://1"}));
    EXPECT_FALSE(manager->trackEvent("start", {}));
    EXPECT_EQ(sent(), (Texts{"0"}));
    EXPECT_TRUE(manager->trackEvent("mute", {}));
    manager->trackEventByReference(*manager->events().begin(), {}, {}, true, false);
    EXPECT_EQ(sent(), (Texts{"2", "http://2", "http://2"}));
    manager->trackEventByReference(*std::prev(manager->events().end()), {}, {}, true);
    EXPECT_EQ(sent(), (Texts{"1", "http://6"}));
    EXPECT_EQ(
        loggedBy([&] { manager->trackEventByReference(viewable(), {}, {}, true); }),
        " Event tracking cancelled because the event was not contained in the events array: 'http://6'!\n");
    EXPECT_EQ(sent(), (Texts{"0"}));
    EXPECT_EQ(heard, (Texts{"star 0", "starts 0", "start 3", "start 0", "mute 1", "viewable 1"}));
}

TEST_F(TrackingEventManager, TheDelegateHearsThePixelsBeforeTheirNumber) {
    const auto manager = managerOf<VKTVideoTrackingEventManager>(
        {event("start", "http://1"), event("start", "http://2"), event("progress", "http://3", 3),
         event("skip", "http://4", 4)});
    manager->trackEvent("start", {});
    manager->trackEvent("start", {});
    manager->playbackProgressedToTime(9, {});
    EXPECT_EQ(heardPixels, (Texts{"start after 0 start=http://2 start=http://1", "start after 1",
                                  "progress after 2 progress=http://3", "skip after 3 skip=http://4"}));
    EXPECT_EQ(heard, (Texts{"start 2", "start 0", "progress 1", "skip 1"}));
}

TEST_F(TrackingEventManager, AnEventLeavesByItselfWhateverIsEqualToIt) {
    static std::size_t comparisons = 0;
    struct Equal : VKTTrackingEvent {
        const std::string& eventName() const override { return name; }
        const VKTURL& eventURL() const override { return url; }
        bool isEventConsumable() const override { return true; }
        bool isEqual(const VKTTrackingEvent&) const override { return ++comparisons > 0; }
        std::size_t hash() const override { return 1; }
        const std::string name = "start";
        const VKTURL url = urlOf("http://1");
    };
    VKTTrackingEvents events;
    for (int i = 0; i < 100; ++i)
        events.push_back(std::make_shared<Equal>());
    const auto manager = managerOf(events);
    manager->trackEventByReference(events[50], {}, {}, false);
    const VKTTrackingEvents left(manager->events().begin(), manager->events().end());
    events.erase(events.begin() + 50);
    EXPECT_EQ(left, events);
    manager->trackEvent("start", {});
    EXPECT_TRUE(manager->events().empty());
    EXPECT_EQ(comparisons, 0U) << "their number costs nothing";
}

TEST_F(TrackingEventManager, MacrosAndVariablesAreFilledOrTheTemplateIsSent) {
    struct OfURL : VKTTrackingEventManager {
        explicit OfURL(const VKTTrackingEventManager& other)
            : VKTTrackingEventManager(*VKTTrackingEventDefaultFactory::initWithEvents({}), other.macros(),
                                      nullptr, other.pixelManager()) {}
        VKTReplacements macrosForURL(const VKTURL& url) const override {
            if (url.absoluteString().starts_with("http://throws/")) throw std::runtime_error("of a subclass");
            return {{"U", "own"}};
        }
        VKTReplacements variablesForURL(const VKTURL&) const override { return {{"${u}", "own"}}; }
    };
    const VKTReplacements ofManager{{"CB", "1"},      {"BRACE", "{x}"},    {"BRACKET", "[x]"},
                                    {"LINE", "a\nb"}, {"NEST", "%5BZ%5D"}, {"PERCENT", "50%"}};
    const OfURL manager(*managerOf({}, ofManager));
    const std::string longValue(VKTEventURLLengthLimit / 2, '-');
    const VKTReplacements macros{
        {"CB", "2"}, {"ERRORCODE", "900"}, {"L", longValue}, {"U", "given"}, {"Z", "z"}};
    const VKTReplacements variables{{"${v}", "w"},     {"a{b}c", "x"},  {"{", "no"},         {"{}", "no"},
                                    {"{d}{e}", "no"},  {"{f}g}", "no"}, {"${l}", longValue}, {"plain", "no"},
                                    {"${u}", "given"}, {"${bad}", " "}};
    const std::pair<std::string, std::string> cases[] = {
        {"http://h/?c=%5BCB%5D&e=%5BERRORCODE%5D%5BERRORCODE%5D", "http://h/?c=1&e=900900"},
        {"http://h/[CB]%5bCB%5d%5BXY%5DCB", "http://h/[CB]%5bCB%5d%5BXY%5DCB"},
        {"http://h/%5BNEST%5D/%5BBRACKET%5D", "http://h/z/[x]"},
        {"http://h/%5BU%5D/$u/$v/abc/de/fg/plain", "http://h/own/$own/$w/axc/de/fg/plain"},
        {"http://throws/%5BCB%5D%5BU%5D$u", "http://throws/1given$own"},
        {"http://h/%5BL%5D", "http://h/" + longValue},
        {"http://h/$l", "http://h/$" + longValue},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(manager.finalEventURLWithURL(urlOf(text), variables, macros).absoluteString(), expected);
    const std::string start = "http://h/%5BCB%5D";
    for (const char* end : {"%5BBRACE%5D", "%5BLINE%5D", "%5BPERCENT%5D", "%5BL%5D%5BL%5D", "$bad", "$l$l"}) {
        VKTURL url = urlOf(start + end);
        EXPECT_EQ(loggedBy([&] { url = manager.finalEventURLWithURL(url, variables, macros); }),
                  std::string(" Replacing ") + (*end == '$' ? "variables" : "macros") + " in URL '" + start +
                      end + "' has resulted in a invalid URL! Using the original URL instead.\n");
        EXPECT_EQ(url.absoluteString(), start + end);
    }
}

TEST_F(TrackingEventManager, NullEventsCountAsNone) {
    struct Factory : VKTTrackingEventFactory {
        [[nodiscard]] const VKTTrackingEvents& trackingEvents() const override { return events; }
        VKTTrackingEvents events{nullptr, event("start", "http://1")};
    };
    const auto manager =
        VKTVideoTrackingEventManager::initWithEventFactory(Factory(), {}, nullptr, pixelManager);
    manager->trackEventByReference(nullptr, {}, {}, true);
    EXPECT_TRUE(manager->trackEvent("start", {}));
    EXPECT_EQ(sent(), (Texts{"1", "http://1"}));

    const auto all = [](const auto& /*event*/, const auto& /*bindings*/) { return true; };
    EXPECT_TRUE(VKTTrackingEventDefaultFactory::filterEvents({nullptr}, all).empty());
    EXPECT_TRUE(VKTTrackingEventDefaultFactory::filterEvents({nullptr}, nullptr).empty());
    EXPECT_TRUE(VKTVASTTrackingEventFactory::trackingEventsFromVASTTrackingEvents({nullptr}, 1).empty());
    pixelManager->addPixels({nullptr});
    EXPECT_FALSE(pixelManager->pixelStore()->updatePixel(nullptr));
    EXPECT_TRUE(pixelManager->allPixels().empty());
}

TEST_F(TrackingEventManager, FactoriesSetOffsetsAndFilter) {
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"start", {}},         {"firstQuartile", {}}, {"midpoint", ""},
        {"thirdQuartile", {}}, {"complete", {}},      {"mute", {}},
        {"progress", "40%"},   {"progress", "later"}, {"complete", "00:00:07.500"}};
    VKTVASTTrackingEventFactory::VASTTrackingEvents events;
    for (const auto& [name, offset] : cases)
        events.push_back(event(name, "http://h", 99, offset));
    const std::pair<double, std::vector<double>> offsets[] = {{20, {0, 5, 10, 15, 20, -1, 8, -1, 7.5}},
                                                              {0, {-1, -1, -1, -1, -1, -1, -1, -1, 7.5}}};
    for (const auto& [total, expected] : offsets) {
        const auto factory = VKTVASTTrackingEventFactory::initWithVASTTrackingEvents(events, total);
        ASSERT_EQ(factory->trackingEvents(), VKTTrackingEvents(events.begin(), events.end()));
        for (std::size_t i = 0; i < events.size(); ++i)
            EXPECT_EQ(events[i]->eventOffset(), expected[i]) << i;
    }
    const auto filtered = VKTTrackingEventDefaultFactory::initWithEvents(
        {events[0], events[5]}, [](const auto& one, const auto&) { return !one.isEventConsumable(); });
    EXPECT_EQ(filtered->trackingEvents(), (VKTTrackingEvents{events[5]}));
}

}  // namespace

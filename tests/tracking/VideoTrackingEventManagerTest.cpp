#include "VKTCoreKit/tracking/VKTVideoTrackingEventManager.h"

#include <cmath>
#include <limits>
#include <thread>

#include "VKTCoreKit/foundation/VKTText.h"
#include "tests/tracking/TrackingFixture.h"

namespace {

using Manager = VKTVideoTrackingEventManager;
using VideoTrackingEventManager = TrackingFixture;

TEST_F(VideoTrackingEventManager, EachVideoEventHasItsName) {
    const auto manager = managerOf<Manager>({});
    for (int value = 0; value <= 256; ++value)
        manager->trackVideoEvent(static_cast<VKTVideoEvent>(value), {});
    EXPECT_EQ(vkt_joined(heard, ", "),
              "click 0, creativeView 0, loaded 0, start 0, firstQuartile 0, midpoint 0, thirdQuartile 0, "
              "complete 0, mute 0, unmute 0, pause 0, rewind 0, resume 0, fullscreen 0, exitFullscreen 0, "
              "playerExpand 0, playerCollapse 0, progress 0, timeToClick 0, skip 0, vpaidAdInteraction 0, "
              "firstSecond 0");
}

TEST_F(VideoTrackingEventManager, ProgressFiresWhatIsDueInOrderAndOnce) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const VKTTrackingEvents events{
        event("skip", "http://15", 15),        event("progress", "http://7", 7.5, "50%"),
        event("start", "http://0", 0),         event("progress", "http://7", 7.5, "50%"),
        event("complete", "http://never", -1), event("loaded", "http://never", std::nan(""))};
    auto manager = managerOf<Manager>(events);
    const std::pair<double, Texts> steps[] = {
        {-1, {"0"}},
        {std::nan(""), {"0"}},
        {0, {"1", "http://0"}},
        {7.4, {"0"}},
        {-infinity, {"0"}},
        {7.5, {"1", "http://7", "http://7"}},
        {0, {"0"}},
        {infinity, {"1", "http://15"}},
        {infinity, {"0"}},
    };
    for (const auto& [time, expected] : steps) {
        manager->playbackProgressedToTime(time, {});
        EXPECT_EQ(sent(), expected) << time;
    }
    EXPECT_EQ(heard, (Texts{"start 1", "progress 1", "progress 1", "skip 1"}));
    manager->trackVideoEvent(VKTVideoEventComplete, {});
    manager->trackVideoEvent(VKTVideoEventSkip, {});  // not consumable: by name it fires again
    EXPECT_EQ(sent(), (Texts{"2", "http://never", "http://15"}));

    manager = managerOf<Manager>(events);
    manager->trackVideoEvent(VKTVideoEventStart, {});
    sent();
    saves = 0;
    manager->playbackProgressedToTime(20, {});
    EXPECT_EQ(saves, 1U);
    EXPECT_EQ(sent(), (Texts{"1", "http://7", "http://7", "http://15"}));
    EXPECT_TRUE(manager->videoEvents().empty());
}

TEST_F(VideoTrackingEventManager, KeepsItsOffsetsWhenTheEventsGetOthers) {
    const VKTVASTTrackingEventFactory::VASTTrackingEvents shared{event("midpoint", "http://50"),
                                                                 event("firstQuartile", "http://25")};
    const auto managerOfAd = [&](double seconds) {
        const auto factory = VKTVASTTrackingEventFactory::initWithVASTTrackingEvents(shared, seconds);
        return Manager::initWithEventFactory(*factory, {}, nullptr, pixelManager);
    };
    const auto first = managerOfAd(20);
    const auto second = managerOfAd(4);
    first->playbackProgressedToTime(5, {});
    EXPECT_EQ(sent(), (Texts{"1", "http://25"}));
    second->playbackProgressedToTime(2, {});
    EXPECT_EQ(sent(), (Texts{"1", "http://25", "http://50"}));
    EXPECT_EQ(shared[0]->eventOffset(), 2);
}

TEST_F(VideoTrackingEventManager, AnotherThreadEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto start = event("start", "http://1");
    const auto manager = managerOf<Manager>({start});
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"trackEvent", [&] { manager->trackEvent("mute", {}); }},
        {"trackEventByReference", [&] { manager->trackEventByReference(start, {}, {}, false, true); }},
        {"trackEventByReference", [&] { manager->trackEventByReference(start, {}, {}, false); }},
        {"trackVideoEvent", [&] { manager->trackVideoEvent(static_cast<VKTVideoEvent>(99), {}); }},
        {"playbackProgressedToTime", [&] { manager->playbackProgressedToTime(0, {}); }}};
    for (const auto& [name, operation] : operations) {
        EXPECT_DEATH(std::thread(operation).join(),
                     std::string(name) + " was called off the main thread; post the call");
    }
}

TEST_F(VideoTrackingEventManager, ADelegateThatThrowsLosesNoPixel) {
    const auto manager = managerOf<Manager>(
        {event("start", "http://0", 0), event("midpoint", "http://5", 5), event("mute", "http://m")});
    onEvent = [](VKTTrackingEventManager& /*one*/) { throw std::runtime_error("of the player"); };
    manager->playbackProgressedToTime(9, {});
    EXPECT_EQ(sent(), (Texts{"1", "http://0", "http://5"}));
    manager->trackEvent("mute", {});
    EXPECT_EQ(sent(), (Texts{"1", "http://m"}));
}

TEST_F(VideoTrackingEventManager, AProviderThatThrowsLosesNoPixel) {
    const auto manager =
        managerOf<Manager>({event("start", "http://0", 0), event("midpoint", "http://5", 5)});
    onSave = [] { throw std::runtime_error("of the disk"); };
    manager->playbackProgressedToTime(9, {});
    EXPECT_EQ(sent(), (Texts{"1", "http://0", "http://5"}));
}

TEST_F(VideoTrackingEventManager, TheDelegateMayTrackAndLetGo) {
    auto manager = managerOf<Manager>({event("skip", "http://0", 0), event("start", "http://5", 5),
                                       event("progress", "http://9", 9), event("mute", "http://m")});
    onEvent = [&](VKTTrackingEventManager& one) {
        if (!manager) return;
        const auto last = std::exchange(manager, nullptr);
        EXPECT_EQ(one.pixelManager()->allPixels().size(), 1U);
        last->playbackProgressedToTime(5, {});
        last->trackEvent("start", {});
        last->trackEventByReference(last->videoEvents().front(), {}, {}, true);
    };
    manager->playbackProgressedToTime(10, {});
    EXPECT_EQ(sent(), (Texts{"3", "http://0", "http://5", "http://9"}));
    manager = managerOf<Manager>({event("mute", "http://m")});
    onEvent = [&](VKTTrackingEventManager& one) {
        manager = nullptr;
        EXPECT_EQ(one.events().size(), 1U);
    };
    EXPECT_TRUE(manager->trackEvent("mute", {}));
    EXPECT_EQ(heard, (Texts{"skip 1", "start 1", "start 0", "progress 1", "mute 1"}));
}

}  // namespace

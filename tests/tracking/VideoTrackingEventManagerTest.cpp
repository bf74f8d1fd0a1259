#include "VKTCoreKit/tracking/VKTVideoTrackingEventManager.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "tests/tracking/TrackingFixture.h"

// Counts every allocation of the program. Not inlined: GCC takes `free` for the wrong end of `new` then.
static std::atomic<std::size_t> allocations = 0;

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    ++allocations;
    return std::malloc(size);
}
void* operator new(std::size_t size) {
    if (void* memory = operator new(size, std::nothrow)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace {

using Manager = VKTVideoTrackingEventManager;
using VideoTrackingEventManager = TrackingFixture;

TEST_F(VideoTrackingEventManager, EachVideoEventHasItsName) {
    const char* names[] = {"click",         "creativeView",   "loaded",
                           "start",         "firstQuartile",  "midpoint",
                           "thirdQuartile", "complete",       "mute",
                           "unmute",        "pause",          "rewind",
                           "resume",        "fullscreen",     "exitFullscreen",
                           "playerExpand",  "playerCollapse", "progress",
                           "timeToClick",   "skip",           "vpaidAdInteraction",
                           "firstSecond"};
    const auto manager = managerOf<Manager>({});
    Texts expected;
    for (int value = 0; value < 30; ++value)
        manager->trackVideoEvent(static_cast<VKTVideoEvent>(value), {});
    for (const char* name : names)
        expected.push_back(std::string(name) + " 0");
    EXPECT_EQ(delegate->heard, expected);
}

TEST_F(VideoTrackingEventManager, ProgressFiresWhatIsDueInOrderAndOnce) {
    const auto events = [] {
        return VKTTrackingEvents{event("skip", "http://15", 15), event("progress", "http://7a", 7.5),
                                 event("start", "http://0", 0), event("progress", "http://7b", 7.5),
                                 event("complete", "http://never", -1)};
    };
    auto manager = managerOf<Manager>(events());
    const std::pair<double, Texts> steps[] = {
        {-1, {"0"}}, {0.1, {"1", "http://0"}}, {7.4, {"0"}}, {8, {"1", "http://7a", "http://7b"}},
        {0, {"0"}},  {20, {"1", "http://15"}}, {99, {"0"}},
    };
    for (const auto& [time, expected] : steps) {
        manager->playbackProgressedToTime(time, {});
        EXPECT_EQ(sent(), expected) << time;
    }
    EXPECT_EQ(delegate->heard, (Texts{"start 1", "progress 1", "progress 1", "skip 1"}));
    manager->trackVideoEvent(VKTVideoEventComplete, {});
    manager->trackVideoEvent(VKTVideoEventSkip, {});  // not consumable: by name it fires again
    EXPECT_EQ(sent(), (Texts{"2", "http://never", "http://15"}));

    manager = managerOf<Manager>(events());
    manager->trackVideoEvent(VKTVideoEventStart, {});
    sent();
    manager->playbackProgressedToTime(20, {});
    EXPECT_EQ(sent(), (Texts{"1", "http://7a", "http://7b", "http://15"}));
    EXPECT_TRUE(manager->videoEvents().empty());
}

TEST_F(VideoTrackingEventManager, TheDelegateMayTrackAndLetGo) {
    auto manager = managerOf<Manager>({event("start", "http://0", 0), event("skip", "http://5", 5),
                                       event("progress", "http://9", 9), event("mute", "http://m")});
    delegate->onEvent = [&](auto&) {
        if (!manager) return;
        const auto last = std::exchange(manager, nullptr);
        last->playbackProgressedToTime(5, {});
        last->trackEvent("start", {});
        last->trackEventByReference(last->videoEvents().front(), {}, {}, true);
    };
    manager->playbackProgressedToTime(10, {});
    EXPECT_EQ(sent(), (Texts{"3", "http://0", "http://5", "http://9"}));
    EXPECT_EQ(delegate->heard, (Texts{"start 1", "skip 1", "start 0", "progress 1"}));
    delegate->heard.clear();
    manager = managerOf<Manager>({event("mute", "http://m")});
    delegate->onEvent = [&](auto& one) {
        manager = nullptr;
        EXPECT_TRUE(one.events().size() == 1);
    };
    EXPECT_TRUE(manager->trackEvent("mute", {}));
    EXPECT_EQ(delegate->heard, (Texts{"mute 1"}));
}

TEST_F(VideoTrackingEventManager, ASeekOverManyEventsSavesOnceAndATickAllocatesNothing) {
    constexpr std::size_t count = 10'000;
    VKTTrackingEvents events;
    for (std::size_t i = 0; i < count; ++i)
        events.push_back(event("progress", "http://h/" + std::to_string(i), 1 + static_cast<double>(i / 2),
                               std::to_string(i / 2)));
    const auto manager = managerOf<Manager>(events);
    const std::size_t before = allocations;
    manager->playbackProgressedToTime(0.25, {});
    EXPECT_EQ(allocations, before);
    manager->playbackProgressedToTime(1e6, {});
    EXPECT_GT(allocations, before + count);
    EXPECT_EQ(provider->saves, 1U);
    const VKTPixels pixels = pixelManager->allPixels();
    ASSERT_EQ(pixels.size(), count);
    for (std::size_t i = 0; i < count; ++i)
        EXPECT_EQ(pixels[i]->url(), events[i]->eventURL());
    manager->playbackProgressedToTime(2e6, {});
    EXPECT_EQ(sent().size(), 1 + count);
}

}  // namespace

// Filling one event's URL, and a progress call that finds nothing due.
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>

#include "Pairs.h"
#include "VKTCoreKit/tracking/VKTVideoTrackingEventManager.h"

static thread_local std::size_t allocations = 0;

std::size_t allocationCount() {
    return allocations;
}

// Not inlined: GCC takes the library's `delete` for the wrong end of `malloc` then.
[[gnu::noinline]] void* operator new(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}

namespace {

using Events = std::vector<std::shared_ptr<VKTVASTTrackingEvent>>;

// Each measured 1,000 times in a row, so the printed microseconds are nanoseconds of one.
constexpr int batch = 1000;

const VKTReplacements macros{{"APIFRAMEWORKS", "7,8"},
                             {"APPBUNDLE", "com.example.television"},
                             {"CACHEBUSTING", "12345678"},
                             {"OMIDPARTNER", "example/1.2.3"},
                             {"TIMESTAMP", "2024-03-05T08:08:09.123%2B0100"},
                             {"VASTVERSIONS", "2,3,5,6,7,8,11,12"},
                             {"VERIFICATIONVENDORS", "example.com-omid"}};

// 300 bytes with each macro once.
VKTURL templateURL() {
    std::string text = "https://tracker.example.com/v1/event?e=start";
    for (const auto& [name, value] : macros)
        text += "&p=%5B" + name + "%5D";
    text += "&pad=";
    text.resize(300, 'x');
    return VKTURL::URLWithString(text).value();
}

std::shared_ptr<VKTVideoTrackingEventManager> managerOf(const Events& events) {
    const auto factory = VKTVASTTrackingEventFactory::initWithVASTTrackingEvents(events, 30);
    return VKTVideoTrackingEventManager::initWithEventFactory(*factory, macros, nullptr);
}

// The least that filling can cost: the result written once and looked through once for what to fill.
void copyAndScan(const std::string& result, std::string& room) {
    std::memcpy(room.data(), result.data(), result.size());
    if (std::memchr(room.data(), '\0', result.size()) != nullptr) fail("the filled URL has a zero byte");
}

// The least that a call can cost: one comparison behind a pointer.
bool isDue(const double& offset, double time) {
    return offset <= time;
}

}  // namespace

void addTrackingBenchmarks() {
    const VKTURL url = templateURL();
    const auto manager = managerOf({});
    const std::string result = manager->finalEventURLWithURL(url, {}, {}).absoluteString();
    if (result.find("%5B") != std::string::npos || url.absoluteString().size() != 300)
        fail("the template is not of 300 bytes, or not all of it is filled");
    addPair(
        "macro_fill_x1000",
        [manager, url, result] {
            for (int i = 0; i < batch; ++i) {
                if (manager->finalEventURLWithURL(url, {}, {}).absoluteString().size() != result.size())
                    fail("a URL was filled otherwise than the first one");
            }
        },
        [result, room = std::string(result.size(), ' ')]() mutable {
            for (int i = 0; i < batch; ++i)
                copyAndScan(result, room);
        });

    const auto player = managerOf({VKTVASTTrackingEvent::initWithName("complete", std::nullopt, url)});
    addPair(
        "progress_tick_x1000",
        [player] {
            const std::size_t before = allocations;
            for (int i = 0; i < batch; ++i)
                player->playbackProgressedToTime(i / 100.0, {});
            if (player->videoEvents().size() != 1) fail("a progress call fired what was not due");
            if (allocations != before) fail("a progress call that finds nothing due asks for memory");
        },
        [due = &isDue, offset = 30.0] {
            bool (*volatile indirect)(const double&, double) = due;
            for (int i = 0; i < batch; ++i) {
                if (indirect(offset, i / 100.0)) fail("the comparison is wrong");
            }
        });
}

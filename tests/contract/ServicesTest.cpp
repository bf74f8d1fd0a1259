#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <thread>

#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "VKTCoreKit/platform/linux/VKTSystemClock.h"
#include "VKTCoreKit/platform/linux/VKTSystemRandom.h"
#include "VKTCoreKit/platform/testing/VKTFixedRandomSource.h"
#include "VKTCoreKit/platform/testing/contract/VKTRandomSourceContract.h"
#include "VKTCoreKit/platform/testing/contract/VKTServicesContract.h"
#include "tests/support/VKTThreadNames.h"

namespace {

INSTANTIATE_TEST_SUITE_P(
    Ours, VKTRandomSourceContract,
    testing::Values(VKTRandomSourceMaker{"system", [] { return std::make_shared<VKTSystemRandom>(); }},
                    VKTRandomSourceMaker{"fixed", [] {
                                             return std::make_shared<VKTFixedRandomSource>(
                                                 std::vector<std::uint32_t>{0, 1, 5, 4'000'000'000U});
                                         }}));

TEST(Services, LocalOffsetKnowsDaylightSaving) {
    const char* old = std::getenv("TZ");
    const std::string saved = old == nullptr ? "" : old;
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    using std::chrono::sys_days;
    EXPECT_EQ(vkt_localOffsetFromUTC(sys_days{std::chrono::January / 15 / 2024}), std::chrono::hours(1));
    EXPECT_EQ(vkt_localOffsetFromUTC(sys_days{std::chrono::July / 15 / 2024}), std::chrono::hours(2));
    // 32 bits of seconds that wrapped around would be in the summer of 1964.
    EXPECT_EQ(vkt_localOffsetFromUTC(sys_days{std::chrono::November / 10 / 2100}), std::chrono::hours(1));
    old == nullptr ? unsetenv("TZ") : setenv("TZ", saved.c_str(), 1);
    tzset();
}

using Draws = std::array<std::uint32_t, 16>;

Draws draws() {
    Draws result{};
    for (std::uint32_t& draw : result)
        draw = VKTSystemRandom().uniform(std::numeric_limits<std::uint32_t>::max());
    return result;
}

TEST(Random, AForkedChildDrawsItsOwn) {
    draws();  // some more are drawn ahead
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const pid_t child = fork();
    if (child == 0) {
        const Draws own = draws();
        _exit(write(ends[1], own.data(), sizeof own) == sizeof own ? 0 : 1);
    }
    Draws ofChild{};
    EXPECT_EQ(read(ends[0], ofChild.data(), sizeof ofChild), static_cast<ssize_t>(sizeof ofChild));
    EXPECT_NE(ofChild, draws());
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
}

TEST(Clock, SystemClockTellsTheTimeOfDay) {
    const auto difference = VKTSystemClock().now() - std::chrono::system_clock::now();
    EXPECT_LT(std::chrono::abs(difference), std::chrono::seconds(5));
}

TEST(Platform, StartsNoThreadBeforeItIsNeeded) {
    std::thread([] {}).join();  // a sanitizer may start a thread of its own with the first one
    const auto before = vkt_threadNames().size();
    {
        const VKTPlatform platform = vkt_makeDefaultPlatform();
        EXPECT_NE(platform.makeXMLEventReader("<a/>"), nullptr);
        EXPECT_EQ(vkt_threadNames().size(), before);
        platform.passbackPool->post([] {});
        EXPECT_EQ(vkt_threadNames().size(), before + 1);
    }
    EXPECT_EQ(vkt_threadNames().size(), before);
}

TEST(Platform, MainLoopBelongsToTheMainThreadWhoeverMakesIt) {
    std::shared_ptr<VKTRunLoop> loop;
    std::thread([&] {
        loop = vkt_makeDefaultPlatform().mainRunLoop;
        EXPECT_FALSE(loop->isCurrentThread());
    }).join();
    EXPECT_TRUE(loop->isCurrentThread());
}

}  // namespace

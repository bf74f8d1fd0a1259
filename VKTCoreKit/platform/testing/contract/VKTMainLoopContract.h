// The contract of what the library calls of a main loop.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>

#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/platform/testing/contract/VKTContractMaker.h"

/// A loop of the calling thread, and how that thread runs it.
struct VKTMainLoopSubject {
    std::shared_ptr<VKTMainLoop> loop;

    /// Runs the loop until `done` holds, which is asked at least after each task, or for 5 seconds. True when
    /// it holds.
    std::function<bool(const std::function<bool()>& done)> runUntil;

    /// The time that the loop's delays pass by. It may begin anywhere.
    std::function<std::chrono::nanoseconds()> now = [] {
        return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch());
    };

    /// False for a loop that ends when nothing is left to run, though another thread might post.
    bool waitsForOtherThreads = true;
};

using VKTMainLoopMaker = VKTContractMaker<VKTMainLoopSubject>;

/// The subject of a loop that runs itself.
inline VKTMainLoopSubject vkt_subjectOfRunLoop(const std::shared_ptr<VKTRunLoop>& loop) {
    return {.loop = loop, .runUntil = [loop](const std::function<bool()>& done) {
                return loop->runUntil(done, std::chrono::seconds(5));
            }};
}

class VKTMainLoopContract : public testing::TestWithParam<VKTMainLoopMaker> {
  protected:
    VKTTask note(char c) {
        return [this, c] { log_ += c; };
    }

    bool runUntilLogged(std::size_t count) {
        return subject_.runUntil([&] { return log_.size() >= count; });
    }

    std::string log_;
    VKTMainLoopSubject subject_ = GetParam().make();
};

TEST_P(VKTMainLoopContract, RunsInOrderAndNeverAtOnce) {
    VKTMainLoop& loop = *subject_.loop;
    loop.post(note('a'));
    loop.post([&] {
        loop.post(note('c'));
        EXPECT_EQ(log_, "a") << "within a task";
    });
    loop.post(note('b'));
    EXPECT_EQ(log_, "");
    EXPECT_TRUE(runUntilLogged(3));
    EXPECT_EQ(log_, "abc");
}

TEST_P(VKTMainLoopContract, TimersRunByTheirDelayAndNeverEarly) {
    using namespace std::chrono_literals;
    VKTMainLoop& loop = *subject_.loop;
    const auto start = subject_.now();
    loop.postAfter(20ms, note('c'));
    const auto timer = loop.schedule(10ms, [&] {
        EXPECT_GE(subject_.now() - start, 10ms);
        log_ += 'b';
    });
    loop.postAfter(-1s, note('a'));
    loop.postAfter(1e300s, note('x'));
    EXPECT_TRUE(runUntilLogged(3));
    EXPECT_GE(subject_.now() - start, 20ms);
    EXPECT_EQ(log_, "abc");
}

TEST_P(VKTMainLoopContract, CancelledTimersDoNotRun) {
    using namespace std::chrono_literals;
    VKTMainLoop& loop = *subject_.loop;
    std::unique_ptr<VKTRunLoopTimer> due;
    loop.post([&] { due->cancel(); });
    due = loop.schedule(0ms, note('x'));
    const auto kept = loop.schedule(10ms, note('k'));
    const auto cancelled = loop.schedule(0ms, note('x'));
    auto destroyed = loop.schedule(0ms, note('x'));
    cancelled->cancel();
    destroyed.reset();
    EXPECT_TRUE(runUntilLogged(1));
    EXPECT_EQ(log_, "k");
    kept->cancel();
}

TEST_P(VKTMainLoopContract, ATimerMayGoWithinItsOwnCall) {
    std::unique_ptr<VKTRunLoopTimer> own;
    own = subject_.loop->schedule(VKTTimeInterval(0), [&, kept = std::string(100, 'o')] {
        own.reset();
        log_ += kept;
    });
    EXPECT_TRUE(runUntilLogged(1));
    EXPECT_EQ(log_, std::string(100, 'o'));
}

TEST_P(VKTMainLoopContract, DropsWhatIsLeftWhenItGoesAndTimersMayOutliveIt) {
    const auto held = std::make_shared<int>();
    const auto timer = subject_.loop->schedule(std::chrono::hours(1), [held] {});
    subject_.loop->post([this, held] { log_ += 'x'; });
    subject_ = {};
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(log_, "");
    timer->cancel();
}

TEST_P(VKTMainLoopContract, KnowsItsThread) {
    VKTMainLoop& loop = *subject_.loop;
    EXPECT_TRUE(loop.isCurrentThread());
    std::thread([&] { EXPECT_FALSE(loop.isCurrentThread()); }).join();
    loop.post([&] { log_ += loop.isCurrentThread() ? 'y' : 'n'; });
    EXPECT_TRUE(runUntilLogged(1));
    EXPECT_EQ(log_, "y");
}

TEST_P(VKTMainLoopContract, TakesPostsOfOtherThreadsInTheirOrder) {
    VKTMainLoop& loop = *subject_.loop;
    std::latch isRunning(1);
    loop.post([&] {
        log_ += 'a';
        isRunning.count_down();
    });
    std::jthread poster([&] {
        if (subject_.waitsForOtherThreads) isRunning.wait();  // and perhaps the loop waits by now
        for (char c = 'b'; c <= 'z'; ++c)
            loop.post(note(c));
        loop.postAfter(VKTTimeInterval(0), note('!'));
    });
    if (!subject_.waitsForOtherThreads) poster.join();
    EXPECT_TRUE(runUntilLogged(27));
    EXPECT_EQ(log_, "abcdefghijklmnopqrstuvwxyz!");
}

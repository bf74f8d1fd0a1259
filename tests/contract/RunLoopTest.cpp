#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <latch>
#include <string>
#include <thread>

#include "VKTCoreKit/platform/linux/VKTAsioQueues.h"
#include "VKTCoreKit/platform/linux/VKTLinuxRunLoop.h"
#include "VKTCoreKit/platform/linux/VKTThreadPool.h"
#include "VKTCoreKit/platform/testing/VKTManualRunLoop.h"
#include "VKTCoreKit/platform/testing/VKTSimulatedRunLoop.h"
#include "VKTCoreKit/platform/testing/contract/VKTConcurrentPoolContract.h"
#include "VKTCoreKit/platform/testing/contract/VKTMainLoopContract.h"
#include "VKTCoreKit/platform/testing/contract/VKTRunLoopContract.h"
#include "VKTCoreKit/platform/testing/contract/VKTSerialQueueContract.h"
#include "tests/support/VKTRecordedLog.h"
#include "tests/support/VKTThreadNames.h"

using namespace std::chrono_literals;

namespace {

VKTMainLoopSubject manualSubject() {
    const auto clock = std::make_shared<VKTManualClock>();
    VKTMainLoopSubject subject = vkt_subjectOfRunLoop(std::make_shared<VKTManualRunLoop>(clock));
    subject.now = [clock] { return clock->monotonicNow(); };
    subject.waitsForOtherThreads = false;
    return subject;
}

VKTMainLoopSubject simulatedSubject() {
    const auto loop = std::make_shared<VKTSimulatedRunLoop>(0);
    VKTMainLoopSubject subject = vkt_subjectOfRunLoop(loop);
    subject.now = [loop] { return loop->monotonicNow(); };
    return subject;
}

const VKTRunLoopMaker runLoops[] = {
    {"linux", vkt_makeLinuxRunLoop},
    {"manual", [] { return std::make_shared<VKTManualRunLoop>(std::make_shared<VKTManualClock>()); }},
    {"simulated", [] { return std::make_shared<VKTSimulatedRunLoop>(0); }}};

INSTANTIATE_TEST_SUITE_P(Ours, VKTRunLoopContract, testing::ValuesIn(runLoops));

INSTANTIATE_TEST_SUITE_P(
    Ours, VKTMainLoopContract,
    testing::Values(VKTMainLoopMaker{"linux", [] { return vkt_subjectOfRunLoop(vkt_makeLinuxRunLoop()); }},
                    VKTMainLoopMaker{"manual", manualSubject},
                    VKTMainLoopMaker{"simulated", simulatedSubject}));

INSTANTIATE_TEST_SUITE_P(
    Ours, VKTSerialQueueContract,
    testing::Values(VKTSerialQueueMaker{"asio", [] { return vkt_makeAsioSerialQueue(); }},
                    VKTSerialQueueMaker{"manual", [] { return std::make_unique<VKTManualSerialQueue>(); }}));

INSTANTIATE_TEST_SUITE_P(
    Ours, VKTConcurrentPoolContract,
    testing::Values(
        VKTConcurrentPoolMaker{"threads", [] { return VKTConcurrentPoolSubject{vkt_makeThreadPool(1)}; }},
        VKTConcurrentPoolMaker{"manual", [] {
                                   return VKTConcurrentPoolSubject{std::make_unique<VKTManualPool>(), false};
                               }}));

// What an application writes over a loop that it runs itself.
class LoopOfTheApplication final : public VKTRunLoop {
  public:
    void post(VKTTask task) override { loop_->post(std::move(task)); }
    void postAfter(VKTTimeInterval delay, VKTTask task) override { loop_->postAfter(delay, std::move(task)); }
    [[nodiscard]] std::unique_ptr<VKTRunLoopTimer> schedule(VKTTimeInterval delay, VKTTask task) override {
        return loop_->schedule(delay, std::move(task));
    }
    [[nodiscard]] bool isCurrentThread() const override { return loop_->isCurrentThread(); }

  private:
    const std::shared_ptr<VKTRunLoop> loop_ = vkt_makeLinuxRunLoop();
};

TEST(RunLoop, OneThatTheApplicationRunsNeedsNoOperationThatRunsItAndSaysSoOnce) {
    VKTRecordedLog log;
    LoopOfTheApplication loop;
    loop.post([] { FAIL(); });
    loop.run();
    loop.stop();
    EXPECT_EQ(loop.drain(), 0U);
    EXPECT_TRUE(loop.runUntil([] { return true; }, 0s));
    EXPECT_FALSE(loop.runUntil([] { return false; }, 1h));
    const auto lines = log.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines.front().find("the application runs this loop itself"), std::string::npos)
        << lines.front();
}

TEST(SimulatedRunLoop, RunsTasksAtTheirExactTimesAndLetsOthersInWhileItIsHeld) {
    VKTSimulatedRunLoop loop(0);
    const VKTDate start = loop.now();
    std::thread poster;
    bool isIn = false;
    loop.postAfter(1h, [&] {
        EXPECT_EQ(loop.monotonicNow(), 1h);
        loop.postAfter(1h, [&] { EXPECT_TRUE(isIn); });
        poster = std::thread([&] { loop.post([&] { isIn = true; }); });
        EXPECT_TRUE(loop.holdUntil([&] { return isIn; }, 5s));
        EXPECT_EQ(loop.now() - start, 1h);
        EXPECT_FALSE(loop.holdUntil([] { return false; }, 1ms)) << "what is not due waits";
    });
    EXPECT_TRUE(loop.runUntil([&] { return loop.monotonicNow() == 2h; }, 5s));
    poster.join();
}

TEST(SimulatedRunLoop, RunsInRealTimeForAWhile) {
    VKTSimulatedRunLoop loop(0);
    loop.postAfter(1h, [] {});
    EXPECT_FALSE(loop.runInRealTimeUntil([] { return false; }, 20ms)) << "an hour takes an hour";
    loop.postAfter(10ms, [] {});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(loop.runInRealTimeUntil([&] { return loop.monotonicNow() == 10ms; }, 60s));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 9ms);
    EXPECT_TRUE(loop.runUntil([&] { return loop.monotonicNow() == 1h; }, 60s)) << "and is fast again";
}

TEST(LinuxRunLoop, GivesUpAtItsTimeoutThoughThereIsAlwaysSomethingToRun) {
    const auto loop = vkt_makeLinuxRunLoop();
    const auto end = std::chrono::steady_clock::now() + 10s;
    VKTTask again = [&] {
        if (std::chrono::steady_clock::now() < end) loop->post(again);
    };
    loop->post(again);
    EXPECT_FALSE(loop->runUntil([] { return false; }, 10ms));
    EXPECT_LT(std::chrono::steady_clock::now(), end);
}

TEST(AsioSerialQueue, MayEndOnItsOwnThread) {
    std::latch ended(2);
    auto queue = vkt_makeAsioSerialQueue();
    VKTSerialQueue& posted = *queue;
    posted.post([&] {
        queue->post([&] { ended.count_down(); });
        queue.reset();
        ended.count_down();
    });
    ended.wait();
    EXPECT_FALSE(queue);
}

TEST(ThreadPool, RunsAsManyAtOnceAsItHasThreads) {
    constexpr int threads = 3;
    std::latch together(threads);
    std::latch finished(20);
    std::atomic<int> running = 0;
    std::atomic<bool> isExceeded = false;
    const auto pool = vkt_makeThreadPool(threads);
    for (int i = 0; i < 20; ++i) {
        pool->post([&, i] {
            if (++running > threads) isExceeded = true;
            if (i < threads) together.arrive_and_wait();
            --running;
            finished.count_down();
        });
    }
    finished.wait();
    EXPECT_FALSE(isExceeded);
}

TEST(ThreadPool, GivesAGroupThatWaitsAThreadBeyondItsLimitWhileThatIsNeeded) {
    constexpr std::size_t threads = 2;
    std::latch isFull(threads);
    std::latch mayEnd(1);
    std::latch othersHaveEnded(3);
    std::atomic<std::size_t> greedy = 0;
    const auto pool = vkt_makeThreadPool(threads, "vkt-groups");
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(pool->tryPostInGroup(
            [&] {
                if (++greedy <= threads) isFull.count_down();
                mayEnd.wait();
            },
            &greedy));
    }
    isFull.wait();
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(pool->tryPostInGroup([&] { othersHaveEnded.count_down(); }, &othersHaveEnded));
    othersHaveEnded.wait();
    while (vkt_threadNames().count("vkt-groups") > threads)
        std::this_thread::yield();
    EXPECT_EQ(greedy, threads);
    mayEnd.count_down();
}

TEST(ThreadPool, HasNoThreadInAForkedChild) {
    auto pool = vkt_makeThreadPool(1);
    std::latch hasRun(1);
    ASSERT_TRUE(pool->tryPost([&] { hasRun.count_down(); }));
    hasRun.wait();
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);  // ends it when it hangs
        const bool isPosted = pool->tryPost([] {});
        pool.reset();
        _exit(isPosted ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(ThreadPool, MayEndOnItsOwnThreadAndThenWaitsForNobody) {
    std::latch started(1);
    std::latch isGone(1);
    std::latch ended(2);
    auto pool = vkt_makeThreadPool(2);
    pool->post([&] {
        started.count_down();
        isGone.wait();
        ended.count_down();
    });
    started.wait();
    pool->post([&] {
        pool.reset();
        isGone.count_down();
        ended.count_down();
    });
    ended.wait();
}

}  // namespace

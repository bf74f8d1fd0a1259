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
#include "tests/support/VKTThreadNames.h"

using namespace std::chrono_literals;

namespace {

struct LinuxSubject {
    std::shared_ptr<VKTRunLoop> loop = vkt_makeLinuxRunLoop();
    std::unique_ptr<VKTSerialQueue> queue = vkt_makeAsioSerialQueue();
    std::unique_ptr<VKTConcurrentPool> pool = vkt_makeThreadPool(1);
};

struct ManualSubject {
    std::shared_ptr<VKTRunLoop> loop = std::make_shared<VKTManualRunLoop>(std::make_shared<VKTManualClock>());
    std::unique_ptr<VKTSerialQueue> queue = std::make_unique<VKTManualSerialQueue>();
    std::unique_ptr<VKTConcurrentPool> pool = std::make_unique<VKTManualPool>();
};

struct SimulatedSubject : ManualSubject {
    SimulatedSubject() { loop = std::make_shared<VKTSimulatedRunLoop>(0); }
};

template <typename Subject>
class RunLoopContract : public testing::Test {
  protected:
    VKTTask note(char c) {
        return [this, c] { log_ += c; };
    }

    bool runUntilLogged(std::size_t count) {
        return subject_.loop->runUntil([&] { return log_.size() >= count; }, 5s);
    }

    std::string log_;
    Subject subject_;
};

using Subjects = testing::Types<LinuxSubject, ManualSubject, SimulatedSubject>;
TYPED_TEST_SUITE(RunLoopContract, Subjects);

TYPED_TEST(RunLoopContract, RunsInOrderAndNeverAtOnce) {
    VKTRunLoop& loop = *this->subject_.loop;
    loop.post(this->note('a'));
    loop.post([&] { loop.post(this->note('c')); });
    loop.post(this->note('b'));
    EXPECT_EQ(this->log_, "");
    EXPECT_EQ(loop.drain(), 4U);
    EXPECT_EQ(this->log_, "abc");
}

TYPED_TEST(RunLoopContract, TimersRunByTheirDelay) {
    VKTRunLoop& loop = *this->subject_.loop;
    loop.postAfter(20ms, this->note('c'));
    loop.postAfter(10ms, this->note('b'));
    loop.postAfter(-1s, this->note('a'));
    loop.postAfter(1e300s, this->note('x'));
    EXPECT_TRUE(this->runUntilLogged(3));
    EXPECT_EQ(this->log_, "abc");
}

TYPED_TEST(RunLoopContract, CancelledTimersDoNotRun) {
    VKTRunLoop& loop = *this->subject_.loop;
    const auto kept = loop.schedule(10ms, this->note('k'));
    const auto cancelled = loop.schedule(0ms, this->note('x'));
    auto destroyed = loop.schedule(0ms, this->note('x'));
    cancelled->cancel();
    destroyed.reset();
    // A timer may go within its own tick.
    std::unique_ptr<VKTRunLoopTimer> own;
    own = loop.schedule(0ms, [&] {
        own.reset();
        this->log_ += 'o';
    });
    EXPECT_TRUE(this->runUntilLogged(2));
    EXPECT_EQ(this->log_, "ok");
    kept->cancel();
}

TYPED_TEST(RunLoopContract, TimerMayOutliveTheLoop) {
    const auto held = std::make_shared<int>();
    const auto timer = this->subject_.loop->schedule(1h, [held] {});
    this->subject_.loop.reset();
    EXPECT_EQ(held.use_count(), 1);
    timer->cancel();
}

TYPED_TEST(RunLoopContract, RunUntilGivesUpAtItsTimeout) {
    EXPECT_FALSE(this->subject_.loop->runUntil([] { return false; }, 10ms));
    EXPECT_TRUE(this->subject_.loop->runUntil([] { return true; }, 0s));
}

TYPED_TEST(RunLoopContract, StopEndsRunAfterTheCurrentTask) {
    VKTRunLoop& loop = *this->subject_.loop;
    loop.post([&] {
        loop.stop();
        this->log_ += 'a';
    });
    loop.post(this->note('b'));
    loop.run();
    loop.stop();  // before `run`: ends it at once
    loop.run();
    EXPECT_EQ(this->log_, "a");
    loop.drain();
    EXPECT_EQ(this->log_, "ab");
}

TYPED_TEST(RunLoopContract, BelongsToItsMakerUntilAnotherThreadRunsIt) {
    VKTRunLoop& loop = *this->subject_.loop;
    EXPECT_TRUE(loop.isCurrentThread());
    std::thread([&] {
        EXPECT_FALSE(loop.isCurrentThread());
        loop.drain();
        EXPECT_TRUE(loop.isCurrentThread());
    }).join();
    EXPECT_FALSE(loop.isCurrentThread());
}

TYPED_TEST(RunLoopContract, TakesPostsOfOtherThreads) {
    VKTRunLoop& loop = *this->subject_.loop;
    std::jthread poster([&] {
        for (int i = 0; i < 100; ++i)
            loop.post(this->note('x'));
    });
    if constexpr (std::is_same_v<TypeParam, ManualSubject>) poster.join();
    EXPECT_TRUE(this->runUntilLogged(100));
}

TYPED_TEST(RunLoopContract, SerialQueueRunsEverythingInOrderBeforeItEnds) {
    VKTSerialQueue& queue = *this->subject_.queue;
    for (const char c : {'a', 'b', 'c'})
        queue.post(this->note(c));
    queue.post([&] { EXPECT_TRUE(queue.isCurrentThread()); });
    EXPECT_FALSE(queue.isCurrentThread());
    this->subject_.queue.reset();
    EXPECT_EQ(this->log_, "abc");
}

TYPED_TEST(RunLoopContract, PoolLetsGoOfWhatItDrops) {
    const auto held = std::make_shared<int>();
    std::latch started(1);
    std::latch release(1);
    if constexpr (std::is_same_v<TypeParam, LinuxSubject>) {
        this->subject_.pool->post([&] {
            started.count_down();
            release.wait();
        });
        started.wait();
    }
    this->subject_.pool->post([this, held] { this->log_ += 'x'; });
    std::thread destroyer([&] { this->subject_.pool.reset(); });
    release.count_down();
    destroyer.join();
    EXPECT_EQ(held.use_count(), 1);
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

#include "VKTCoreKit/platform/linux/VKTThread.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <latch>
#include <set>
#include <string>

#include "VKTCoreKit/platform/linux/VKTAsioQueues.h"
#include "VKTCoreKit/platform/linux/VKTThreadPool.h"
#include "tests/threads/Scarcity.h"

namespace {

std::set<int> signalsIn(const sigset_t& set) {
    std::set<int> signals;
    for (int signal = 1; signal < SIGRTMAX; ++signal) {
        if (sigismember(&set, signal) == 1) signals.insert(signal);
    }
    return signals;
}

std::set<int> blockedHere() {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    return signalsIn(blocked);
}

std::string ownName() {
    std::array<char, 16> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

std::size_t ownStackSize() {
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    std::size_t size = 0;
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_destroy(&attributes);
    return size;
}

TEST(Thread, HasItsNameAModestStackAndNoSignalsOfTheApplication) {
    const std::set<int> before = blockedHere();
    std::string name;
    std::size_t stackSize = 0;
    std::set<int> blocked;
    VKTThread thread;
    ASSERT_EQ(thread.start("vkt-a-name-of-many-bytes",
                           [&] {
                               name = ownName();
                               stackSize = ownStackSize();
                               blocked = blockedHere();
                           }),
              0);
    EXPECT_TRUE(thread.isJoinable());
    EXPECT_FALSE(thread.isCurrent());
    thread.join();
    EXPECT_FALSE(thread.isJoinable());
    EXPECT_EQ(name, "vkt-a-name-of-m");
    EXPECT_GE(stackSize, 1024U * 1024U);
    EXPECT_LT(stackSize, 2U * 1024U * 1024U);
    for (const int signal : {SIGTERM, SIGINT, SIGCHLD, SIGPIPE, SIGPROF, SIGUSR1, SIGALRM})
        EXPECT_TRUE(blocked.contains(signal)) << strsignal(signal);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS})
        EXPECT_FALSE(blocked.contains(fault)) << "a crash reporter has to see " << strsignal(fault);
    EXPECT_EQ(signalsIn(signalsBlockedAtLastStart()), blocked) << "from the first instruction";
    EXPECT_EQ(blockedHere(), before) << "its maker's are as they were";
}

TEST(Thread, SaysWhyThereIsNone) {
    const std::set<int> before = blockedHere();
    bool hasRun = false;
    VKTThread thread;
    {
        const NoNewThreads refused;
        EXPECT_EQ(thread.start("vkt", [&] { hasRun = true; }), EAGAIN);
    }
    EXPECT_FALSE(thread.isJoinable());
    EXPECT_EQ(blockedHere(), before);
    ASSERT_EQ(thread.start("vkt", [&] { hasRun = true; }), 0);
    VKTThread moved = std::move(thread);
    moved.join();
    EXPECT_TRUE(hasRun);
}

TEST(SerialQueueWithoutThread, KeepsWhatIsPostedUntilOneCanBeStarted) {
    std::string log;
    std::string name;
    auto queue = vkt_makeAsioSerialQueue("vkt-first-name");
    queue->setName("vkt-its-name");
    {
        const NoNewThreads refused;
        queue->post([&] { log += 'a'; });
        EXPECT_FALSE(queue->tryPost([&] { log += 'x'; }));
        queue->post([&] { log += 'b'; });
    }
    EXPECT_EQ(log, "");
    EXPECT_TRUE(queue->tryPost([&] {
        log += 'c';
        name = ownName();
    }));
    queue.reset();
    EXPECT_EQ(log, "abc");
    EXPECT_EQ(name, "vkt-its-name");
}

TEST(SerialQueueWithoutThread, RunsWhatItKeptWhereItIsDestroyed) {
    std::string log;
    const NoNewThreads refused;
    auto queue = vkt_makeAsioSerialQueue();
    VKTSerialQueue& posted = *queue;
    posted.post([&] { log += posted.isCurrentThread() ? "on the queue" : "elsewhere"; });
    queue.reset();
    EXPECT_EQ(log, "on the queue");
}

TEST(PoolWithoutThread, KeepsWhatIsPostedAndStartsWhatIsMissingLater) {
    std::latch together(4);
    const auto pool = vkt_makeThreadPool(4, "vkt-a-pool");
    const auto meet = [&] { together.arrive_and_wait(); };
    {
        const NoNewThreads refused;
        pool->post(meet);
        EXPECT_FALSE(pool->tryPost([] { ADD_FAILURE() << "it was dropped"; }));
        pool->post(meet);
    }
    EXPECT_TRUE(pool->tryPost(meet));  // ends only when those that were kept have threads, too
    together.arrive_and_wait();
}

TEST(PoolWithFewerThreads, GoesOnWithThem) {
    std::latch started(1);
    std::latch finished(3);
    const auto pool = vkt_makeThreadPool(4);
    pool->post([&] { started.count_down(), finished.count_down(); });
    started.wait();
    const NoNewThreads refused;
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(pool->tryPost([&] { finished.count_down(); }));
    finished.wait();
}

TEST(PoolWithFewerThreads, ServesItsGroupsInTurn) {
    std::string log;
    std::latch started(1);
    std::latch mayEnd(1);
    std::latch finished(3);
    const auto pool = vkt_makeThreadPool(1);
    const auto post = [&](char group) {
        return pool->tryPostInGroup([&, group] { log += group, finished.count_down(); },
                                    group == 'a' ? &started : &mayEnd);
    };
    EXPECT_TRUE(pool->tryPostInGroup([&] { started.count_down(), mayEnd.wait(); }, &started));
    started.wait();
    const NoNewThreads refused;
    for (const char group : {'a', 'a', 'b'})
        EXPECT_TRUE(post(group));
    mayEnd.count_down();
    finished.wait();
    EXPECT_EQ(log, "aba");
}

}  // namespace

// The contract of pools.
#pragma once

#include <gtest/gtest.h>

#include <latch>
#include <memory>
#include <thread>

#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/platform/testing/contract/VKTContractMaker.h"

/// A pool of one thread.
struct VKTConcurrentPoolSubject {
    std::unique_ptr<VKTConcurrentPool> pool;

    /// False for a pool whose tasks wait until a test runs them.
    bool hasThread = true;
};

using VKTConcurrentPoolMaker = VKTContractMaker<VKTConcurrentPoolSubject>;

class VKTConcurrentPoolContract : public testing::TestWithParam<VKTConcurrentPoolMaker> {};

TEST_P(VKTConcurrentPoolContract, LetsGoOfWhatItDrops) {
    const auto held = std::make_shared<int>();
    std::latch started(1);
    std::latch release(1);
    VKTConcurrentPoolSubject subject = GetParam().make();
    if (subject.hasThread) {
        subject.pool->post([&] {
            started.count_down();
            release.wait();
        });
        started.wait();
    }
    subject.pool->post([held] {});
    std::thread destroyer([&] { subject.pool.reset(); });
    release.count_down();
    destroyer.join();
    EXPECT_EQ(held.use_count(), 1);
}

// The contract of serial queues.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/platform/testing/contract/VKTContractMaker.h"

using VKTSerialQueueMaker = VKTContractMaker<std::unique_ptr<VKTSerialQueue>>;

class VKTSerialQueueContract : public testing::TestWithParam<VKTSerialQueueMaker> {};

TEST_P(VKTSerialQueueContract, RunsEverythingInOrderBeforeItEnds) {
    std::string log;
    auto queue = GetParam().make();
    for (const char c : {'a', 'b', 'c'})
        queue->post([&log, c] { log += c; });
    queue->post([&, posted = queue.get()] { EXPECT_TRUE(posted->isCurrentThread()); });
    EXPECT_FALSE(queue->isCurrentThread());
    EXPECT_TRUE(queue->tryPost([&log] { log += 'd'; }));
    queue.reset();
    EXPECT_EQ(log, "abcd");
}

// The contract of what watches the network.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "VKTCoreKit/platform/VKTReachabilityTarget.h"
#include "VKTCoreKit/platform/testing/VKTSimulatedRunLoop.h"
#include "VKTCoreKit/platform/testing/contract/VKTContractMaker.h"

struct VKTReachabilityTargetSubject {
    std::shared_ptr<VKTReachabilityTarget> target;

    /// Makes the peer of the target reachable, over no cellular network and at once, or unreachable. When it
    /// returns, a target that is scheduled has noticed.
    std::function<void(bool isConnected)> setConnected;
};

using VKTReachabilityTargetMaker = VKTContractMaker<VKTReachabilityTargetSubject>;

class VKTReachabilityTargetContract : public testing::TestWithParam<VKTReachabilityTargetMaker> {
  protected:
    VKTReachabilityTargetContract() {
        subject_.setConnected(false);
        subject_.target->setCallback([this](const VKTReachabilityFlags& flags) {
            EXPECT_TRUE(loop_->isCurrentThread());
            heard_.push_back(flags.reachable);
        });
    }

    bool runUntilHeard(std::size_t count) {
        return loop_->runUntil([&] { return heard_.size() >= count; }, std::chrono::seconds(10));
    }

    const std::shared_ptr<VKTRunLoop> loop_ = std::make_shared<VKTSimulatedRunLoop>(1);
    std::vector<bool> heard_;
    VKTReachabilityTargetSubject subject_ = GetParam().make();
};

TEST_P(VKTReachabilityTargetContract, TellsEachChangeOnceOnTheLoop) {
    subject_.setConnected(true);
    EXPECT_EQ(subject_.target->flags(), VKTReachabilityFlags{.reachable = true});
    subject_.target->schedule(loop_);
    subject_.setConnected(true);
    subject_.setConnected(false);
    EXPECT_TRUE(heard_.empty());
    EXPECT_TRUE(runUntilHeard(1));
    subject_.setConnected(true);
    EXPECT_TRUE(runUntilHeard(2));
    EXPECT_EQ(heard_, (std::vector<bool>{false, true}));
}

TEST_P(VKTReachabilityTargetContract, IsSilentUnlessScheduledAndKeepsItsCallback) {
    subject_.target->unschedule();
    subject_.target->schedule(loop_);
    subject_.setConnected(true);  // its call is posted, and then not wanted any more
    subject_.target->unschedule();
    loop_->drain();
    EXPECT_TRUE(heard_.empty());

    subject_.target->schedule(loop_);
    loop_->drain();
    EXPECT_TRUE(heard_.empty());
    subject_.setConnected(false);
    EXPECT_TRUE(runUntilHeard(1));
}

TEST_P(VKTReachabilityTargetContract, MayBeReplacedAndDroppedInItsCallback) {
    int calls = 0;
    subject_.target->setCallback([&](const auto&) {
        ++calls;
        subject_.target.reset();
    });
    subject_.target->schedule(loop_);
    subject_.setConnected(true);
    EXPECT_TRUE(loop_->runUntil([&] { return calls == 1 && !subject_.target; }, std::chrono::seconds(10)));
    EXPECT_TRUE(heard_.empty());
}

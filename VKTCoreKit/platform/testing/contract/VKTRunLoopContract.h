// The contract of a main loop that can be run, beyond that of every main loop.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/platform/testing/contract/VKTContractMaker.h"

/// Makes a loop of the calling thread.
using VKTRunLoopMaker = VKTContractMaker<std::shared_ptr<VKTRunLoop>>;

class VKTRunLoopContract : public testing::TestWithParam<VKTRunLoopMaker> {
  protected:
    VKTTask note(char c) {
        return [this, c] { log_ += c; };
    }

    std::string log_;
    const std::shared_ptr<VKTRunLoop> loop_ = GetParam().make();
};

TEST_P(VKTRunLoopContract, DrainRunsWhatIsDueAndWhatThatPosts) {
    loop_->post(note('a'));
    loop_->post([&] { loop_->post(note('b')); });
    loop_->postAfter(std::chrono::hours(1), note('x'));
    EXPECT_EQ(loop_->drain(), 3U);
    EXPECT_EQ(log_, "ab");
    EXPECT_EQ(loop_->drain(), 0U);
}

TEST_P(VKTRunLoopContract, RunUntilGivesUpAtItsTimeout) {
    using namespace std::chrono_literals;
    EXPECT_FALSE(loop_->runUntil([] { return false; }, 10ms));
    EXPECT_TRUE(loop_->runUntil([] { return true; }, 0s));
}

TEST_P(VKTRunLoopContract, StopEndsRunAfterTheCurrentTask) {
    loop_->post([&] {
        loop_->stop();
        log_ += 'a';
    });
    loop_->post(note('b'));
    loop_->run();
    loop_->stop();  // before `run`: ends it at once
    loop_->run();
    EXPECT_EQ(log_, "a");
    loop_->drain();
    EXPECT_EQ(log_, "ab");
}

TEST_P(VKTRunLoopContract, ATaskMayRunTheLoopUntilSomethingHolds) {
    loop_->post([&] {
        EXPECT_TRUE(loop_->runUntil([&] { return !log_.empty(); }, std::chrono::seconds(5)));
        log_ += 'b';
    });
    loop_->post(note('a'));
    loop_->drain();
    EXPECT_EQ(log_, "ab");
}

TEST_P(VKTRunLoopContract, BelongsToItsMakerUntilAnotherThreadRunsIt) {
    EXPECT_TRUE(loop_->isCurrentThread());
    std::thread([&] {
        EXPECT_FALSE(loop_->isCurrentThread());
        loop_->drain();
        EXPECT_TRUE(loop_->isCurrentThread());
    }).join();
    EXPECT_FALSE(loop_->isCurrentThread());
}

#include "VKTCoreKit/core/VKTFuture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <latch>
#include <limits>
#include <string>

#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

namespace {

using Text = std::shared_ptr<const std::string>;

TEST(Future, GivesUpAtItsDeadlineAndHasTheResultLater) {
    const auto released = std::make_shared<std::latch>(1);
    const auto future = VKTFuture<Text>::initWithTask([released] {
        released->wait();
        return std::make_shared<const std::string>("r");
    });
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double seconds : {0.0, -0.0, 1e-300, -1.0, -1e300, -infinity, std::nan(""), 0.002}) {
        std::optional<VKTError> error;
        EXPECT_EQ(future.getWithTimeout(VKTTimeInterval(seconds), &error), nullptr) << seconds;
        EXPECT_EQ(error, VKTError(VKTFutureErrorDomain, 1000)) << seconds;
    }
    EXPECT_EQ(future.getWithDeadline(VKTFuture<Text>::Deadline::min()), nullptr);
    EXPECT_FALSE(future.isDone());
    EXPECT_EQ(future.result(), nullptr);
    const auto release = VKTFuture<Text>::initWithTask([released] {
        released->count_down();
        return nullptr;
    });
    EXPECT_EQ(*future.get(), "r") << "waits without limit";
    EXPECT_TRUE(future.isDone());
    for (const double seconds : {0.0, -infinity, 1e10, 1e300, infinity, std::nan("")}) {
        std::optional<VKTError> error;
        EXPECT_EQ(*future.getWithTimeout(VKTTimeInterval(seconds), &error), "r") << seconds;
        EXPECT_FALSE(error);
    }
}

TEST(Future, MayBeDroppedWhileItRunsAndMayYieldNone) {
    const auto ended = std::make_shared<std::latch>(2);
    VKTFuture<Text>::initWithTask([ended] {
        ended->count_down();
        return nullptr;
    });
    ended->arrive_and_wait();
    std::optional<VKTError> error;
    const auto none = VKTFuture<Text>::initWithTask([] { return nullptr; });
    EXPECT_EQ(none.getWithTimeout(VKTTimeInterval(60), &error), nullptr);
    EXPECT_FALSE(error) << "none is a result";
}

}  // namespace

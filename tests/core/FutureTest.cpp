#include "VKTCoreKit/core/VKTFuture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <latch>
#include <limits>

#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

namespace {

using Number = std::optional<int>;

TEST(Future, GivesUpAtItsDeadlineAndHasTheResultLater) {
    const auto released = std::make_shared<std::latch>(1);
    const auto ended = std::make_shared<std::latch>(1);
    const auto future = VKTFuture<Number>::initWithTask([released] {
        released->wait();
        return 7;
    });
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double seconds : {0.0, 1e-300, -1e300, -infinity, std::nan(""), 0.002}) {
        std::optional<VKTError> error;
        EXPECT_EQ(future.getWithTimeout(VKTTimeInterval(seconds), &error), std::nullopt) << seconds;
        EXPECT_EQ(error, VKTError(VKTFutureErrorDomain, 1000)) << seconds;
    }
    EXPECT_EQ(future.getWithDeadline(VKTFuture<Number>::Deadline::min()), std::nullopt);
    EXPECT_FALSE(future.isDone());
    VKTFuture<Number>::initWithTask([released, ended] {  // dropped while it runs
        released->count_down();
        ended->count_down();
        return std::nullopt;
    });
    EXPECT_EQ(future.get(), 7) << "waits without limit";
    ended->wait();
    EXPECT_TRUE(future.isDone());
    std::optional<VKTError> error;
    for (const double seconds : {0.0, -infinity, 1e10, 1e300, infinity})
        EXPECT_EQ(future.getWithTimeout(VKTTimeInterval(seconds), &error), 7) << seconds;
    const auto none = VKTFuture<Number>::initWithTask([] { return std::nullopt; });
    EXPECT_EQ(none.getWithTimeout(VKTTimeInterval(60), &error), std::nullopt);
    EXPECT_FALSE(error) << "none is a result";
}

}  // namespace

#include "VKTCoreKit/core/VKTFuture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <latch>

#include "tests/support/VKTRecordedLog.h"

namespace {

using Future = VKTFuture<std::optional<int>>;

TEST(Future, GivesUpAtItsDeadlineAndHasTheResultLater) {
    const auto released = std::make_shared<std::latch>(1);
    const auto future = Future::initWithTask([released] {
        released->wait();
        return 7;
    });
    for (const double seconds : {0.0, 1e-300, -1e300, -HUGE_VAL, std::nan(""), 0.002}) {
        std::optional<VKTError> error;
        EXPECT_EQ(future.getWithTimeout(VKTTimeInterval(seconds), &error), std::nullopt) << seconds;
        EXPECT_EQ(error, VKTError(VKTFutureErrorDomain, 1000)) << seconds;
    }
    EXPECT_EQ(future.getWithDeadline(Future::Deadline::min()), std::nullopt);
    EXPECT_FALSE(future.isDone());
    Future::initWithTask([released] {  // dropped at once; it runs all the same
        released->count_down();
        return std::nullopt;
    });
    EXPECT_EQ(future.get(), 7) << "waits without limit";
    EXPECT_TRUE(future.isDone());
    std::optional<VKTError> error;
    for (const double seconds : {0.0, -HUGE_VAL, 1e10, 1e300, HUGE_VAL})
        EXPECT_EQ(future.getWithTimeout(VKTTimeInterval(seconds), &error), 7) << seconds;
    const auto none = Future::initWithTask([] { return std::nullopt; });
    EXPECT_EQ(none.getWithTimeout(VKTTimeInterval(60), &error), std::nullopt);
    EXPECT_FALSE(error) << "none is a result";
}

TEST(Future, ATaskThatThrowsOrIsEmptyHasNoResult) {
    VKTRecordedLog log;
    for (const Future::Task& task : {Future::Task(), Future::Task([]() -> std::optional<int> { throw 1; })}) {
        EXPECT_EQ(Future::initWithTask(task).get(), std::nullopt);
        EXPECT_EQ(log.take().size(), 1U);
    }
}

}  // namespace

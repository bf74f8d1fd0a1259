#include "VKTCoreKit/core/VKTTimer.h"

#include <gtest/gtest.h>

#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "tests/support/VKTRecordedLog.h"

using namespace std::chrono_literals;

namespace {

using Interval = VKTTimerInterval;

class Timer : public testing::Test, public VKTTimerDelegate {
  protected:
    void timerFired(VKTTimer& timer) override {
        ++ticks_;
        if (const auto once = std::exchange(onNextTick_, nullptr)) once(timer);
    }

    void makeTimer(Interval interval) {
        timer_ = VKTTimer::initWithInterval(interval, std::shared_ptr<VKTTimerDelegate>(owner_, this));
        timer_->setStopHandler([this](VKTTimer&) { ++stops_; });
        ticks_ = stops_ = 0;
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    const std::shared_ptr<int> owner_ = std::make_shared<int>();  // of the fixture as a delegate
    std::shared_ptr<VKTTimer> timer_;
    std::function<void(VKTTimer&)> onNextTick_;
    int ticks_ = 0;
    int stops_ = 0;
};

TEST_F(Timer, TicksAsOftenAsItsIntervalAndItsDelegateSay) {
    const auto stop = [](VKTTimer& fired) { fired.stop(); };
    const auto restart = [](VKTTimer& fired) { fired.stop(), fired.start(); };
    const auto destroy = [&](VKTTimer&) { timer_.reset(); };
    // What the delegate does in the first tick; ticks within 10 s and calls of the stop handler; the end.
    const std::tuple<Interval, std::function<void(VKTTimer&)>, int, int, VKTTimerStatus> cases[] = {
        {Interval::nonRepeatingWithTime(1s), nullptr, 1, 0, VKTTimerStatusFinished},
        {Interval::finiteRepetitionsWithTime(1s, 0), nullptr, 1, 0, VKTTimerStatusFinished},
        {Interval::finiteRepetitionsWithTime(1s, 3), nullptr, 3, 0, VKTTimerStatusFinished},
        {Interval::infiniteRepetitionsWithTime(1s), nullptr, 10, 0, VKTTimerStatusRunning},
        {Interval::finiteRepetitionsWithTime(1s, 2), restart, 3, 1, VKTTimerStatusFinished},
        {Interval::infiniteRepetitionsWithTime(1s), stop, 1, 1, VKTTimerStatusStopped},
        {Interval::infiniteRepetitionsWithTime(1s), destroy, 1, 1, VKTTimerStatusIdle}};
    for (const auto& [interval, action, ticks, stops, status] : cases) {
        makeTimer(interval);
        onNextTick_ = action;
        timer_->start();
        test_.mainRunLoop->advance(0.9s);
        timer_->start();  // ignored: no second schedule, no fresh interval
        EXPECT_EQ(ticks_, 0);
        test_.mainRunLoop->advance(9.2s);
        EXPECT_EQ(ticks_, ticks);
        EXPECT_EQ(stops_, stops);
        EXPECT_EQ(timer_ ? timer_->status() : VKTTimerStatusIdle, status);
    }
}

TEST_F(Timer, StopEndsEveryState) {
    makeTimer(Interval::finiteRepetitionsWithTime(1s, 2));
    EXPECT_EQ(timer_->status(), VKTTimerStatusIdle);
    timer_->stop();
    EXPECT_EQ(timer_->status(), VKTTimerStatusStopped);
    timer_->start();
    test_.mainRunLoop->post([&] { timer_->stop(); });
    test_.clock->advance(2s);  // the tick is due when the timer is stopped
    test_.mainRunLoop->drain();
    EXPECT_EQ(ticks_, 0);
    EXPECT_EQ(stops_, 2);
    timer_->start();
    const std::string ID = std::to_string(timer_->ID());
    EXPECT_EQ(vkt_debugLogOf([&] { timer_.reset(); }),
              "Warning: VKTTimer instance " + ID + "ld is being deallocated while running!\n");
    test_.mainRunLoop->advance(2s);
    EXPECT_EQ(ticks_, 0);
    EXPECT_EQ(stops_, 3);
}

TEST_F(Timer, CallbacksThatThrowDoNotStopIt) {
    makeTimer(Interval::infiniteRepetitionsWithTime(1s));
    onNextTick_ = [](VKTTimer&) { throw std::runtime_error("boom"); };
    timer_->setStopHandler([](VKTTimer&) { throw std::runtime_error("boom"); });
    VKTRecordedLog log;
    timer_->start();
    test_.mainRunLoop->advance(2.1s);
    EXPECT_EQ(ticks_, 2);
    timer_.reset();  // which stops it
    EXPECT_EQ(log.take().size(), 2U);
}

}  // namespace

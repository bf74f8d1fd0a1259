#include "VKTCoreKit/core/VKTTimer.h"

#include <gtest/gtest.h>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

using namespace std::chrono_literals;

namespace {

class Delegate : public VKTTimerDelegate {
  public:
    void timerFired(VKTTimer& timer) override {
        ++ticks;
        if (const auto once = std::exchange(onNextTick, nullptr)) once(timer);
    }

    int ticks = 0;
    std::function<void(VKTTimer&)> onNextTick;
};

class Timer : public testing::Test {
  protected:
    std::shared_ptr<VKTTimer> makeTimer(VKTTimerInterval interval) {
        auto timer = VKTTimer::initWithInterval(interval, delegate_);
        timer->setStopHandler([this](VKTTimer&) { ++stops_; });
        return timer;
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    std::shared_ptr<Delegate> delegate_ = std::make_shared<Delegate>();
    int stops_ = 0;
};

TEST_F(Timer, TicksAsOftenAsItsIntervalSays) {
    const std::tuple<VKTTimerInterval, int, VKTTimerStatus> cases[] = {
        {VKTTimerInterval::nonRepeatingWithTime(1s), 1, VKTTimerStatusFinished},
        {VKTTimerInterval::finiteRepetitionsWithTime(1s, 0), 1, VKTTimerStatusFinished},
        {VKTTimerInterval::finiteRepetitionsWithTime(1s, 1), 1, VKTTimerStatusFinished},
        {VKTTimerInterval::finiteRepetitionsWithTime(1s, 3), 3, VKTTimerStatusFinished},
        {VKTTimerInterval::infiniteRepetitionsWithTime(1s), 10, VKTTimerStatusRunning}};
    for (const auto& [interval, ticks, status] : cases) {
        delegate_->ticks = 0;
        const auto timer = makeTimer(interval);
        EXPECT_EQ(timer->status(), VKTTimerStatusIdle);
        timer->start();
        test_.mainRunLoop->advance(0.9s);
        timer->start();  // ignored: no second schedule, no fresh interval
        EXPECT_EQ(delegate_->ticks, 0);
        test_.mainRunLoop->advance(9.2s);
        EXPECT_EQ(delegate_->ticks, ticks);
        EXPECT_EQ(timer->status(), status);
        EXPECT_EQ(stops_, 0) << "the natural end calls no stop handler";
        timer->setStopHandler(nullptr);
        timer->stop();
    }
}

TEST_F(Timer, StopEndsEveryStateAndAStartBeginsAfresh) {
    const auto timer = makeTimer(VKTTimerInterval::finiteRepetitionsWithTime(1s, 2));
    timer->stop();
    EXPECT_EQ(timer->status(), VKTTimerStatusStopped);
    timer->start();
    test_.mainRunLoop->advance(1.5s);
    test_.mainRunLoop->post([&] { timer->stop(); });
    test_.clock->advance(1s);  // the second tick is due when the timer is stopped
    test_.mainRunLoop->drain();
    timer->stop();
    EXPECT_EQ(delegate_->ticks, 1);
    EXPECT_EQ(stops_, 3);
    timer->start();
    EXPECT_EQ(timer->timerCount(), 1U);
    test_.mainRunLoop->advance(5s);
    EXPECT_EQ(delegate_->ticks, 3);
    EXPECT_EQ(timer->status(), VKTTimerStatusFinished);
}

TEST_F(Timer, DelegateIsObeyedInsideItsTick) {
    std::shared_ptr<VKTTimer> timer;
    const auto stop = [](VKTTimer& fired) { fired.stop(); };
    const auto restart = [](VKTTimer& fired) {
        fired.stop();
        fired.start();
    };
    const auto destroy = [&](VKTTimer&) { timer.reset(); };
    // The action of the first tick, the ticks after 10 s, the calls of the stop handler.
    const std::tuple<VKTTimerInterval, std::function<void(VKTTimer&)>, int, int> cases[] = {
        {VKTTimerInterval::infiniteRepetitionsWithTime(1s), stop, 1, 1},
        {VKTTimerInterval::infiniteRepetitionsWithTime(1s), restart, 10, 1},
        {VKTTimerInterval::finiteRepetitionsWithTime(1s, 2), restart, 3, 1},
        {VKTTimerInterval::nonRepeatingWithTime(1s), restart, 2, 1},
        {VKTTimerInterval::infiniteRepetitionsWithTime(1s), destroy, 1, 1}};
    for (const auto& [interval, action, ticks, stops] : cases) {
        delegate_->ticks = stops_ = 0;
        delegate_->onNextTick = action;
        timer = makeTimer(interval);
        timer->start();
        test_.mainRunLoop->advance(10s);
        EXPECT_EQ(delegate_->ticks, ticks);
        EXPECT_EQ(stops_, stops);
        timer.reset();
    }
}

TEST_F(Timer, LetGoWhileRunningWarnsAndStops) {
    const auto logger = VKTLog::sharedInstance();
    logger->setIsDebugLoggingEnabled(true);
    testing::internal::CaptureStdout();
    auto timer = makeTimer(VKTTimerInterval::nonRepeatingWithTime(1s));
    const std::string ID = std::to_string(timer->ID());
    timer->start();
    timer.reset();
    const std::string log = testing::internal::GetCapturedStdout();
    logger->setIsDebugLoggingEnabled(false);
    EXPECT_NE(log.find("Warning: VKTTimer instance " + ID + "ld is being deallocated while running!"),
              log.npos)
        << log;
    EXPECT_EQ(stops_, 1);
    test_.mainRunLoop->advance(2s);
    EXPECT_EQ(delegate_->ticks, 0);
}

}  // namespace

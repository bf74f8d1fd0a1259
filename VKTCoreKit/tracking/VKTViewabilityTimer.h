// The clock of the viewability managers.
#pragma once

#include <memory>
#include <utility>

#include "VKTCoreKit/core/VKTTimer.h"

inline constexpr VKTTimeInterval VKTViewabilitySamplingInterval{0.25};

/// Ticks four times a second between `start` and `stop`. Main thread only; destroyed while it runs, its timer
/// logs that.
class VKTViewabilityTimer {
  public:
    /// Does nothing while running.
    void start(const std::shared_ptr<VKTTimerDelegate>& delegate) {
        if (timer_) return;
        timer_ = VKTTimer::initWithInterval(
            VKTTimerInterval::infiniteRepetitionsWithTime(VKTViewabilitySamplingInterval), delegate);
        timer_->start();
    }

    void stop() {
        const auto timer = std::exchange(timer_, nullptr);
        if (!timer) return;
        timer->stop();
        timer->setDelegate(nullptr);
    }

    [[nodiscard]] const std::shared_ptr<VKTTimer>& timer() const { return timer_; }  ///< null when stopped

  private:
    std::shared_ptr<VKTTimer> timer_;
};

// The clock of the viewability managers.
#pragma once

#include <memory>
#include <utility>

#include "VKTCoreKit/core/VKTTimer.h"

inline constexpr VKTTimeInterval VKTViewabilitySamplingInterval{0.25};

/// Makes a timer that ticks four times a second; keeps one that is there. Main thread only.
inline void vkt_startViewabilityTimer(std::shared_ptr<VKTTimer>& timer,
                                      const std::shared_ptr<VKTTimerDelegate>& delegate) {
    if (timer) return;
    timer = VKTTimer::initWithInterval(
        VKTTimerInterval::infiniteRepetitionsWithTime(VKTViewabilitySamplingInterval), delegate);
    timer->start();
}

/// Ends the timer and forgets it; does nothing without one. Main thread only.
inline void vkt_stopViewabilityTimer(std::shared_ptr<VKTTimer>& timer) {
    const auto stopped = std::exchange(timer, nullptr);
    if (!stopped) return;
    stopped->stop();
    stopped->setDelegate(nullptr);
}

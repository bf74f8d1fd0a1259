// A clock that stands still until it is moved.
#pragma once

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTClock.h"

/// Starts at 2024-03-05T07:08:09.123Z. Safe from any thread.
class VKTManualClock final : public VKTClock {
  public:
    [[nodiscard]] VKTDate now() const override {
        VKTLock lock(mutex_);
        return now_;
    }

    [[nodiscard]] std::chrono::nanoseconds monotonicNow() const override {
        VKTLock lock(mutex_);
        return monotonicNow_;
    }

    /// Moves both clocks forward.
    void advance(VKTTimeInterval interval) {
        VKTLock lock(mutex_);
        now_ += std::chrono::round<VKTDate::duration>(interval);
        monotonicNow_ += std::chrono::round<std::chrono::nanoseconds>(interval);
    }

    /// Sets the wall clock, as a user or the network may; the monotonic one goes on.
    void setNow(VKTDate now) {
        VKTLock lock(mutex_);
        now_ = now;
    }

  private:
    mutable VKTMutex mutex_;
    VKTDate now_ VKT_GUARDED_BY(mutex_){std::chrono::microseconds(1'709'622'489'123'000)};
    std::chrono::nanoseconds monotonicNow_ VKT_GUARDED_BY(mutex_) = std::chrono::hours(1);
};

// The system's clocks.
#pragma once

#include "VKTCoreKit/platform/VKTClock.h"

class VKTSystemClock final : public VKTClock {
  public:
    [[nodiscard]] VKTDate now() const override;
    [[nodiscard]] std::chrono::nanoseconds monotonicNow() const override;
};

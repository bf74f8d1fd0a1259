// Time, injected so that tests move it by hand.
#pragma once

#include <chrono>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTExport.h"

/// Safe from any thread.
class VKT_EXPORT VKTClock {
  public:
    virtual ~VKTClock() = default;

    /// Wall-clock time; it may jump.
    [[nodiscard]] virtual VKTDate now() const = 0;

    /// Time since an arbitrary start; it never goes back.
    [[nodiscard]] virtual std::chrono::nanoseconds monotonicNow() const = 0;
};

#include "VKTCoreKit/platform/linux/VKTSystemClock.h"

VKTDate VKTSystemClock::now() const {
    return std::chrono::floor<VKTDate::duration>(std::chrono::system_clock::now());
}

std::chrono::nanoseconds VKTSystemClock::monotonicNow() const {
    return std::chrono::steady_clock::now().time_since_epoch();
}

// Random numbers for identifiers and cache busting.
#pragma once

#include <cstdint>

#include "VKTCoreKit/foundation/VKTExport.h"

/// Draws from the platform's random source. Safe from any thread.
class VKT_EXPORT VKTRandom {
  public:
    /// Uniform in [0, 4294967295).
    static std::uint32_t randomUnsignedInt();

    /// Uniform in [min, max); `min` when that is empty.
    static std::uint32_t randomUnsignedIntWithMin(std::uint32_t min, std::uint32_t max);

    /// Eight decimal digits, the first not 0.
    static std::uint32_t randomVastCacheBustingInt();
};

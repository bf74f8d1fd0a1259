// Random numbers, injectable where a test must know the draw.
#pragma once

#include <cstdint>

#include "VKTCoreKit/foundation/VKTExport.h"

/// Safe from any thread.
class VKT_EXPORT VKTRandomSource {
  public:
    virtual ~VKTRandomSource() = default;

    /// Uniform in [0, upperBound); 0 when `upperBound` is 0 or 1.
    virtual std::uint32_t uniform(std::uint32_t upperBound) = 0;
};

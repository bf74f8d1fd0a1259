// The kernel-seeded generator of the C library.
#pragma once

#include "VKTCoreKit/platform/VKTRandomSource.h"

class VKTSystemRandom final : public VKTRandomSource {
  public:
    std::uint32_t uniform(std::uint32_t upperBound) override;
};

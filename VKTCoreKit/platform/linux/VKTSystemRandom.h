// Random numbers of the system.
#pragma once

#include "VKTCoreKit/platform/VKTRandomSource.h"

/// Draws from the kernel's generator, a few hundred bytes at a time for each thread, since a system call for
/// each number would be most of its cost. A number is wiped as it is given out, and a forked child draws
/// numbers of its own.
class VKTSystemRandom final : public VKTRandomSource {
  public:
    std::uint32_t uniform(std::uint32_t upperBound) override;
};

// Random numbers that a test knows beforehand.
#pragma once

#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTRandomSource.h"

/// Gives the listed draws in turn, again and again, each reduced to the range asked for. Safe from any
/// thread.
class VKTFixedRandomSource final : public VKTRandomSource {
  public:
    explicit VKTFixedRandomSource(std::vector<std::uint32_t> draws = {0}) : draws_(std::move(draws)) {}

    std::uint32_t uniform(std::uint32_t upperBound) override {
        VKTLock lock(mutex_);
        const std::uint32_t draw = draws_[next_];
        next_ = (next_ + 1) % draws_.size();
        return upperBound == 0 ? 0 : draw % upperBound;
    }

  private:
    VKTMutex mutex_;
    const std::vector<std::uint32_t> draws_;
    std::size_t next_ VKT_GUARDED_BY(mutex_) = 0;
};

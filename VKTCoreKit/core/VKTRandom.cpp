#include "VKTCoreKit/core/VKTRandom.h"

#include <limits>

#include "VKTCoreKit/platform/VKTPlatform.h"

std::uint32_t VKTRandom::randomUnsignedInt() {
    return randomUnsignedIntWithMin(0, std::numeric_limits<std::uint32_t>::max());
}

std::uint32_t VKTRandom::randomUnsignedIntWithMin(std::uint32_t min, std::uint32_t max) {
    return max <= min ? min : min + VKTPlatform::current().random->uniform(max - min);
}

std::uint32_t VKTRandom::randomVastCacheBustingInt() {
    return randomUnsignedIntWithMin(10'000'000, 100'000'000);
}

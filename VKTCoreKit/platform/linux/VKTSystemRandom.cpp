#include "VKTCoreKit/platform/linux/VKTSystemRandom.h"

#include <cstdlib>

std::uint32_t VKTSystemRandom::uniform(std::uint32_t upperBound) {
    return arc4random_uniform(upperBound);
}

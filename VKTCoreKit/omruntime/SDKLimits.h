// What verification scripts may use.
#pragma once

#include <chrono>
#include <cstddef>

#include "VKTCoreKit/platform/VKTScriptExecutor.h"

namespace OMIDKorvonet1 {

/// What verification scripts may use: of one world, as the base says, and of what a world cannot do itself.
/// Each at least 1. A failure for the sake of one names it as it is called here. A passive record.
struct SDKLimits : VKTScriptLimits {
    /// Worlds at once, over all sessions. Sessions beyond it run without the scripts that found no place.
    std::size_t scriptLimit = 64;

    std::size_t scriptSizeLimit = std::size_t{2} * 1024 * 1024;  ///< bytes of a script

    // Of one script.
    std::size_t loadedScriptLimit = 16;      ///< scripts that it may load
    std::size_t timerLimit = 256;            ///< timers that wait
    std::size_t messageRateLimit = 20'000;   ///< messages within a second; more end its world
    std::size_t requestLimit = 8;            ///< requests under way
    std::size_t waitingRequestLimit = 1024;  ///< requests that wait for one of those to end
    std::size_t waitingRequestByteLimit =
        std::size_t{1024} * 1024;               ///< bytes of their URLs, escapes included
    std::chrono::seconds requestTimeLimit{30};  ///< for a request, from its being asked for
    std::chrono::seconds lastRequestsLimit{5};  ///< for requests that are left at the end of its world
};

}  // namespace OMIDKorvonet1

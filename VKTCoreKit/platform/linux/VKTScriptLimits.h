// What a world is told to have passed, in the words of whoever set the limit.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "VKTCoreKit/platform/VKTScriptExecutor.h"

/// A turn's limit, its name, and what such a turn is.
struct VKTScriptTurnLimit {
    std::chrono::milliseconds time;
    const char* name;
    const char* turn;
};

inline VKTScriptTurnLimit vkt_loadLimit(const VKTScriptLimits& limits) {
    return {limits.loadLimit, "SDKLimits::loadLimit", "loading a script"};
}

inline VKTScriptTurnLimit vkt_callLimit(const VKTScriptLimits& limits) {
    return {limits.turnLimit, "SDKLimits::turnLimit", "a turn"};
}

inline std::string vkt_turnLimitText(const VKTScriptTurnLimit& limit) {
    return std::string(limit.turn) + " used more than " + std::to_string(limit.time.count()) +
           " ms of processor time (" + limit.name + ")";
}

inline std::string vkt_totalLimitText(const VKTScriptLimits& limits) {
    return "all turns together used more than " + std::to_string(limits.totalLimit.count()) +
           " s of processor time (SDKLimits::totalLimit)";
}

inline std::string vkt_backlogLimitText(const VKTScriptLimits& limits) {
    return "messages of more than " + std::to_string(limits.backlogLimit) +
           " bytes were not taken yet (SDKLimits::backlogLimit)";
}

// What a world is told to have passed, in the words of whoever set the limit.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "VKTCoreKit/platform/VKTScriptExecutor.h"

inline std::string vkt_turnLimitText(const VKTScriptOptions& options) {
    return "a turn used more than " + std::to_string(options.turnLimit.count()) +
           " ms of processor time (VKTScriptOptions::turnLimit)";
}

inline std::string vkt_totalLimitText(const VKTScriptOptions& options) {
    return "all turns together used more than " + std::to_string(options.totalLimit.count()) +
           " s of processor time (VKTScriptOptions::totalLimit)";
}

inline std::string vkt_messageLimitText(const VKTScriptOptions& options) {
    return "a message is longer than " + std::to_string(options.messageLimit) +
           " bytes (VKTScriptOptions::messageLimit)";
}

inline std::string vkt_backlogLimitText(const VKTScriptOptions& options) {
    return "messages of more than " + std::to_string(options.backlogLimit) +
           " bytes were not taken yet (VKTScriptOptions::backlogLimit)";
}

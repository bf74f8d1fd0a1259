#include "VKTCoreKit/core/VKTLogDefaultOutput.h"

#include <cstdio>

#include "VKTCoreKit/core/VKTTimeUtils.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

const std::shared_ptr<VKTLogDefaultOutput>& VKTLogDefaultOutput::sharedInstance() {
    static const auto* instance =
        new std::shared_ptr<VKTLogDefaultOutput>(std::make_shared<VKTLogDefaultOutput>());
    return *instance;
}

std::string VKTLogDefaultOutput::generateLog(std::string_view message, VKTLogLevel level,
                                             std::string_view tag) {
    const std::string time = VKTTimeUtils::timeFromDate(VKTPlatform::current().clock->now());
    return vkt_stringWithFormat("%@ %@[%@] %@", {time, tag, VKTLog::levelName(level), message});
}

void VKTLogDefaultOutput::logMessage(std::string_view message, VKTLogLevel level, std::string_view tag) {
    const std::string line = generateLog(message, level, tag) + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);  // one call, so that a line stays whole
}

#include "VKTCoreKit/core/VKTLogDefaultOutput.h"

#include <cstdio>

#include "VKTCoreKit/core/VKTTimeUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

// A document, server or script has a say in messages: no line of theirs may look like a line of the log.
std::string withIndentedLines(std::string_view message) {
    std::string lines;
    const char* separator = "";
    for (std::string_view line : vkt_split(message, '\n')) {
        if (*separator != '\0' && line.starts_with('\t')) line.remove_prefix(1);
        lines += separator + vkt_onOneLine(line);
        separator = "\n\t";
    }
    return lines;
}

}  // namespace

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
    const std::string line = generateLog(withIndentedLines(message), level, tag) + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);  // one call, so that a line stays whole
}

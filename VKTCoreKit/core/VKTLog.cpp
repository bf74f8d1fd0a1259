#include "VKTCoreKit/core/VKTLog.h"

#include <cstdio>
#include <utility>

#include "VKTCoreKit/core/VKTLogDefaultOutput.h"
#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/platform/VKTProblemLog.h"
#include "VKTCoreKit/platform/VKTServices.h"

const std::shared_ptr<VKTLogDefaultDataSource>& VKTLogDefaultDataSource::sharedInstance() {
    static const auto* instance =
        new std::shared_ptr<VKTLogDefaultDataSource>(std::make_shared<VKTLogDefaultDataSource>());
    return *instance;
}

bool VKTLogDefaultDataSource::logShouldLogMessageWithLevel(const VKTLog&, VKTLogLevel) {
    return false;
}

const std::shared_ptr<VKTLog>& VKTLog::sharedInstance() {
    static const auto* instance =
        new std::shared_ptr<VKTLog>(initWithTag(VKTFrameworkName, nullptr, VKTFrameworkBuiltInDebug));
    return *instance;
}

std::shared_ptr<VKTLog> VKTLog::initWithTag(std::string tag, std::shared_ptr<VKTLogDataSource> dataSource,
                                            bool debugLoggingEnabled) {
    return initWithTag(std::move(tag), std::move(dataSource), nullptr, debugLoggingEnabled);
}

std::shared_ptr<VKTLog> VKTLog::initWithTag(std::string tag, std::shared_ptr<VKTLogDataSource> dataSource,
                                            std::shared_ptr<VKTLogOutput> output, bool debugLoggingEnabled) {
    return std::shared_ptr<VKTLog>(
        new VKTLog(std::move(tag), std::move(dataSource), std::move(output), debugLoggingEnabled));
}

VKTLog::VKTLog(std::string tag, std::shared_ptr<VKTLogDataSource> dataSource,
               std::shared_ptr<VKTLogOutput> output, bool debugLoggingEnabled)
    : tag_(std::move(tag)), isDebugLoggingEnabled_(debugLoggingEnabled) {
    setDataSource(std::move(dataSource));
    setOutput(std::move(output));
}

const char* VKTLog::levelName(int level) {
    switch (level) {
        case VKTLogLevelInfo:
            return "INFO";
        case VKTLogLevelError:
            return "ERROR";
        case VKTLogLevelWarning:
            return "WARNING";
        default:
            return "DEBUG";
    }
}

std::shared_ptr<VKTLogDataSource> VKTLog::dataSource() const {
    const VKTLock lock(mutex_);
    return dataSource_;
}

void VKTLog::setDataSource(std::shared_ptr<VKTLogDataSource> dataSource) {
    if (!dataSource) dataSource = VKTLogDefaultDataSource::sharedInstance();
    // The old one is released after the lock: its destructor may log.
    const VKTLock lock(mutex_);
    dataSource_.swap(dataSource);
}

std::shared_ptr<VKTLogOutput> VKTLog::output() const {
    const VKTLock lock(mutex_);
    return output_;
}

void VKTLog::setOutput(std::shared_ptr<VKTLogOutput> output) {
    if (!output) output = VKTLogDefaultOutput::sharedInstance();
    // The old one is released after the lock: its destructor may log.
    const VKTLock lock(mutex_);
    output_.swap(output);
}

bool VKTLog::isLoggingEnabledForLevel(VKTLogLevel level) const {
    return dataSource()->logShouldLogMessageWithLevel(*this, level);
}

void VKTLog::logMessage(std::string_view message, VKTLogLevel level) const {
    try {
        const bool passes =
            level == VKTLogLevelDebug ? isDebugLoggingEnabled() : isLoggingEnabledForLevel(level);
        if (passes) output()->logMessage(message, level, tag_);
    } catch (...) {
        // Whoever logs may be in the middle of something, or on a thread of the library's own.
        std::fputs("VKTCoreKit: a log's output or data source has thrown an exception; catch it in there.\n",
                   stderr);
    }
}

void VKTLog::logStackTrackWithLevel(VKTLogLevel level) const {
    logMessage(vkt_stringWithFormat("\n\t%@", {vkt_joined(vkt_callStackSymbols(), "\n\t")}), level);
}

void vkt_logWarning(std::string_view message) {
    VKTLog::sharedInstance()->logWarning(message);
}

void vkt_logError(std::string_view message) {
    VKTLog::sharedInstance()->logError(message);
}

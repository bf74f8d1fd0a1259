// What the library's own logger says while a test runs.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"

/// Routes the shared logger here until it is destroyed; every level but debug. Any thread may log.
class VKTRecordedLog {
  public:
    VKTRecordedLog() {
        VKTLog::sharedInstance()->setOutput(lines_);
        VKTLog::sharedInstance()->setDataSource(lines_);
    }
    ~VKTRecordedLog() {
        VKTLog::sharedInstance()->setDataSource(nullptr);
        VKTLog::sharedInstance()->setOutput(nullptr);
    }
    VKTRecordedLog(const VKTRecordedLog&) = delete;
    VKTRecordedLog& operator=(const VKTRecordedLog&) = delete;

    /// "LEVEL message" each; they are then forgotten.
    std::vector<std::string> take() { return lines_->take(); }

  private:
    class Lines : public VKTLogOutput, public VKTLogDataSource {
      public:
        void logMessage(std::string_view message, VKTLogLevel level, std::string_view /*tag*/) override {
            const VKTLock lock(mutex_);
            lines_.push_back(std::string(VKTLog::levelName(level)) + " " + std::string(message));
        }
        bool logShouldLogMessageWithLevel(const VKTLog& /*logger*/, VKTLogLevel /*level*/) override {
            return true;
        }
        std::vector<std::string> take() {
            const VKTLock lock(mutex_);
            return std::exchange(lines_, {});
        }

      private:
        VKTMutex mutex_;
        std::vector<std::string> lines_ VKT_GUARDED_BY(mutex_);
    };

    const std::shared_ptr<Lines> lines_ = std::make_shared<Lines>();
};

/// What is logged at debug level while the action runs, a line for each message; other levels are left out.
template <typename Action>
std::string vkt_debugLogOf(const Action& action) {
    const std::string level = "DEBUG ";
    VKTRecordedLog log;
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(true);
    action();
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(false);
    std::string text;
    for (const std::string& line : log.take()) {
        if (line.starts_with(level)) text += line.substr(level.size()) + "\n";
    }
    return text;
}

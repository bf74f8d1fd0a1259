// The library's own console-style logger.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"

class VKTLog;

/// Not an order of severity.
enum VKTLogLevel : int {
    VKTLogLevelDebug = 0,
    VKTLogLevelInfo = 1,
    VKTLogLevelError = 2,
    VKTLogLevelWarning = 3,
};

/// Decides which messages are printed. Asked on whatever thread logs, with no lock held.
class VKT_EXPORT VKTLogDataSource {
  public:
    virtual ~VKTLogDataSource() = default;

    /// Whether `logger` may print messages of `level`. Never asked about debug messages by `logMessage`.
    virtual bool logShouldLogMessageWithLevel(const VKTLog& logger, VKTLogLevel level) = 0;
};

/// Takes the messages that are to be printed, on whatever thread logs, with no lock held.
class VKT_EXPORT VKTLogOutput {
  public:
    virtual ~VKTLogOutput() = default;

    virtual void logMessage(std::string_view message, VKTLogLevel level, std::string_view tag) = 0;
};

/// Lets nothing through.
class VKT_EXPORT VKTLogDefaultDataSource : public VKTLogDataSource {
  public:
    static const std::shared_ptr<VKTLogDefaultDataSource>& sharedInstance();

    bool logShouldLogMessageWithLevel(const VKTLog& logger, VKTLogLevel level) override;
};

/// Passes messages that its data source allows to its output. Debug messages ask the flag
/// `isDebugLoggingEnabled` instead of the data source.
///
/// Every operation may be called on any thread, also while another sets the data source, the output or the
/// flag. Holds its data source and its output strongly.
///
/// ```cpp
/// struct Complaints : VKTLogDataSource {
///     bool logShouldLogMessageWithLevel(const VKTLog&, VKTLogLevel level) override {
///         return level == VKTLogLevelError || level == VKTLogLevelWarning;
///     }
/// };
/// VKTLog::sharedInstance()->setDataSource(std::make_shared<Complaints>());
/// VKTLog::sharedInstance()->logWarning("the tuner is busy");
/// ```
class VKT_EXPORT VKTLog {
  public:
    /// The logger of the whole library: tag "VKTCoreKit", silent until it is given another data source or its
    /// debug flag is set. Never destroyed.
    static const std::shared_ptr<VKTLog>& sharedInstance();

    /// A null data source or output means the default one.
    static std::shared_ptr<VKTLog> initWithTag(std::string tag, std::shared_ptr<VKTLogDataSource> dataSource,
                                               bool debugLoggingEnabled);
    static std::shared_ptr<VKTLog> initWithTag(std::string tag, std::shared_ptr<VKTLogDataSource> dataSource,
                                               std::shared_ptr<VKTLogOutput> output,
                                               bool debugLoggingEnabled);

    /// "INFO", "ERROR", "WARNING"; "DEBUG" for every other value.
    static const char* levelName(int level);

    [[nodiscard]] const std::string& tag() const { return tag_; }

    [[nodiscard]] std::shared_ptr<VKTLogOutput> output() const;

    /// Routes what is logged from now on; null means the default output. A message that is on its way still
    /// goes to the old one, which lives as long as that takes. It may log in its destructor.
    void setOutput(std::shared_ptr<VKTLogOutput> output);

    [[nodiscard]] std::shared_ptr<VKTLogDataSource> dataSource() const;
    void setDataSource(std::shared_ptr<VKTLogDataSource> dataSource);  ///< null means the default one

    [[nodiscard]] bool isDebugLoggingEnabled() const { return isDebugLoggingEnabled_; }
    void setIsDebugLoggingEnabled(bool enabled) { isDebugLoggingEnabled_ = enabled; }

    [[nodiscard]] bool isLoggingEnabledForLevel(VKTLogLevel level) const;

    /// Without a level, a debug message.
    void logMessage(std::string_view message, VKTLogLevel level = VKTLogLevelDebug) const;

    void logDebug(std::string_view message) const { logMessage(message, VKTLogLevelDebug); }
    void logInfo(std::string_view message) const { logMessage(message, VKTLogLevelInfo); }
    void logError(std::string_view message) const { logMessage(message, VKTLogLevelError); }
    void logWarning(std::string_view message) const { logMessage(message, VKTLogLevelWarning); }

    /// The placeholders are those of `vkt_stringWithFormat`.
    template <typename... Arguments>
    void logDebugWithFormat(std::string_view format, const Arguments&... arguments) const {
        logDebug(vkt_stringWithFormat(format, {VKTFormatArgument(arguments)...}));
    }
    template <typename... Arguments>
    void logInfoWithFormat(std::string_view format, const Arguments&... arguments) const {
        logInfo(vkt_stringWithFormat(format, {VKTFormatArgument(arguments)...}));
    }
    template <typename... Arguments>
    void logWarningWithFormat(std::string_view format, const Arguments&... arguments) const {
        logWarning(vkt_stringWithFormat(format, {VKTFormatArgument(arguments)...}));
    }
    template <typename... Arguments>
    void logErrorWithFormat(std::string_view format, const Arguments&... arguments) const {
        logError(vkt_stringWithFormat(format, {VKTFormatArgument(arguments)...}));
    }

    /// Logs the calling thread's stack, one line per frame; without a level, as a debug message.
    void logStackTrack() const { logStackTrackWithLevel(VKTLogLevelDebug); }
    void logStackTrackWithLevel(VKTLogLevel level) const;

  private:
    VKTLog(std::string tag, std::shared_ptr<VKTLogDataSource> dataSource,
           std::shared_ptr<VKTLogOutput> output, bool debugLoggingEnabled);

    const std::string tag_;
    std::atomic<bool> isDebugLoggingEnabled_;
    mutable VKTMutex mutex_;
    std::shared_ptr<VKTLogDataSource> dataSource_ VKT_GUARDED_BY(mutex_);
    std::shared_ptr<VKTLogOutput> output_ VKT_GUARDED_BY(mutex_);
};

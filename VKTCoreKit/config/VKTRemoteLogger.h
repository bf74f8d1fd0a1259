// Sends sampled records to the log collector.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/config/VKTRemoteConfigLoggerConfig.h"
#include "VKTCoreKit/config/VKTRemoteLog.h"
#include "VKTCoreKit/core/VKTTimer.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/network/VKTURLSession.h"
#include "VKTCoreKit/platform/VKTClock.h"
#include "VKTCoreKit/platform/VKTHeaderRule.h"
#include "VKTCoreKit/platform/VKTRandomSource.h"
#include "VKTCoreKit/privacy/VKTDeviceInfo.h"

class VKTRemoteLogBacklog;

/// Requests under way at once; what is submitted meanwhile waits.
inline constexpr std::size_t VKTRemoteLogRequestLimit = 4;

/// Records that wait, for a request to end or for the network; beyond it those submitted first are dropped,
/// in whatever order requests fail.
inline constexpr std::size_t VKTRemoteLogBacklogLimit = 1000;

/// Bytes of the JSON texts of all records, waiting and under way together. Beyond it those that wait are
/// dropped, the first submitted first; a record that still does not fit is dropped itself. What is under way
/// is never dropped; its texts are in memory twice, once in the body of its request.
inline constexpr std::size_t VKTRemoteLogByteLimit = std::size_t{4} * 1024 * 1024;

/// Stands in for a collector until one is given.
inline constexpr const char* VKTRemoteLoggerPlaceholderEndPoint = "https://127.0.0.1/";

using VKTRemoteLogHeaders = VKTHeaderList;

/// What the remote configuration decides. A sampling rate N means that one record in N is sent; with 0 none
/// is.
struct VKTRemoteLoggerSettings {
    VKTURL endPointURL;
    VKTRemoteLogLevel minimumLogLevel = VKTRemoteLogLevelNone;
    std::optional<VKTRemoteLogHeaders> customHeaders = std::nullopt;
    std::uint64_t debugSamplingRate = 10'000;
    std::uint64_t infoSamplingRate = 1'000;
    std::uint64_t warningSamplingRate = 100;
    std::uint64_t errorSamplingRate = 100;
    VKTTimeInterval sendingLogsInterval{60};  ///< kept only: every record is sent at once
};

/// Decides which records are made at all, and sends each that is submitted, together with what waits.
///
/// At most `VKTRemoteLogRequestLimit` requests are under way. A submission sends all that waits in one
/// request, or, when there is no room for one, in the request that follows the next one that ends. What
/// fails because the device is not connected waits for the next submission, whatever ends before it: so each
/// submission is at most one attempt, and nothing is tried while nobody logs. What fails otherwise is
/// dropped.
///
/// Any thread; meant for the main thread. Requests end on the HTTP delivery thread. A request under way keeps
/// the logger alive; records that wait are lost with it.
///
/// ```cpp
/// auto logger = VKTRemoteLogger::initWithDefaultEndPoint(url, "player");
/// logger->configureWithDictionary({{"minLogLevel", "warning"}});
/// if (auto record = logger->generateLogWithMessage("no ad", VKTRemoteLogLevelWarning)) logger->log(*record);
/// ```
class VKT_EXPORT VKTRemoteLogger : public std::enable_shared_from_this<VKTRemoteLogger> {
  public:
    using RequestCompletionHandler = std::function<void(bool succeeded)>;

    /// The category goes into each record. Nothing may be null; what is not given is the shared session, the
    /// platform's clock and random source, and the shared device info.
    static std::shared_ptr<VKTRemoteLogger> initWithClientSDKCategory(std::string category);
    static std::shared_ptr<VKTRemoteLogger> initWithDefaultEndPoint(VKTURL endPoint,
                                                                    std::string clientSDKCategory);
    static std::shared_ptr<VKTRemoteLogger> initWithDefaultEndPoint(
        VKTURL endPoint, std::string clientSDKCategory, std::shared_ptr<const VKTURLSession> session);
    static std::shared_ptr<VKTRemoteLogger> initWithDefaultEndPoint(
        VKTURL endPoint, std::string clientSDKCategory, std::shared_ptr<const VKTURLSession> session,
        std::shared_ptr<VKTClock> clock, std::shared_ptr<VKTRandomSource> random,
        std::shared_ptr<const VKTDeviceInfo> deviceInfo);

    ~VKTRemoteLogger();
    VKTRemoteLogger(const VKTRemoteLogger&) = delete;
    VKTRemoteLogger& operator=(const VKTRemoteLogger&) = delete;

    // Settings.

    /// All settings as they are at first, with this end point.
    void resetDefaultValues(VKTURL endPoint);

    /// Applies the "logger" object of a configuration document: "URL", "customHTTPHeaders" (those with both
    /// "name" and "value" as texts), "minLogLevel", "sendingLogsInterval" and "samplingRate". What is missing
    /// or of another type stays as it is; a negative rate is 0. A header that cannot be sent is left out with
    /// a warning in the log, see `vkt_headerRefusal`.
    void configureWithDictionary(const VKTDictionary& dictionary);

    /// Takes the end point, if there is one, the minimum level and the rates. Without a configuration nothing
    /// is sent any more.
    void configFromRemoteConfig(const std::optional<VKTRemoteConfigLoggerConfig>& loggerConfig);

    [[nodiscard]] VKTRemoteLoggerSettings settings() const;
    void setSettings(VKTRemoteLoggerSettings settings);  ///< headers as above

    [[nodiscard]] VKTURL endPointURL() const { return settings().endPointURL; }
    [[nodiscard]] VKTRemoteLogLevel minimumLogLevel() const { return settings().minimumLogLevel; }
    [[nodiscard]] std::optional<VKTRemoteLogHeaders> customHeaders() const {
        return settings().customHeaders;
    }
    [[nodiscard]] std::uint64_t debugSamplingRate() const { return settings().debugSamplingRate; }
    [[nodiscard]] std::uint64_t infoSamplingRate() const { return settings().infoSamplingRate; }
    [[nodiscard]] std::uint64_t warningSamplingRate() const { return settings().warningSamplingRate; }
    [[nodiscard]] std::uint64_t errorSamplingRate() const { return settings().errorSamplingRate; }
    [[nodiscard]] VKTTimeInterval sendingLogsInterval() const { return settings().sendingLogsInterval; }
    [[nodiscard]] const std::string& clientCategory() const { return clientCategory_; }
    [[nodiscard]] const std::shared_ptr<const VKTURLSession>& session() const { return session_; }

    /// Kept for the embedder; sending does not ask for it.
    [[nodiscard]] bool shouldLog() const;
    void setShouldLog(bool shouldLog);

    /// Called once for each request that ends, on the HTTP delivery thread, possibly before the submission
    /// that made it returns. Empty for none. What it throws is dropped with a line in the log.
    [[nodiscard]] RequestCompletionHandler requestCompletionHandler() const;
    void setRequestCompletionHandler(RequestCompletionHandler handler);

    // Making records.

    static VKTRemoteLogLevel logLevelFromString(std::string_view string);

    /// Draws whether a record of this level is to be made: another answer each time.
    [[nodiscard]] bool canSendLogWithLevel(VKTRemoteLogLevel level) const;

    /// 0 for a level without one.
    [[nodiscard]] std::uint64_t samplingRateForLevel(VKTRemoteLogLevel level) const;
    [[nodiscard]] std::string generateTimestamp() const;

    /// A record when `canSendLogWithLevel` says so, else nothing.
    [[nodiscard]] std::optional<VKTRemoteLog> generateLogWithMessage(
        std::string message, VKTRemoteLogLevel level, std::optional<std::string> type = std::nullopt) const;
    [[nodiscard]] std::optional<VKTRemoteLog> generateLogWithMessage(
        std::string message, VKTRemoteLogLevel level, std::optional<std::string> type,
        std::optional<std::string_view> baseURLString, std::optional<VKTLogNodes> nodes) const;

    /// A record with a metric, also as a node "measure". Without both texts, or when the draw is lost, a
    /// second draw decides whether there is a record without one.
    [[nodiscard]] std::optional<VKTRemoteLog> generateLogWithMessage(
        std::string message, VKTRemoteLogLevel level, std::optional<std::string> type,
        std::optional<std::string> metricType, std::optional<std::string> metricValue) const;

    // Sending them.

    /// Submits a record with further nodes, or with the entries of dictionaries. One that JSON cannot hold is
    /// dropped.
    void log(const VKTRemoteLog& remoteLog, const VKTLogNodes& enrichedWithNodes = {});
    void log(const VKTRemoteLog& remoteLog, const std::vector<VKTDictionary>& enrichedWithDictionaries);

    /// A submission without a record. What fails because the device is not connected waits again ahead of all
    /// others.
    void sendPendingLogs();

    /// A POST request with all of these as a JSON array.
    [[nodiscard]] VKTURLRequest requestWithLogs(const VKTArray& logs) const;

    /// What waits, in the order of sending. Read anew from the texts: for looking now and then.
    [[nodiscard]] VKTArray pendingLogs() const;

    /// By the identifiers of their tasks; read anew like the above.
    [[nodiscard]] std::map<std::uint64_t, VKTArray> ongoingRequests() const;

    // Every record is sent at once, so there is nothing to start, and there is no timer.
    void startLogging() {}
    void stopLogging() {}
    void startLoggingTimer() {}
    void stopLoggingTimer() {}
    void timerFired(VKTTimer& /*timer*/) {}
    [[nodiscard]] std::shared_ptr<VKTTimer> logTimer() const { return nullptr; }

  private:
    struct Batch;

    VKTRemoteLogger(VKTURL endPoint, std::string clientSDKCategory,
                    std::shared_ptr<const VKTURLSession> session, std::shared_ptr<VKTClock> clock,
                    std::shared_ptr<VKTRandomSource> random, std::shared_ptr<const VKTDeviceInfo> deviceInfo);

    [[nodiscard]] VKTRemoteLog makeLog(std::string message, VKTRemoteLogLevel level,
                                       std::uint64_t samplingRate, std::optional<std::string> type) const;
    [[nodiscard]] std::optional<std::uint64_t> drawRate(VKTRemoteLogLevel level) const;
    [[nodiscard]] std::uint32_t drawNumber() const;
    void submit(VKTDictionary logDictionary);
    void sendReleasedLogs();
    std::shared_ptr<Batch> takeBatch();
    void requestDidEnd(const std::shared_ptr<Batch>& batch, const VKTURLSessionResponse& response);
    void dropOldest() VKT_REQUIRES(mutex_);
    [[nodiscard]] VKTURLRequest requestWithBody(std::optional<std::string> body) const;

    const std::string clientCategory_;
    const std::shared_ptr<const VKTURLSession> session_;
    const std::shared_ptr<VKTClock> clock_;
    const std::shared_ptr<VKTRandomSource> random_;
    const std::shared_ptr<const VKTDeviceInfo> deviceInfo_;

    // Never held over a request or the handler.
    mutable VKTMutex mutex_;
    VKTRemoteLoggerSettings settings_ VKT_GUARDED_BY(mutex_);
    bool shouldLog_ VKT_GUARDED_BY(mutex_) = false;
    RequestCompletionHandler requestCompletionHandler_ VKT_GUARDED_BY(mutex_);
    const std::unique_ptr<VKTRemoteLogBacklog> backlog_ VKT_PT_GUARDED_BY(mutex_);
    // Owned by the completions of their requests, so that one which is never called leaves no place taken.
    std::vector<std::weak_ptr<Batch>> ongoing_ VKT_GUARDED_BY(mutex_);
};

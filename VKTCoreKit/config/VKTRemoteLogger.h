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
#include <utility>
#include <vector>

#include "VKTCoreKit/config/VKTRemoteConfigLoggerConfig.h"
#include "VKTCoreKit/config/VKTRemoteLog.h"
#include "VKTCoreKit/core/VKTTimer.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/network/VKTURLSession.h"
#include "VKTCoreKit/platform/VKTClock.h"
#include "VKTCoreKit/platform/VKTRandomSource.h"
#include "VKTCoreKit/privacy/VKTDeviceInfo.h"

/// Records that wait for the network; beyond it the oldest are dropped.
inline constexpr std::size_t VKTRemoteLogBacklogLimit = 1000;

/// Stands in for a collector until one is given.
inline constexpr const char* VKTRemoteLoggerPlaceholderEndPoint = "https://127.0.0.1/";

using VKTRemoteLogHeaders = std::vector<std::pair<std::string, std::string>>;  // names and values

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
/// Any thread; meant for the main thread. Requests end on the HTTP delivery thread. A request under way keeps
/// the logger alive; records that wait are lost with it.
class VKTRemoteLogger : public std::enable_shared_from_this<VKTRemoteLogger> {
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

    ~VKTRemoteLogger() { stopLogging(); }
    VKTRemoteLogger(const VKTRemoteLogger&) = delete;
    VKTRemoteLogger& operator=(const VKTRemoteLogger&) = delete;

    // Settings.

    /// All settings as they are at first, with this end point.
    void resetDefaultValues(VKTURL endPoint);

    /// Applies the "logger" object of a configuration document: "URL", "customHTTPHeaders" (those with both
    /// "name" and "value" as texts), "minLogLevel", "sendingLogsInterval" and "samplingRate". What is missing
    /// or of another type stays as it is; a negative rate is 0.
    void configureWithDictionary(const VKTDictionary& dictionary);

    /// Takes the end point, if there is one, the minimum level and the rates. Without a configuration nothing
    /// is sent any more.
    void configFromRemoteConfig(const std::optional<VKTRemoteConfigLoggerConfig>& loggerConfig);

    [[nodiscard]] VKTRemoteLoggerSettings settings() const;
    void setSettings(VKTRemoteLoggerSettings settings);

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
    /// that made it returns. Empty for none.
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

    /// Sends all that waits in one request. What fails because the device is not connected waits again, ahead
    /// of what came in between, and goes with the next submission; what fails otherwise is dropped.
    void sendPendingLogs();

    /// A POST request with all of these as a JSON array.
    [[nodiscard]] VKTURLRequest requestWithLogs(const VKTArray& logs) const;

    [[nodiscard]] VKTArray pendingLogs() const;

    /// By the identifiers of their tasks.
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
    void requestDidEnd(Batch& batch, const VKTURLSessionResponse& response);

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
    VKTArray pendingLogs_ VKT_GUARDED_BY(mutex_);
    std::map<std::uint64_t, std::shared_ptr<Batch>> ongoingRequests_ VKT_GUARDED_BY(mutex_);
};

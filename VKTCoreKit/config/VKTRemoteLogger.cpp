#include "VKTCoreKit/config/VKTRemoteLogger.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "VKTCoreKit/config/VKTConfigReading.h"
#include "VKTCoreKit/config/VKTRemoteLogUtils.h"
#include "VKTCoreKit/config/detail/VKTRemoteLogBacklog.h"
#include "VKTCoreKit/core/VKTDictionaryExtension.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/VKTServices.h"

namespace {

constexpr VKTTimeInterval requestTimeout{30};
constexpr const char* userAgentHeader = "User-Agent";

void readRate(const VKTDictionary& rates, std::string_view level, std::uint64_t& rate) {
    if (vkt_configNumberForKey(rates, level)) rate = vkt_configUnsignedForKey(rates, level);
}

VKTRemoteLogHeaders headersFromArray(const VKTArray& array) {
    VKTRemoteLogHeaders headers;
    for (const VKTValue& each : array) {
        const VKTDictionary* header = each.asDictionary();
        if (header == nullptr) continue;
        const std::string* name = vkt_configStringForKey(*header, "name");
        const std::string* value = vkt_configStringForKey(*header, "value");
        if (name != nullptr && value != nullptr) headers.emplace_back(*name, *value);
    }
    return headers;
}

std::uint64_t rateOfLevel(const VKTRemoteLoggerSettings& settings, VKTRemoteLogLevel level) {
    switch (level) {
        case VKTRemoteLogLevelDebug:
            return settings.debugSamplingRate;
        case VKTRemoteLogLevelInfo:
            return settings.infoSamplingRate;
        case VKTRemoteLogLevelWarning:
            return settings.warningSamplingRate;
        case VKTRemoteLogLevelError:
            return settings.errorSamplingRate;
        default:
            return 0;
    }
}

VKTArray arrayFromBody(std::string_view body) {
    return std::move(*vkt_JSONValueWithData(body)->asArray());
}

bool isSuccess(const VKTURLSessionResponse& response) {
    return !response.error() && response.response() && response.response()->statusCode >= 200 &&
           response.response()->statusCode < 400;
}

bool isNotConnected(const VKTURLSessionResponse& response) {
    return response.error() && response.error()->code() == VKTURLErrorNotConnectedToInternet;
}

}  // namespace

// One request under way.
struct VKTRemoteLogger::Batch {
    VKTRemoteLogRecords records;
    std::optional<std::uint64_t> taskIdentifier;  // known when the task is; guarded by the logger's mutex
};

std::shared_ptr<VKTRemoteLogger> VKTRemoteLogger::initWithClientSDKCategory(std::string category) {
    return initWithDefaultEndPoint(*VKTURL::URLWithString(VKTRemoteLoggerPlaceholderEndPoint),
                                   std::move(category));
}

std::shared_ptr<VKTRemoteLogger> VKTRemoteLogger::initWithDefaultEndPoint(VKTURL endPoint,
                                                                          std::string clientSDKCategory) {
    return initWithDefaultEndPoint(std::move(endPoint), std::move(clientSDKCategory),
                                   VKTURLSession::sharedInstance());
}

std::shared_ptr<VKTRemoteLogger> VKTRemoteLogger::initWithDefaultEndPoint(
    VKTURL endPoint, std::string clientSDKCategory, std::shared_ptr<const VKTURLSession> session) {
    const VKTPlatform& platform = VKTPlatform::current();
    return initWithDefaultEndPoint(std::move(endPoint), std::move(clientSDKCategory), std::move(session),
                                   platform.clock, platform.random, VKTDeviceInfo::sharedInstance());
}

std::shared_ptr<VKTRemoteLogger> VKTRemoteLogger::initWithDefaultEndPoint(
    VKTURL endPoint, std::string clientSDKCategory, std::shared_ptr<const VKTURLSession> session,
    std::shared_ptr<VKTClock> clock, std::shared_ptr<VKTRandomSource> random,
    std::shared_ptr<const VKTDeviceInfo> deviceInfo) {
    return std::shared_ptr<VKTRemoteLogger>(
        new VKTRemoteLogger(std::move(endPoint), std::move(clientSDKCategory), std::move(session),
                            std::move(clock), std::move(random), std::move(deviceInfo)));
}

VKTRemoteLogger::VKTRemoteLogger(VKTURL endPoint, std::string clientSDKCategory,
                                 std::shared_ptr<const VKTURLSession> session,
                                 std::shared_ptr<VKTClock> clock, std::shared_ptr<VKTRandomSource> random,
                                 std::shared_ptr<const VKTDeviceInfo> deviceInfo)
    : clientCategory_(std::move(clientSDKCategory)),
      session_(std::move(session)),
      clock_(std::move(clock)),
      random_(std::move(random)),
      deviceInfo_(std::move(deviceInfo)),
      settings_{std::move(endPoint)},
      backlog_(std::make_unique<VKTRemoteLogBacklog>()) {}

VKTRemoteLogger::~VKTRemoteLogger() {
    stopLogging();
}

void VKTRemoteLogger::resetDefaultValues(VKTURL endPoint) {
    setSettings({std::move(endPoint)});
}

void VKTRemoteLogger::configureWithDictionary(const VKTDictionary& dictionary) {
    std::optional<VKTRemoteLogHeaders> customHeaders;
    if (const VKTArray* headers = vkt_optArrayForKey(dictionary, "customHTTPHeaders"))
        customHeaders = vkt_usableHeaders(headersFromArray(*headers),
                                          R"("customHTTPHeaders" in the remote configuration's "logger")");
    const VKTLock lock(mutex_);
    if (auto endPoint = vkt_configURLForKey(dictionary, "URL")) settings_.endPointURL = *std::move(endPoint);
    if (customHeaders) settings_.customHeaders = std::move(customHeaders);
    if (const std::string* level = vkt_configStringForKey(dictionary, "minLogLevel"))
        settings_.minimumLogLevel = logLevelFromString(*level);
    if (const auto interval = vkt_configNumberForKey(dictionary, "sendingLogsInterval"))
        settings_.sendingLogsInterval = VKTTimeInterval(interval->doubleValue());
    if (const VKTDictionary* rates = vkt_optDictionaryForKey(dictionary, "samplingRate")) {
        readRate(*rates, "debug", settings_.debugSamplingRate);
        readRate(*rates, "info", settings_.infoSamplingRate);
        readRate(*rates, "warning", settings_.warningSamplingRate);
        readRate(*rates, "error", settings_.errorSamplingRate);
    }
}

void VKTRemoteLogger::configFromRemoteConfig(const std::optional<VKTRemoteConfigLoggerConfig>& loggerConfig) {
    constexpr auto never = std::numeric_limits<std::uint64_t>::max();
    const auto config = loggerConfig.value_or(
        VKTRemoteConfigLoggerConfig{std::nullopt, VKTRemoteLogLevelNone, never, never, never, never});
    const VKTLock lock(mutex_);
    if (config.endPointURL) settings_.endPointURL = *config.endPointURL;
    settings_.minimumLogLevel = config.minimumLogLevel;
    settings_.debugSamplingRate = config.debugSamplingRate;
    settings_.infoSamplingRate = config.infoSamplingRate;
    settings_.warningSamplingRate = config.warningSamplingRate;
    settings_.errorSamplingRate = config.errorSamplingRate;
}

VKTRemoteLoggerSettings VKTRemoteLogger::settings() const {
    const VKTLock lock(mutex_);
    return settings_;
}

void VKTRemoteLogger::setSettings(VKTRemoteLoggerSettings settings) {
    if (settings.customHeaders)
        settings.customHeaders =
            vkt_usableHeaders(*std::move(settings.customHeaders), "VKTRemoteLoggerSettings::customHeaders");
    const VKTLock lock(mutex_);
    settings_ = std::move(settings);
}

bool VKTRemoteLogger::shouldLog() const {
    const VKTLock lock(mutex_);
    return shouldLog_;
}

void VKTRemoteLogger::setShouldLog(bool shouldLog) {
    const VKTLock lock(mutex_);
    shouldLog_ = shouldLog;
}

VKTRemoteLogger::RequestCompletionHandler VKTRemoteLogger::requestCompletionHandler() const {
    const VKTLock lock(mutex_);
    return requestCompletionHandler_;
}

void VKTRemoteLogger::setRequestCompletionHandler(RequestCompletionHandler handler) {
    const VKTLock lock(mutex_);
    requestCompletionHandler_.swap(handler);
}

VKTRemoteLogLevel VKTRemoteLogger::logLevelFromString(std::string_view string) {
    return vkt_remoteLogLevelFromString(string);
}

bool VKTRemoteLogger::canSendLogWithLevel(VKTRemoteLogLevel level) const {
    return drawRate(level).has_value();
}

std::uint64_t VKTRemoteLogger::samplingRateForLevel(VKTRemoteLogLevel level) const {
    return rateOfLevel(settings(), level);
}

// The rate by which the draw was won; nothing when it was lost. A record carries this one, whatever another
// thread configures meanwhile.
std::optional<std::uint64_t> VKTRemoteLogger::drawRate(VKTRemoteLogLevel level) const {
    const VKTRemoteLoggerSettings current = settings();
    if (current.minimumLogLevel > level) return std::nullopt;
    const std::uint64_t rate = rateOfLevel(current, level);
    return rate != 0 && drawNumber() % rate == 0 ? std::optional(rate) : std::nullopt;
}

// Each of the 2^32 numbers, which the random source cannot draw at once: it never gives the largest.
std::uint32_t VKTRemoteLogger::drawNumber() const {
    constexpr std::uint32_t half = 1U << 16U;
    const std::uint32_t high = random_->uniform(half);
    return high * half + random_->uniform(half);
}

std::string VKTRemoteLogger::generateTimestamp() const {
    return vkt_logTimestampFromDate(clock_->now());
}

VKTRemoteLog VKTRemoteLogger::makeLog(std::string message, VKTRemoteLogLevel level,
                                      std::uint64_t samplingRate, std::optional<std::string> type) const {
    return {.timestamp = generateTimestamp(),
            .message = std::move(message),
            .category = clientCategory_,
            .level = level,
            .samplingRate = samplingRate,
            .type = std::move(type)};
}

std::optional<VKTRemoteLog> VKTRemoteLogger::generateLogWithMessage(std::string message,
                                                                    VKTRemoteLogLevel level,
                                                                    std::optional<std::string> type) const {
    return generateLogWithMessage(std::move(message), level, std::move(type), std::nullopt,
                                  std::optional<VKTLogNodes>());
}

std::optional<VKTRemoteLog> VKTRemoteLogger::generateLogWithMessage(
    std::string message, VKTRemoteLogLevel level, std::optional<std::string> type,
    std::optional<std::string_view> baseURLString, std::optional<VKTLogNodes> nodes) const {
    const auto rate = drawRate(level);
    if (!rate) return std::nullopt;
    VKTRemoteLog log = makeLog(std::move(message), level, *rate, std::move(type));
    log.nodes = std::move(nodes);
    log.setBaseURLString(baseURLString);
    return log;
}

std::optional<VKTRemoteLog> VKTRemoteLogger::generateLogWithMessage(
    std::string message, VKTRemoteLogLevel level, std::optional<std::string> type,
    std::optional<std::string> metricType, std::optional<std::string> metricValue) const {
    const auto rate = metricType && metricValue ? drawRate(level) : std::nullopt;
    if (!rate) return generateLogWithMessage(std::move(message), level, std::move(type));
    VKTRemoteLog log = makeLog(std::move(message), level, *rate, std::move(type));
    log.nodes = VKTLogNodes{VKTLogMeasureNode::initWithMeasureDictionary({{*metricType, *metricValue}})};
    log.metricType = std::move(metricType);
    log.metricValue = std::move(metricValue);
    return log;
}

void VKTRemoteLogger::log(const VKTRemoteLog& remoteLog, const VKTLogNodes& enrichedWithNodes) {
    submit(VKTRemoteLogUtils::generateJSONDictionaryWithLog(remoteLog, enrichedWithNodes));
}

void VKTRemoteLogger::log(const VKTRemoteLog& remoteLog,
                          const std::vector<VKTDictionary>& enrichedWithDictionaries) {
    submit(VKTRemoteLogUtils::generateJSONDictionaryWithLog(remoteLog, enrichedWithDictionaries));
}

void VKTRemoteLogger::submit(VKTDictionary logDictionary) {
    // As in the body, an element of an array. One that JSON cannot hold would keep the others from being
    // sent.
    if (const auto array = vkt_JSONStringWithValue(VKTArray{std::move(logDictionary)})) {
        const VKTLock lock(mutex_);
        backlog_->submit(array->substr(1, array->size() - 2));
        dropOldest();
    }
    sendPendingLogs();
}

void VKTRemoteLogger::sendPendingLogs() {
    {
        const VKTLock lock(mutex_);
        backlog_->release();
    }
    sendReleasedLogs();
}

void VKTRemoteLogger::sendReleasedLogs() {
    auto batch = takeBatch();
    if (!batch) return;
    vkt_callGuarded("the session of a VKTRemoteLogger", [&] {
        const auto task = session_->asynchronousDataRequestWithURLRequest(
            requestWithBody(vkt_bodyOfRecords(batch->records)),
            [self = shared_from_this(), batch](const VKTURLSessionResponse& response, const auto&) {
                self->requestDidEnd(batch, response);
            });
        const VKTLock lock(mutex_);
        batch->taskIdentifier = task->identifier();
    });
}

// All that may be sent now; null when there is nothing, or no room for another request.
std::shared_ptr<VKTRemoteLogger::Batch> VKTRemoteLogger::takeBatch() {
    const VKTLock lock(mutex_);
    std::erase_if(ongoing_, [](const auto& batch) { return batch.expired(); });
    if (ongoing_.size() >= VKTRemoteLogRequestLimit) return nullptr;
    auto batch = std::make_shared<Batch>(Batch{backlog_->takeReleased(), std::nullopt});
    if (batch->records.empty()) return nullptr;
    ongoing_.push_back(batch);
    return batch;
}

void VKTRemoteLogger::dropOldest() {
    std::size_t bytesUnderWay = 0;
    for (const auto& each : ongoing_) {
        if (const auto batch = each.lock()) bytesUnderWay += vkt_bytesOfRecords(batch->records);
    }
    backlog_->dropOldest(VKTRemoteLogBacklogLimit,
                         VKTRemoteLogByteLimit - std::min(VKTRemoteLogByteLimit, bytesUnderWay));
}

VKTURLRequest VKTRemoteLogger::requestWithLogs(const VKTArray& logs) const {
    return requestWithBody(vkt_JSONStringWithValue(logs));
}

VKTURLRequest VKTRemoteLogger::requestWithBody(std::optional<std::string> body) const {
    const VKTRemoteLoggerSettings current = settings();
    VKTURLRequest request;
    request.url = current.endPointURL;
    request.HTTPMethod = "POST";
    request.timeoutInterval = requestTimeout;
    request.headers = {{"Content-Type", "application/json"}, {"Accept", "application/json"}};
    for (const auto& [name, value] : current.customHeaders.value_or(VKTRemoteLogHeaders())) {
        if (!vkt_equalsIgnoringCase(name, userAgentHeader)) request.addValue(value, name);
    }
    request.addValue(deviceInfo_->userAgent(), userAgentHeader);
    request.HTTPBody = std::move(body);
    return request;
}

void VKTRemoteLogger::requestDidEnd(const std::shared_ptr<Batch>& batch,
                                    const VKTURLSessionResponse& response) {
    RequestCompletionHandler handler;
    {
        const VKTLock lock(mutex_);
        std::erase_if(ongoing_, [&](const auto& each) { return each.lock() == batch; });
        if (isNotConnected(response)) {
            backlog_->putBack(std::exchange(batch->records, {}));
            dropOldest();
        }
        handler = requestCompletionHandler_;
    }
    if (handler) vkt_callGuarded("requestCompletionHandler", [&] { handler(isSuccess(response)); });
    sendReleasedLogs();
}

VKTArray VKTRemoteLogger::pendingLogs() const {
    std::string body;
    {
        const VKTLock lock(mutex_);
        body = vkt_bodyOfRecords(backlog_->records());
    }
    return arrayFromBody(body);
}

std::map<std::uint64_t, VKTArray> VKTRemoteLogger::ongoingRequests() const {
    std::map<std::uint64_t, std::string> bodies;
    {
        const VKTLock lock(mutex_);
        for (const auto& each : ongoing_) {
            const auto batch = each.lock();
            if (batch && batch->taskIdentifier)
                bodies[*batch->taskIdentifier] = vkt_bodyOfRecords(batch->records);
        }
    }
    std::map<std::uint64_t, VKTArray> requests;
    for (const auto& [identifier, body] : bodies)
        requests[identifier] = arrayFromBody(body);
    return requests;
}

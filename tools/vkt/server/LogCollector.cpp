#include "server/LogCollector.h"

#include <algorithm>

#include "VKTCoreKit/platform/VKTServices.h"

namespace {

std::optional<VKTArray> logsOf(std::string_view body) {
    auto value = vkt_JSONValueWithData(body);
    VKTArray* logs = value ? value->asArray() : nullptr;
    const auto isObject = [](const VKTValue& log) { return log.asDictionary() != nullptr; };
    if (logs == nullptr || !std::all_of(logs->begin(), logs->end(), isObject)) return std::nullopt;
    return std::move(*logs);
}

}  // namespace

bool LogCollector::add(std::string_view body, std::string userAgent, std::string answer) {
    auto logs = logsOf(body);
    if (!logs) return false;
    const auto now = std::chrono::time_point_cast<VKTDate::duration>(std::chrono::system_clock::now());
    std::string line = timeOfDay(now) + " /logs " + std::to_string(logs->size()) + " collected";
    if (answer != "normal") line += " -> " + answer;
    onLine_(line);
    const std::lock_guard lock(mutex_);
    bytes_ += body.size();
    deliveries_.push_back({now, std::move(userAgent), std::move(answer), *std::move(logs), body.size()});
    while (deliveries_.size() > deliveryLimit || bytes_ > byteLimit) {
        bytes_ -= deliveries_.front().bytes;
        deliveries_.pop_front();
    }
    return true;
}

void LogCollector::clear() {
    const std::lock_guard lock(mutex_);
    deliveries_.clear();
    bytes_ = 0;
}

std::string LogCollector::JSON() const {
    VKTArray report;
    {
        const std::lock_guard lock(mutex_);
        for (const Delivery& delivery : deliveries_) {
            report.emplace_back(VKTDictionary{{"time", localTextOfDate(delivery.time)},
                                              {"userAgent", delivery.userAgent},
                                              {"answer", delivery.answer},
                                              {"logs", delivery.logs}});
        }
    }
    return vkt_JSONStringWithValue(std::move(report)).value_or("[]");
}

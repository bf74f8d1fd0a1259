#include "VKTCoreKit/config/VKTRemoteLog.h"

#include <algorithm>
#include <tuple>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTURL.h"

namespace {

bool areEqual(const std::optional<VKTLogNodes>& left, const std::optional<VKTLogNodes>& right) {
    if (!left || !right) return !left && !right;
    return std::equal(left->begin(), left->end(), right->begin(), right->end(),
                      [](const auto& one, const auto& other) {
                          return one && other ? one->isEqualToLogNode(*other) : one == other;
                      });
}

bool isThere(const std::optional<std::string>& text) {
    return text && !text->empty();
}

}  // namespace

void VKTRemoteLog::setBaseURLString(std::optional<std::string_view> baseURLString) {
    host.reset();
    secured.reset();
    if (!baseURLString) return;
    const auto url = VKTURL::URLWithString(*baseURLString);
    secured = url && url->scheme() && vkt_equalsIgnoringCase(*url->scheme(), "https");
    if (url && url->host()) host = std::string(*url->host());
}

std::string VKTRemoteLog::stringFromLogLevel(VKTRemoteLogLevel level) {
    return std::string(vkt_stringFromRemoteLogLevel(level).value_or(""));
}

VKTDictionary VKTRemoteLog::toLogJSONDictionary() const {
    VKTDictionary inner;
    if (!category.empty()) inner.set("category", category);
    inner.set("level", stringFromLogLevel(level));
    inner.set("samplingRate", samplingRate);
    if (isThere(type)) inner.set("type", *type);
    if (isThere(metricType) && isThere(metricValue)) {
        inner.set("metricType", *metricType);
        inner.set("metricValue", *metricValue);
    }
    return {{"log", std::move(inner)}};
}

bool operator==(const VKTRemoteLog& left, const VKTRemoteLog& right) {
    const auto compared = [](const VKTRemoteLog& log) {
        return std::tie(log.timestamp, log.message, log.category, log.level, log.samplingRate, log.type,
                        log.host, log.secured);
    };
    return compared(left) == compared(right) && areEqual(left.nodes, right.nodes);
}

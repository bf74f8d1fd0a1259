// One record for the log collector.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/config/VKTLogNode.h"
#include "VKTCoreKit/config/VKTRemoteLogLevel.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTValue.h"

struct VKTRemoteLog;
VKT_EXPORT bool operator==(const VKTRemoteLog& left, const VKTRemoteLog& right);

/// A passive record.
struct VKT_EXPORT VKTRemoteLog {
    std::string timestamp;  ///< as `vkt_logTimestampFromDate` writes it
    std::string message;
    std::string category;
    VKTRemoteLogLevel level = VKTRemoteLogLevelDebug;
    std::uint64_t samplingRate = 0;  ///< one in so many records of the level was kept
    std::optional<std::string> type = std::nullopt;
    std::optional<VKTLogNodes> nodes = std::nullopt;
    std::optional<std::string> host = std::nullopt;  ///< of the base URL
    std::optional<bool> secured =
        std::nullopt;  ///< whether the base URL is https; nothing when there is none
    std::optional<std::string> metricType = std::nullopt;
    std::optional<std::string> metricValue = std::nullopt;

    /// Sets `host` and `secured`.
    void setBaseURLString(std::optional<std::string_view> baseURLString);

    /// The level's name; "" for a level without one.
    static std::string stringFromLogLevel(VKTRemoteLogLevel level);

    /// A compact form for embedders: an object "log" with "category", "level", "samplingRate", "type",
    /// "metricType" and "metricValue". Empty texts are left out; the metric needs both of its texts.
    [[nodiscard]] VKTDictionary toLogJSONDictionary() const;

    /// The metric takes no part.
    friend bool operator==(const VKTRemoteLog& left, const VKTRemoteLog& right);
};

// The configuration of one site as its document says it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "VKTCoreKit/config/VKTRemoteConfigKorvoConfig.h"
#include "VKTCoreKit/config/VKTRemoteConfigLoggerConfig.h"
#include "VKTCoreKit/foundation/VKTExport.h"

/// A passive record.
struct VKT_EXPORT VKTRemoteConfig {
    double TTL = 0;  ///< seconds of validity announced by the server
    VKTRemoteConfigLoggerConfig loggerConfig;
    VKTRemoteConfigKorvoConfig korvoConfig;
    std::int64_t statusCode = 0;
    std::optional<std::string> version;

    /// Reads the configuration document. Nothing without a positive "TTL" and a "korvo" object; a missing
    /// "logger" counts as an empty one.
    static std::optional<VKTRemoteConfig> initWithDictionary(const VKTDictionary& dictionary);

    static VKTRemoteConfig initWithTTL(double TTL, VKTRemoteConfigLoggerConfig loggerConfig,
                                       VKTRemoteConfigKorvoConfig korvoConfig, std::int64_t statusCode,
                                       std::optional<std::string> version);

    [[nodiscard]] bool isEqual(const VKTRemoteConfig& other) const { return *this == other; }
    [[nodiscard]] bool isEqualToRemoteConfig(const VKTRemoteConfig& other) const { return *this == other; }

    friend bool operator==(const VKTRemoteConfig&, const VKTRemoteConfig&) = default;
};

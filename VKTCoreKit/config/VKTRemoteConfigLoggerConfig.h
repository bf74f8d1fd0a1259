// What the remote configuration says to the remote logger.
#pragma once

#include <cstdint>
#include <optional>

#include "VKTCoreKit/config/VKTRemoteLogLevel.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/foundation/VKTValue.h"

/// A passive record. A sampling rate N means that one record in N is sent; with 0 none is.
struct VKT_EXPORT VKTRemoteConfigLoggerConfig {
    std::optional<VKTURL> endPointURL;  ///< of the log collector
    VKTRemoteLogLevel minimumLogLevel = VKTRemoteLogLevelNone;
    std::uint64_t debugSamplingRate = 0;
    std::uint64_t infoSamplingRate = 0;
    std::uint64_t warningSamplingRate = 0;
    std::uint64_t errorSamplingRate = 0;

    /// Reads the "logger" object of the configuration document. What is missing, or of another type, keeps
    /// the value above; a rate saturates at the bounds of its type.
    static VKTRemoteConfigLoggerConfig initWithDictionary(const VKTDictionary& dictionary);

    static VKTRemoteConfigLoggerConfig initWithEndPointURL(
        std::optional<VKTURL> endPointURL, VKTRemoteLogLevel minimumLogLevel, std::uint64_t debugSamplingRate,
        std::uint64_t infoSamplingRate, std::uint64_t warningSamplingRate, std::uint64_t errorSamplingRate);

    [[nodiscard]] bool isEqual(const VKTRemoteConfigLoggerConfig& other) const { return *this == other; }
    [[nodiscard]] bool isEqualToLoggerConfig(const VKTRemoteConfigLoggerConfig& other) const {
        return *this == other;
    }

    friend bool operator==(const VKTRemoteConfigLoggerConfig&, const VKTRemoteConfigLoggerConfig&) = default;
};

// What the remote configuration says of the site and its ad calls.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/foundation/VKTValue.h"

/// Base URL of the ad server, unless a configuration names another. Deployments put their own here.
inline constexpr const char* VKTProductionAdServerBaseURL = "https://adserver.korvonet.example/";

/// Parameters that go with each ad call. A passive record.
struct VKT_EXPORT VKTRemoteConfigKorvoConfigAdCallParameters {
    VKTDictionary postParameters;
    VKTDictionary getParameters;

    /// Reads "adCallAdditionalParameters"; what is missing, or no object, is empty.
    static VKTRemoteConfigKorvoConfigAdCallParameters initWithDictionary(const VKTDictionary& dictionary);

    static VKTRemoteConfigKorvoConfigAdCallParameters initWithPostParameters(VKTDictionary postParameters,
                                                                             VKTDictionary getParameters);

    [[nodiscard]] bool isEqual(const VKTRemoteConfigKorvoConfigAdCallParameters& other) const {
        return *this == other;
    }
    [[nodiscard]] bool isEqualToAdCallParameters(
        const VKTRemoteConfigKorvoConfigAdCallParameters& other) const {
        return *this == other;
    }

    friend bool operator==(const VKTRemoteConfigKorvoConfigAdCallParameters&,
                           const VKTRemoteConfigKorvoConfigAdCallParameters&) = default;
};

/// A passive record.
struct VKT_EXPORT VKTRemoteConfigKorvoConfig {
    std::uint64_t networkID = 0;
    VKTURL adCallBaseURL;
    VKTRemoteConfigKorvoConfigAdCallParameters adCallParameters;
    std::optional<std::string> latestSDKVersionID;  ///< a number in decimal
    std::optional<std::string> latestSDKMessage;

    /// Reads the "korvo" object of the configuration document. Without a usable "adCallBaseURL", that of the
    /// production ad server; what else is missing, or of another type, is absent, empty or 0. A negative
    /// network is 0.
    static VKTRemoteConfigKorvoConfig initWithDictionary(const VKTDictionary& dictionary);

    static VKTRemoteConfigKorvoConfig initWithNetworkID(
        std::uint64_t networkID, VKTURL adCallBaseURL,
        VKTRemoteConfigKorvoConfigAdCallParameters adCallParameters,
        std::optional<std::string> latestSDKVersionID, std::optional<std::string> latestSDKMessage);

    [[nodiscard]] bool isEqual(const VKTRemoteConfigKorvoConfig& other) const { return *this == other; }
    [[nodiscard]] bool isEqualToKorvoConfig(const VKTRemoteConfigKorvoConfig& other) const {
        return *this == other;
    }

    friend bool operator==(const VKTRemoteConfigKorvoConfig&, const VKTRemoteConfigKorvoConfig&) = default;
};

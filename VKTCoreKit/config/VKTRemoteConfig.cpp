#include "VKTCoreKit/config/VKTRemoteConfig.h"

#include <utility>

#include "VKTCoreKit/config/VKTConfigReading.h"
#include "VKTCoreKit/core/VKTDictionaryExtension.h"

std::optional<VKTRemoteConfig> VKTRemoteConfig::initWithDictionary(const VKTDictionary& dictionary) {
    const std::optional<VKTNumber> lifetime = vkt_configNumberForKey(dictionary, "TTL");
    const VKTDictionary* korvo = vkt_optDictionaryForKey(dictionary, "korvo");
    const bool isPositive = lifetime && lifetime->doubleValue() > 0;  // false for a NaN
    if (!isPositive || korvo == nullptr) return std::nullopt;

    VKTRemoteConfig config;
    config.TTL = lifetime->doubleValue();
    config.korvoConfig = VKTRemoteConfigKorvoConfig::initWithDictionary(*korvo);
    if (const VKTDictionary* logger = vkt_optDictionaryForKey(dictionary, "logger"))
        config.loggerConfig = VKTRemoteConfigLoggerConfig::initWithDictionary(*logger);
    if (const auto statusCode = vkt_configNumberForKey(dictionary, "statusCode"))
        config.statusCode = statusCode->integerValue();
    if (const std::string* version = vkt_configStringForKey(dictionary, "version")) config.version = *version;
    return config;
}

VKTRemoteConfig VKTRemoteConfig::initWithTTL(double TTL, VKTRemoteConfigLoggerConfig loggerConfig,
                                             VKTRemoteConfigKorvoConfig korvoConfig, std::int64_t statusCode,
                                             std::optional<std::string> version) {
    return {TTL, std::move(loggerConfig), std::move(korvoConfig), statusCode, std::move(version)};
}

#include "VKTCoreKit/config/VKTRemoteConfigLoggerConfig.h"

#include <utility>

#include "VKTCoreKit/config/VKTConfigReading.h"
#include "VKTCoreKit/core/VKTDictionaryExtension.h"

VKTRemoteConfigLoggerConfig VKTRemoteConfigLoggerConfig::initWithDictionary(const VKTDictionary& dictionary) {
    VKTRemoteConfigLoggerConfig config;
    config.endPointURL = vkt_configURLForKey(dictionary, "URL");
    if (const std::string* level = vkt_configStringForKey(dictionary, "minLogLevel"))
        config.minimumLogLevel = vkt_remoteLogLevelFromString(*level);
    if (const VKTDictionary* rates = vkt_optDictionaryForKey(dictionary, "samplingRate")) {
        config.debugSamplingRate = vkt_configUnsignedForKey(*rates, "debug");
        config.infoSamplingRate = vkt_configUnsignedForKey(*rates, "info");
        config.warningSamplingRate = vkt_configUnsignedForKey(*rates, "warning");
        config.errorSamplingRate = vkt_configUnsignedForKey(*rates, "error");
    }
    return config;
}

VKTRemoteConfigLoggerConfig VKTRemoteConfigLoggerConfig::initWithEndPointURL(
    std::optional<VKTURL> endPointURL, VKTRemoteLogLevel minimumLogLevel, std::uint64_t debugSamplingRate,
    std::uint64_t infoSamplingRate, std::uint64_t warningSamplingRate, std::uint64_t errorSamplingRate) {
    return {std::move(endPointURL), minimumLogLevel,     debugSamplingRate,
            infoSamplingRate,       warningSamplingRate, errorSamplingRate};
}

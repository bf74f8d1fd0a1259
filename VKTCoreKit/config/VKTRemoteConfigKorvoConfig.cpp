#include "VKTCoreKit/config/VKTRemoteConfigKorvoConfig.h"

#include <utility>

#include "VKTCoreKit/config/VKTConfigReading.h"
#include "VKTCoreKit/core/VKTDictionaryExtension.h"

namespace {

VKTDictionary dictionaryForKey(const VKTDictionary& dictionary, std::string_view key) {
    const VKTDictionary* found = vkt_optDictionaryForKey(dictionary, key);
    return found == nullptr ? VKTDictionary() : *found;
}

}  // namespace

VKTRemoteConfigKorvoConfigAdCallParameters VKTRemoteConfigKorvoConfigAdCallParameters::initWithDictionary(
    const VKTDictionary& dictionary) {
    return {dictionaryForKey(dictionary, "post"), dictionaryForKey(dictionary, "get")};
}

VKTRemoteConfigKorvoConfigAdCallParameters VKTRemoteConfigKorvoConfigAdCallParameters::initWithPostParameters(
    VKTDictionary postParameters, VKTDictionary getParameters) {
    return {std::move(postParameters), std::move(getParameters)};
}

VKTRemoteConfigKorvoConfig VKTRemoteConfigKorvoConfig::initWithDictionary(const VKTDictionary& dictionary) {
    VKTRemoteConfigKorvoConfig config;
    config.networkID = vkt_configUnsignedForKey(dictionary, "networkId");
    std::optional<VKTURL> baseURL = vkt_configURLForKey(dictionary, "adCallBaseURL");
    config.adCallBaseURL =
        baseURL ? *std::move(baseURL) : *VKTURL::URLWithString(VKTProductionAdServerBaseURL);
    if (const VKTDictionary* parameters = vkt_optDictionaryForKey(dictionary, "adCallAdditionalParameters"))
        config.adCallParameters = VKTRemoteConfigKorvoConfigAdCallParameters::initWithDictionary(*parameters);
    if (const auto versionID = vkt_configNumberForKey(dictionary, "latestSDKVersionId"))
        config.latestSDKVersionID = versionID->description();
    if (const std::string* message = vkt_configStringForKey(dictionary, "latestSDKMessage"))
        config.latestSDKMessage = *message;
    return config;
}

VKTRemoteConfigKorvoConfig VKTRemoteConfigKorvoConfig::initWithNetworkID(
    std::uint64_t networkID, VKTURL adCallBaseURL,
    VKTRemoteConfigKorvoConfigAdCallParameters adCallParameters,
    std::optional<std::string> latestSDKVersionID, std::optional<std::string> latestSDKMessage) {
    return {networkID, std::move(adCallBaseURL), std::move(adCallParameters), std::move(latestSDKVersionID),
            std::move(latestSDKMessage)};
}

#include "VKTCoreKit/config/VKTLogSDKNode.h"

#include <utility>

namespace {

// What collectors know every client of this library by.
constexpr const char* platformName = "iOS";

const char* nameOfIdentityType(VKTIdentityType type) {
    switch (type) {
        case VKTIdentityTypeAdvertisingID:
            return "appleIDFA";
        case VKTIdentityTypeTransientID:
            return "korvoTransientID";
        case VKTIdentityTypeCustomIdentifier:
            return "publisherCustomID";
        default:
            return nullptr;
    }
}

}  // namespace

std::shared_ptr<VKTLogSDKNode> VKTLogSDKNode::initWithSDKName(
    std::string SDKName, std::string sdkVersion, std::int64_t sdkVersionID,
    std::optional<bool> useManualBaseURL, std::optional<std::string> coreSdkVersion,
    std::int64_t implementationType, std::string appName, std::string appVersion, std::string appBundleID,
    std::string platform, std::string systemVersion, VKTIdentityType identityType, bool isAdTrackingLimited,
    std::int64_t ATTAuthorizationStatus, std::optional<std::string> GPPString,
    std::optional<std::string> GPPSIDString, std::int64_t GPPStringVersion, bool isGPPStringValid,
    std::optional<std::string> TCFString, bool isTCFStringValid, std::int64_t TCFStringVersion,
    std::optional<std::string> CCPAString, bool isCCPAStringValid, std::int64_t CCPAStringVersion,
    std::optional<std::string> reachabilityStatus) {
    VKTDictionary dictionary;
    const auto setUnlessAbsent = [&](const char* key, std::optional<std::string>&& text) {
        if (text) dictionary.set(key, *std::move(text));
    };
    dictionary.set("name", std::move(SDKName));
    dictionary.set("version", std::move(sdkVersion));
    dictionary.set("versionId", sdkVersionID);
    if (useManualBaseURL) dictionary.set("useManualBaseUrl", *useManualBaseURL);
    if (coreSdkVersion && !coreSdkVersion->empty()) dictionary.set("coreVersion", *std::move(coreSdkVersion));
    dictionary.set("implementationType", implementationType);
    dictionary.set("platformName", platformName);
    dictionary.set("platformVersion", std::move(systemVersion));
    dictionary.set("deviceName", std::move(platform));
    setUnlessAbsent("deviceConnectionType", std::move(reachabilityStatus));
    if (const char* uidType = nameOfIdentityType(identityType)) dictionary.set("uidType", uidType);
    setUnlessAbsent("GPPString", std::move(GPPString));
    setUnlessAbsent("GPPSIDString", std::move(GPPSIDString));
    dictionary.set("GPPStringValid", isGPPStringValid);
    dictionary.set("GPPVersion", GPPStringVersion);
    setUnlessAbsent("gdpr_consent", std::move(TCFString));
    dictionary.set("TCFStringValid", isTCFStringValid);
    dictionary.set("TCFVersion", TCFStringVersion);
    setUnlessAbsent("CCPAString", std::move(CCPAString));
    dictionary.set("CCPAStringValid", isCCPAStringValid);
    dictionary.set("CCPAVersion", CCPAStringVersion);
    dictionary.set("uidLimitedTracking", isAdTrackingLimited);
    dictionary.set("appName", std::move(appName));
    dictionary.set("appVersion", std::move(appVersion));
    dictionary.set("bundleId", std::move(appBundleID));
    dictionary.set("ATTAuthorizationStatus", ATTAuthorizationStatus);
    return std::shared_ptr<VKTLogSDKNode>(new VKTLogSDKNode("sdk", std::move(dictionary)));
}

#include "ground/EmbeddingSDK.h"

#include "VKTCoreKit/config/VKTLogSDKNode.h"
#include "VKTCoreKit/network/VKTReachabilityManager.h"
#include "VKTCoreKit/privacy/VKTAppInfo.h"
#include "VKTCoreKit/privacy/VKTDeviceInfo.h"
#include "VKTCoreKit/privacy/VKTFrameworkInfo.h"

namespace {

constexpr std::int64_t primaryImplementation = 0;

}  // namespace

std::shared_ptr<const VKTLogNode> makeSDKNode(const VKTConfiguration& configuration) {
    const auto& app = VKTAppInfo::sharedInstance();
    const auto& device = VKTDeviceInfo::sharedInstance();
    const char* version = VKTFrameworkInfo::sharedInstance()->frameworkVersionString();
    const auto identity = configuration.deviceIdentity();
    const auto GPP = identity->GPPString();
    const auto TCF = identity->TCFString();
    const auto CCPA = identity->CCPAString();
    return VKTLogSDKNode::initWithSDKName(
        EmbeddingSDKName, version, EmbeddingSDKVersionID, configuration.manualBaseURL().has_value(), version,
        primaryImplementation, app->appName(), app->appVersion(), app->appBundleIdentifier(),
        device->platform(), device->systemVersion(), identity->type(), !device->advertisingTrackingEnabled(),
        device->trackingAuthorizationStatus(), GPP ? std::optional(GPP->GPPString()) : std::nullopt,
        GPP ? std::optional(GPP->GPPSIDString()) : std::nullopt, GPP ? GPP->version() : 0,
        GPP && GPP->isValid(), TCF ? std::optional(TCF->TCFString()) : std::nullopt, TCF && TCF->isValid(),
        TCF ? TCF->version() : 0, CCPA ? std::optional(CCPA->CCPAString()) : std::nullopt,
        CCPA && CCPA->isValid(), CCPA ? CCPA->version() : 0,
        VKTReachabilityManager::sharedManager()->networkReachabilityStatusString());
}

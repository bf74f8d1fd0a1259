// The part of a log record that tells of the SDK, the application and the device.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/config/VKTLogNode.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/privacy/VKTIdentity.h"

/// "sdk".
class VKT_EXPORT VKTLogSDKNode final : public VKTLogDictionaryNode {
  public:
    /// `platform` is the device's model. A text that is absent is left out, and so is an empty
    /// `coreSdkVersion` and an identity type without a name. Callers may leave out what was added over time,
    /// from the end: the tracking authorisation (-1 where the system does not ask), the consent strings, the
    /// reachability.
    static std::shared_ptr<VKTLogSDKNode> initWithSDKName(
        std::string SDKName, std::string sdkVersion, std::int64_t sdkVersionID,
        std::optional<bool> useManualBaseURL, std::optional<std::string> coreSdkVersion,
        std::int64_t implementationType, std::string appName, std::string appVersion, std::string appBundleID,
        std::string platform, std::string systemVersion, VKTIdentityType identityType,
        bool isAdTrackingLimited, std::int64_t ATTAuthorizationStatus = -1,
        std::optional<std::string> GPPString = std::nullopt,
        std::optional<std::string> GPPSIDString = std::nullopt, std::int64_t GPPStringVersion = 0,
        bool isGPPStringValid = false, std::optional<std::string> TCFString = std::nullopt,
        bool isTCFStringValid = false, std::int64_t TCFStringVersion = 0,
        std::optional<std::string> CCPAString = std::nullopt, bool isCCPAStringValid = false,
        std::int64_t CCPAStringVersion = 0, std::optional<std::string> reachabilityStatus = std::nullopt);

  private:
    using VKTLogDictionaryNode::VKTLogDictionaryNode;
};

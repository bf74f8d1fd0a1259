#include "VKTCoreKit/network/VKTNetworkInfo.h"

#include <utility>

#include "VKTCoreKit/core/detail/VKTWiFiAddress.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

constexpr std::uint32_t WiFiAccessType = 6;

}  // namespace

const std::shared_ptr<VKTNetworkInfo>& VKTNetworkInfo::sharedInstance() {
    // First: whoever hears of its first report may ask for the instance.
    const auto& manager = VKTReachabilityManager::sharedManager();
    static const auto* instance = [&] {
        VKTPlatform::noteKeptBy("VKTNetworkInfo::sharedInstance()");
        return new std::shared_ptr<VKTNetworkInfo>(initWithReachabilityManager(manager));
    }();
    return *instance;
}

std::shared_ptr<VKTNetworkInfo> VKTNetworkInfo::initWithReachabilityManager(
    std::shared_ptr<VKTReachabilityManager> reachabilityManager) {
    return initWithReachabilityManager(std::move(reachabilityManager), VKTPlatform::current().device);
}

std::shared_ptr<VKTNetworkInfo> VKTNetworkInfo::initWithReachabilityManager(
    std::shared_ptr<VKTReachabilityManager> reachabilityManager, std::shared_ptr<const VKTDevice> device) {
    return std::shared_ptr<VKTNetworkInfo>(
        new VKTNetworkInfo(std::move(reachabilityManager), std::move(device)));
}

VKTNetworkStatus VKTNetworkInfo::networkStatus() const {
    switch (reachabilityManager_->networkReachabilityStatus()) {
        case VKTNetworkReachabilityStatusNotReachable:
            return VKTNetworkStatusNotReachable;
        case VKTNetworkReachabilityStatusReachableViaWWAN:
        case VKTNetworkReachabilityStatusReachableViaWiFi:
            return VKTNetworkStatusReachable;
        default:
            return VKTNetworkStatusUnknown;
    }
}

VKTNetworkType VKTNetworkInfo::networkType() const {
    switch (reachabilityManager_->networkReachabilityStatus()) {
        case VKTNetworkReachabilityStatusReachableViaWWAN:
            return VKTNetworkTypeCellular;
        case VKTNetworkReachabilityStatusReachableViaWiFi:
            return VKTNetworkTypeWiFi;
        default:
            return VKTNetworkTypeNone;
    }
}

std::uint32_t VKTNetworkInfo::networkAccessType() const {
    return isReachableOnWiFi() ? WiFiAccessType : 0;
}

std::string VKTNetworkInfo::wifiLocalIPAddress() const {
    return vkt_WiFiIPv4Address(*device_).value_or("");
}

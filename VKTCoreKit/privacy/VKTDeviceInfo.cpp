#include "VKTCoreKit/privacy/VKTDeviceInfo.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

constexpr std::array<std::string_view, 19> lowPerformanceModels = {
    "iPod1,1",   "iPod2,1",   "iPod3,1",   "iPod4,1", "iPod5,1",   "iPhone1,1", "iPhone1,2",
    "iPhone2,1", "iPad1,1",   "iPad2,1",   "iPad2,5", "iPhone3,1", "iPhone4,1", "iPhone5,1",
    "iPhone5,2", "iPhone5,3", "iPhone5,4", "i386",    "x86_64"};

}  // namespace

const std::shared_ptr<VKTDeviceInfo>& VKTDeviceInfo::sharedInstance() {
    static const auto* instance = [] {
        VKTPlatform::noteKeptBy("VKTDeviceInfo::sharedInstance()");
        return new std::shared_ptr<VKTDeviceInfo>(init());
    }();
    return *instance;
}

std::shared_ptr<VKTDeviceInfo> VKTDeviceInfo::init() {
    return initWithInfoProvider(VKTDeviceInfoProvider::init());
}

std::shared_ptr<VKTDeviceInfo> VKTDeviceInfo::initWithInfoProvider(
    std::shared_ptr<VKTDeviceInfoProvider> infoProvider) {
    return std::shared_ptr<VKTDeviceInfo>(new VKTDeviceInfo(std::move(infoProvider)));
}

VKTDeviceInfo::VKTDeviceInfo(std::shared_ptr<VKTDeviceInfoProvider> infoProvider)
    : infoProvider_(std::move(infoProvider)),
      platform_(infoProvider_->currentPlatform()),
      systemVersion_(infoProvider_->currentSystem()),
      hasLowPerformances_(deviceHasLowPerformances(platform_)),
      canPlay360Videos_(infoProvider_->deviceCanPlay360Videos()),
      userAgent_(infoProvider_->webviewUserAgent()),
      advertisingTrackingEnabled_(infoProvider_->advertisingTrackingEnabled()),
      locale_(infoProvider_->locale()) {}

bool VKTDeviceInfo::deviceHasLowPerformances(std::string_view platform) {
    return std::find(lowPerformanceModels.begin(), lowPerformanceModels.end(), platform) !=
           lowPerformanceModels.end();
}

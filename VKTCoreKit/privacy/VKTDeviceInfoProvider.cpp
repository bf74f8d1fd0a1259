#include "VKTCoreKit/privacy/VKTDeviceInfoProvider.h"

#include <utility>

#include "VKTCoreKit/core/detail/VKTWiFiAddress.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

constexpr int authorized = 3;
constexpr std::int64_t firstMajorVersionWith360Videos = 7;

}  // namespace

std::shared_ptr<VKTDeviceInfoProvider> VKTDeviceInfoProvider::init() {
    return initWithDevice(VKTPlatform::current().device);
}

std::shared_ptr<VKTDeviceInfoProvider> VKTDeviceInfoProvider::initWithDevice(
    std::shared_ptr<const VKTDevice> device) {
    return std::shared_ptr<VKTDeviceInfoProvider>(new VKTDeviceInfoProvider(std::move(device)));
}

std::string VKTDeviceInfoProvider::userAgent() {
    return "Apple TV";
}

std::string VKTDeviceInfoProvider::generateUserAgent() {
    const auto device = VKTPlatform::current().device;
    return vkt_stringWithFormat("Mozilla/5.0 (%@; U; CPU OS %@ like Mac OS X; en-us)",
                                {vkt_replacingOccurrences(device->model(), " Simulator", ""),
                                 vkt_replacingOccurrences(device->systemVersion(), ".", "_")});
}

bool VKTDeviceInfoProvider::deviceCanPlay360Videos() const {
    return vkt_integerValue(device_->systemVersion()) >= firstMajorVersionWith360Videos;
}

std::string VKTDeviceInfoProvider::IPAddress() const {
    return vkt_WiFiIPv4Address(*device_).value_or("(no_ip_address)");
}

bool VKTDeviceInfoProvider::advertisingTrackingEnabled() const {
    const auto status = device_->trackingAuthorizationStatus();
    return status ? *status == authorized : device_->isAdvertisingTrackingEnabled();
}

int VKTDeviceInfoProvider::trackingAuthorizationStatus() const {
    const auto status = device_->trackingAuthorizationStatus();
    if (!status) return -1;
    return *status >= 1 && *status <= authorized ? *status : 0;
}

std::optional<std::string> VKTDeviceInfoProvider::locale() const {
    const auto languages = device_->preferredLanguages();
    return languages.empty() ? std::nullopt : std::optional<std::string>(languages.front());
}

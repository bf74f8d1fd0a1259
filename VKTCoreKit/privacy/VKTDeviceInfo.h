// What the library tells of the device.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/privacy/VKTDeviceInfoProvider.h"

/// Takes its values once, but for those that change while the application runs. Any thread; holds its
/// provider.
class VKT_EXPORT VKTDeviceInfo {
  public:
    /// Over a default provider made at the first call. Never destroyed.
    static const std::shared_ptr<VKTDeviceInfo>& sharedInstance();

    static std::shared_ptr<VKTDeviceInfo> init();  ///< over a default provider

    /// The provider must not be null.
    static std::shared_ptr<VKTDeviceInfo> initWithInfoProvider(
        std::shared_ptr<VKTDeviceInfoProvider> infoProvider);

    /// Whether that machine is too slow for demanding ads.
    static bool deviceHasLowPerformances(std::string_view platform);

    [[nodiscard]] const std::string& platform() const { return platform_; }  ///< the machine's name
    [[nodiscard]] const std::string& systemVersion() const { return systemVersion_; }
    [[nodiscard]] bool hasLowPerformances() const { return hasLowPerformances_; }
    [[nodiscard]] bool canPlay360Videos() const { return canPlay360Videos_; }
    [[nodiscard]] const std::string& userAgent() const { return userAgent_; }
    [[nodiscard]] bool advertisingTrackingEnabled() const { return advertisingTrackingEnabled_; }
    [[nodiscard]] const std::optional<std::string>& locale() const { return locale_; }

    /// Asked afresh; see the provider.
    [[nodiscard]] int trackingAuthorizationStatus() const {
        return infoProvider_->trackingAuthorizationStatus();
    }
    [[nodiscard]] std::string IPAddress() const { return infoProvider_->IPAddress(); }

  private:
    explicit VKTDeviceInfo(std::shared_ptr<VKTDeviceInfoProvider> infoProvider);

    const std::shared_ptr<VKTDeviceInfoProvider> infoProvider_;
    const std::string platform_;
    const std::string systemVersion_;
    const bool hasLowPerformances_;
    const bool canPlay360Videos_;
    const std::string userAgent_;
    const bool advertisingTrackingEnabled_;
    const std::optional<std::string> locale_;
};

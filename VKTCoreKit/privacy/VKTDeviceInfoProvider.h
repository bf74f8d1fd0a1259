// Facts about the device, in the form in which ad calls need them.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTDevice.h"

/// Asks the device afresh at each call. Any thread; holds the device.
class VKT_EXPORT VKTDeviceInfoProvider {
  public:
    /// Over the platform's device.
    static std::shared_ptr<VKTDeviceInfoProvider> init();

    /// The device must not be null.
    static std::shared_ptr<VKTDeviceInfoProvider> initWithDevice(std::shared_ptr<const VKTDevice> device);

    /// The one user agent of the library, whatever the device.
    static std::string userAgent();

    /// A browser's, made from the platform's device; the library does not use it.
    static std::string generateUserAgent();

    [[nodiscard]] std::string currentPlatform() const { return device_->machine(); }
    [[nodiscard]] std::string currentSystem() const { return device_->systemVersion(); }
    [[nodiscard]] bool deviceCanPlay360Videos() const;  ///< from system version 7.0 on
    [[nodiscard]] std::string webviewUserAgent() const { return userAgent(); }

    /// The IPv4 address of the interface "en0", the last when it has several; "(no_ip_address)" when it has
    /// none.
    [[nodiscard]] std::string IPAddress() const;

    /// Authorised by the user, on systems that ask; else what the system's flag says.
    [[nodiscard]] bool advertisingTrackingEnabled() const;

    /// 1 restricted, 2 denied, 3 authorised, 0 anything else; -1 on systems that do not ask.
    [[nodiscard]] int trackingAuthorizationStatus() const;

    /// The language that is preferred most; nothing when none is.
    [[nodiscard]] std::optional<std::string> locale() const;

  private:
    explicit VKTDeviceInfoProvider(std::shared_ptr<const VKTDevice> device) : device_(std::move(device)) {}

    const std::shared_ptr<const VKTDevice> device_;
};

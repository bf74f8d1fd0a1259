// Facts about a Linux device.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/platform/VKTDevice.h"
#include "VKTCoreKit/platform/VKTLocationServices.h"

/// The kernel's machine name, also for the model; the distribution's version, else the kernel's; the
/// languages of the environment. All of these are read once. Tracking is not asked for, and not enabled.
class VKTLinuxDevice final : public VKTDevice {
  public:
    VKTLinuxDevice();

    [[nodiscard]] std::string machine() const override { return machine_; }
    [[nodiscard]] std::string model() const override { return machine_; }
    [[nodiscard]] std::string systemName() const override { return "Linux"; }
    [[nodiscard]] std::string systemVersion() const override { return systemVersion_; }
    [[nodiscard]] std::vector<std::string> preferredLanguages() const override { return languages_; }
    [[nodiscard]] std::optional<VKTInterfaceAddresses> interfaceAddresses() const override;
    [[nodiscard]] std::optional<int> trackingAuthorizationStatus() const override { return std::nullopt; }
    [[nodiscard]] bool isAdvertisingTrackingEnabled() const override { return false; }

  private:
    std::string machine_;
    std::string systemVersion_;
    std::vector<std::string> languages_;
};

/// The value of `key` in the text of an os-release file, without its quotes; nothing when it is not there.
std::optional<std::string> vkt_OSReleaseValue(std::string_view text, std::string_view key);

/// The languages of a list of locale names: "de_AT.UTF-8:en" gives "de-AT" and "en". "C" and "POSIX" are
/// none.
std::vector<std::string> vkt_languagesFromLocaleNames(std::string_view names);

/// Switched off and denied: a request fails.
class VKTLinuxLocationServices final : public VKTLocationServices {
  public:
    [[nodiscard]] bool locationServicesEnabled() const override { return false; }
    [[nodiscard]] VKTLocationAuthorizationStatus authorizationStatus() const override {
        return VKTLocationAuthorizationStatusDenied;
    }
    [[nodiscard]] std::unique_ptr<VKTLocationRequest> requestLocation(
        const std::shared_ptr<VKTLocationRequestDelegate>& delegate) override;
};

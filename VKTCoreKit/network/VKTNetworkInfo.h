// What the rest of the library and its users ask of the network.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/network/VKTReachabilityManager.h"
#include "VKTCoreKit/platform/VKTDevice.h"

enum VKTNetworkStatus : std::uint8_t {
    VKTNetworkStatusUnknown = 0,
    VKTNetworkStatusNotReachable = 1,
    VKTNetworkStatusReachable = 2,
};

enum VKTNetworkType : std::uint8_t {
    VKTNetworkTypeNone = 0,  ///< or unknown
    VKTNetworkTypeWiFi = 1,
    VKTNetworkTypeCellular = 2,
};

/// Translates the status of a manager, which it holds, at each call. Any thread.
class VKT_EXPORT VKTNetworkInfo {
  public:
    /// Over the shared manager. Never destroyed.
    static const std::shared_ptr<VKTNetworkInfo>& sharedInstance();

    /// Neither may be null; the device is the platform's unless another is given.
    static std::shared_ptr<VKTNetworkInfo> initWithReachabilityManager(
        std::shared_ptr<VKTReachabilityManager> reachabilityManager);
    static std::shared_ptr<VKTNetworkInfo> initWithReachabilityManager(
        std::shared_ptr<VKTReachabilityManager> reachabilityManager, std::shared_ptr<const VKTDevice> device);

    [[nodiscard]] const std::shared_ptr<VKTReachabilityManager>& reachabilityManager() const {
        return reachabilityManager_;
    }

    [[nodiscard]] VKTNetworkStatus networkStatus() const;
    [[nodiscard]] VKTNetworkType networkType() const;
    [[nodiscard]] bool isNetworkReachable() const { return networkStatus() == VKTNetworkStatusReachable; }
    [[nodiscard]] bool isReachableOnWiFi() const { return networkType() == VKTNetworkTypeWiFi; }

    /// What the choice of a media file asks for: 6 on Wi-Fi, else 0.
    [[nodiscard]] std::uint32_t networkAccessType() const;

    /// The last IPv4 address of the interface "en0", in dotted form; "" when it has none.
    [[nodiscard]] std::string wifiLocalIPAddress() const;

  private:
    VKTNetworkInfo(std::shared_ptr<VKTReachabilityManager> reachabilityManager,
                   std::shared_ptr<const VKTDevice> device)
        : reachabilityManager_(std::move(reachabilityManager)), device_(std::move(device)) {}

    const std::shared_ptr<VKTReachabilityManager> reachabilityManager_;
    const std::shared_ptr<const VKTDevice> device_;
};

// The reachability of one peer as a status that changes.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTReachabilityTarget.h"

enum VKTNetworkReachabilityStatus : std::int32_t {
    VKTNetworkReachabilityStatusUnknown = -1,  ///< nothing has been reported yet
    VKTNetworkReachabilityStatusNotReachable = 0,
    VKTNetworkReachabilityStatusReachableViaWWAN = 1,
    VKTNetworkReachabilityStatusReachableViaWiFi = 2,  ///< or over a cable
};

/// For people: localised by the application's main bundle, table "Localizable", in which the English text is
/// the key.
VKT_EXPORT std::string VKTStringFromNetworkReachabilityStatus(VKTNetworkReachabilityStatus status);

/// Notification of every report, also when the status did not change. The item is the new status, an integer.
inline constexpr const char* VKTReachabilityDidChangeNotification = "com.korvonet.reachiblity.change";
inline constexpr const char* VKTReachabilityNotificationStatusItem = "VKTReachabilityNotificationStatusItem";

using VKTReachabilityStatusBlock = std::function<void(VKTNetworkReachabilityStatus status)>;

/// Watches a target while it monitors. Changes are reported on the main thread, through the platform's main
/// run loop and notification centre; everything may be read and set on any thread. Destroying it stops
/// monitoring; a report under way keeps it alive.
///
/// ```cpp
/// auto reachability = VKTReachabilityManager::managerForDomain("ads.example.com");
/// reachability->setReachabilityStatusChangeBlock([](VKTNetworkReachabilityStatus status) {
///     std::cout << VKTStringFromNetworkReachabilityStatus(status) << '\n';
/// });
/// reachability->startMonitoring();
/// ```
class VKT_EXPORT VKTReachabilityManager : public std::enable_shared_from_this<VKTReachabilityManager> {
  public:
    /// For the internet in general, monitoring since the first call, which reports on its thread. Never
    /// destroyed.
    static const std::shared_ptr<VKTReachabilityManager>& sharedManager();

    static std::shared_ptr<VKTReachabilityManager> manager();  ///< for the internet in general
    static std::shared_ptr<VKTReachabilityManager> managerForDomain(const std::string& domain);
    static std::shared_ptr<VKTReachabilityManager> managerForAddress(const VKTSocketAddress& address);

    /// Null without a target.
    static std::shared_ptr<VKTReachabilityManager> initWithReachability(
        std::shared_ptr<VKTReachabilityTarget> reachability);

    /// Always null: there is no manager without a target.
    static std::shared_ptr<VKTReachabilityManager> init() { return nullptr; }

    ~VKTReachabilityManager();
    VKTReachabilityManager(const VKTReachabilityManager&) = delete;
    VKTReachabilityManager& operator=(const VKTReachabilityManager&) = delete;

    /// Reports the present status before it returns, on the calling thread, if the flags can be read; and
    /// then each change.
    void startMonitoring();
    void stopMonitoring();

    [[nodiscard]] VKTNetworkReachabilityStatus networkReachabilityStatus() const { return status_; }
    [[nodiscard]] bool isNetworkReachable() const;
    [[nodiscard]] bool isNetworkReachableViaWWAN() const;
    [[nodiscard]] bool isNetworkReachableViaWiFi() const;
    [[nodiscard]] std::string networkReachabilityStatusString() const;

    /// Nothing: it is not known on these devices.
    [[nodiscard]] static std::optional<std::string> radioAccessTechnology() { return std::nullopt; }

    [[nodiscard]] const std::shared_ptr<VKTReachabilityTarget>& networkReachability() const {
        return networkReachability_;
    }

    /// Called with each report, before the notification is posted. Empty for none.
    [[nodiscard]] VKTReachabilityStatusBlock networkReachabilityStatusBlock() const;
    void setReachabilityStatusChangeBlock(VKTReachabilityStatusBlock block);

  private:
    explicit VKTReachabilityManager(std::shared_ptr<VKTReachabilityTarget> reachability)
        : networkReachability_(std::move(reachability)) {}

    void report(const VKTReachabilityFlags& flags);

    const std::shared_ptr<VKTReachabilityTarget> networkReachability_;
    std::atomic<VKTNetworkReachabilityStatus> status_ = VKTNetworkReachabilityStatusUnknown;
    mutable VKTMutex mutex_;
    VKTReachabilityStatusBlock block_ VKT_GUARDED_BY(mutex_);
};

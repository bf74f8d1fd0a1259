#include "VKTCoreKit/network/VKTReachabilityManager.h"

#include <utility>

#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

constexpr const char* stringFile = "Localizable";

const char* textOfStatus(VKTNetworkReachabilityStatus status) {
    switch (status) {
        case VKTNetworkReachabilityStatusNotReachable:
            return "Network Not Reachable";
        case VKTNetworkReachabilityStatusReachableViaWWAN:
            return "Network Reachable via WWAN";
        case VKTNetworkReachabilityStatusReachableViaWiFi:
            return "Network Reachable via WiFi";
        default:
            return "Network Unknown";
    }
}

VKTNetworkReachabilityStatus statusOfFlags(const VKTReachabilityFlags& flags) {
    const bool connectsByItself =
        (flags.connectionOnDemand || flags.connectionOnTraffic) && !flags.interventionRequired;
    if (!flags.reachable || (flags.connectionRequired && !connectsByItself))
        return VKTNetworkReachabilityStatusNotReachable;
    return flags.isWWAN ? VKTNetworkReachabilityStatusReachableViaWWAN
                        : VKTNetworkReachabilityStatusReachableViaWiFi;
}

std::shared_ptr<VKTReachabilityManager> managerForPeer(const VKTReachabilityPeer& peer) {
    return VKTReachabilityManager::initWithReachability(VKTPlatform::current().makeReachabilityTarget(peer));
}

}  // namespace

std::string VKTStringFromNetworkReachabilityStatus(VKTNetworkReachabilityStatus status) {
    const char* text = textOfStatus(status);
    return VKTPlatform::current().mainBundle->localizedString(text, stringFile).value_or(text);
}

const std::shared_ptr<VKTReachabilityManager>& VKTReachabilityManager::sharedManager() {
    static const auto* instance = [] {
        VKTPlatform::noteKeptBy("VKTReachabilityManager::sharedManager()");
        return new std::shared_ptr<VKTReachabilityManager>(manager());
    }();
    // Once the instance stands: whoever hears of the first report may ask for it.
    static std::atomic_flag isStarted;
    if (!isStarted.test_and_set()) (*instance)->startMonitoring();
    return *instance;
}

std::shared_ptr<VKTReachabilityManager> VKTReachabilityManager::manager() {
    return managerForAddress(VKTSocketAddress());
}

std::shared_ptr<VKTReachabilityManager> VKTReachabilityManager::managerForDomain(const std::string& domain) {
    return managerForPeer(domain);
}

std::shared_ptr<VKTReachabilityManager> VKTReachabilityManager::managerForAddress(
    const VKTSocketAddress& address) {
    return managerForPeer(address);
}

std::shared_ptr<VKTReachabilityManager> VKTReachabilityManager::initWithReachability(
    std::shared_ptr<VKTReachabilityTarget> reachability) {
    if (!reachability) return nullptr;
    return std::shared_ptr<VKTReachabilityManager>(new VKTReachabilityManager(std::move(reachability)));
}

VKTReachabilityManager::~VKTReachabilityManager() {
    stopMonitoring();
}

void VKTReachabilityManager::startMonitoring() {
    stopMonitoring();
    networkReachability_->setCallback([weakManager = weak_from_this()](const VKTReachabilityFlags& flags) {
        if (const auto manager = weakManager.lock()) manager->report(flags);
    });
    networkReachability_->schedule(VKTPlatform::current().mainRunLoop);
    if (const auto flags = networkReachability_->flags()) report(*flags);
}

void VKTReachabilityManager::stopMonitoring() {
    networkReachability_->unschedule();
}

bool VKTReachabilityManager::isNetworkReachable() const {
    const VKTNetworkReachabilityStatus status = status_;
    return status == VKTNetworkReachabilityStatusReachableViaWWAN ||
           status == VKTNetworkReachabilityStatusReachableViaWiFi;
}

bool VKTReachabilityManager::isNetworkReachableViaWWAN() const {
    return status_ == VKTNetworkReachabilityStatusReachableViaWWAN;
}

bool VKTReachabilityManager::isNetworkReachableViaWiFi() const {
    return status_ == VKTNetworkReachabilityStatusReachableViaWiFi;
}

std::string VKTReachabilityManager::networkReachabilityStatusString() const {
    return VKTStringFromNetworkReachabilityStatus(status_);
}

VKTReachabilityStatusBlock VKTReachabilityManager::networkReachabilityStatusBlock() const {
    const VKTLock lock(mutex_);
    return block_;
}

void VKTReachabilityManager::setReachabilityStatusChangeBlock(VKTReachabilityStatusBlock block) {
    const VKTLock lock(mutex_);
    block_.swap(block);
}

void VKTReachabilityManager::report(const VKTReachabilityFlags& flags) {
    const VKTNetworkReachabilityStatus status = statusOfFlags(flags);
    status_ = status;
    if (const auto block = networkReachabilityStatusBlock())
        vkt_callGuarded("the reachability status block", [&] { block(status); });
    VKTPlatform::current().notificationCentre->post(
        {VKTReachabilityDidChangeNotification, {{VKTReachabilityNotificationStatusItem, int{status}}}});
}

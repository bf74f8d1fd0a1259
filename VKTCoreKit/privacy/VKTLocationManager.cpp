#include "VKTCoreKit/privacy/VKTLocationManager.h"

#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"

std::shared_ptr<VKTLocationManager> VKTLocationManager::initWithDataSource(
    const std::shared_ptr<VKTLocationManagerDataSource>& dataSource) {
    return initWithLocationProvider(VKTLocationProvider::init(), dataSource);
}

std::shared_ptr<VKTLocationManager> VKTLocationManager::initWithLocationProvider(
    std::shared_ptr<VKTLocationProvider> locationProvider,
    const std::shared_ptr<VKTLocationManagerDataSource>& dataSource) {
    std::shared_ptr<VKTLocationManager> manager(
        new VKTLocationManager(std::move(locationProvider), dataSource));
    manager->locationProvider_->setDelegate(manager);
    return manager;
}

std::optional<VKTLocation> VKTLocationManager::location() const {
    if (auto manual = manualLocation()) return manual;
    return canLocateUser() ? providerLocation_ : std::nullopt;
}

std::optional<VKTLocation> VKTLocationManager::manualLocation() const {
    const auto source = dataSource();
    return source ? source->manualLocationForLocationManager(*this) : std::nullopt;
}

bool VKTLocationManager::canLocateUser() const {
    const auto source = dataSource();
    return locationProvider_->locationServiceEnabled() && source && !manualLocation() &&
           source->locationManagerShouldAllowAutomaticLocationDetection(*this) && appHasAuthorization();
}

bool VKTLocationManager::appHasAuthorization() const {
    const auto status = locationProvider_->authorizationStatus();
    return status == VKTLocationAuthorizationStatusAuthorizedAlways ||
           status == VKTLocationAuthorizationStatusAuthorizedWhenInUse;
}

void VKTLocationManager::startProvider(LocationUpdatedHandler handler) {
    locationUpdatedHandler_ = std::move(handler);
    locationProvider_->startLocationProvider();
    isStarted_ = true;
}

void VKTLocationManager::stopProvider() {
    locationProvider_->stopAndCleanLocationProvider();
    locationUpdatedHandler_ = nullptr;
    isStarted_ = false;
}

void VKTLocationManager::locationProvider(VKTLocationProvider& /*provider*/,
                                          const VKTCoordinates& didUpdateLocations) {
    if (didUpdateLocations.empty()) return;
    providerLocation_ = {didUpdateLocations.front().latitude, didUpdateLocations.front().longitude};
    // A copy: the handler may replace itself.
    if (const auto handler = locationUpdatedHandler_) vkt_callGuarded("the location handler", handler);
    stopProvider();
    VKTLog::sharedInstance()->logDebug("User's location updated");
}

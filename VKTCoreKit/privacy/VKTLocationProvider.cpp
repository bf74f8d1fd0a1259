#include "VKTCoreKit/privacy/VKTLocationProvider.h"

#include <utility>

#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

std::shared_ptr<VKTLocationProvider> VKTLocationProvider::init() {
    std::shared_ptr<VKTLocationProvider> provider(
        new VKTLocationProvider(VKTPlatform::current().locationServices));
    provider->observeApplication();
    provider->refreshLocationServiceEnabled();
    return provider;
}

void VKTLocationProvider::observeApplication() {
    VKTNotificationCentre& centre = *VKTPlatform::current().notificationCentre;
    foregroundToken_ = centre.addObserver(VKTApplicationWillEnterForegroundNotification,
                                          [weakProvider = weak_from_this()](const VKTNotification&) {
                                              if (const auto provider = weakProvider.lock())
                                                  provider->refreshLocationServiceEnabled();
                                          });
    backgroundToken_ = centre.addObserver(VKTApplicationDidEnterBackgroundNotification,
                                          [weakProvider = weak_from_this()](const VKTNotification&) {
                                              if (const auto provider = weakProvider.lock())
                                                  provider->stopAndCleanLocationProvider();
                                          });
}

void VKTLocationProvider::startLocationProvider() {
    locationProviderStarted_ = true;
    requestLocationIfPossible();
}

void VKTLocationProvider::stopAndCleanLocationProvider() {
    locationProviderStarted_ = false;
    locationManager_.reset();
}

void VKTLocationProvider::requestLocationIfPossible() {
    if (locationManager_ || !locationServiceEnabled_ || !locationProviderStarted_) return;
    locationManager_ = locationServices_->requestLocation(shared_from_this());
}

void VKTLocationProvider::refreshLocationServiceEnabled() {
    // The pool never holds the provider: its last owner has to be on the main thread.
    const VKTTask refresh = [weakProvider = weak_from_this(), services = locationServices_,
                             mainRunLoop = VKTPlatform::current().mainRunLoop] {
        mainRunLoop->post([weakProvider, enabled = services->locationServicesEnabled()] {
            if (const auto provider = weakProvider.lock()) provider->locationServicesAre(enabled);
        });
    };
    // Without a thread the question, which may take a moment, is asked on this one.
    if (!VKTPlatform::current().globalPool->tryPost(refresh)) refresh();
}

void VKTLocationProvider::locationServicesAre(bool enabled) {
    locationServiceEnabled_ = enabled;
    if (enabled) {
        requestLocationIfPossible();
    } else {
        stopAndCleanLocationProvider();
    }
}

void VKTLocationProvider::locationManagerDidUpdateLocations(const VKTCoordinates& locations) {
    if (const auto listener = delegate())
        vkt_callGuarded("VKTLocationProviderDelegate", [&] { listener->locationProvider(*this, locations); });
}

// One look-up of the device's location at a time.
#pragma once

#include <memory>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTLocationServices.h"
#include "VKTCoreKit/platform/VKTNotificationCentre.h"

class VKTLocationProvider;

/// Hears of found locations on the main thread. It may stop the provider or let go of it.
class VKT_EXPORT VKTLocationProviderDelegate {
  public:
    virtual ~VKTLocationProviderDelegate() = default;

    virtual void locationProvider(VKTLocationProvider& /*provider*/,
                                  const VKTCoordinates& /*didUpdateLocations*/) {}
};

/// Has the platform look for the location while it is started and location services are switched on. Whether
/// they are is read on the global pool, at the beginning and each time the application returns to the
/// foreground; when it leaves for the background the provider stops.
///
/// Main thread only. Holds its delegate weakly.
class VKT_EXPORT VKTLocationProvider : public VKTLocationRequestDelegate,
                                       public std::enable_shared_from_this<VKTLocationProvider> {
  public:
    /// Over the platform's location services.
    static std::shared_ptr<VKTLocationProvider> init();

    /// Asks for one look-up as soon as services are known to be on. Nothing new while one is under way or
    /// has failed.
    void startLocationProvider();

    /// Ends the look-up.
    void stopAndCleanLocationProvider();

    /// Reads anew whether services are on. A start that waits for them is then carried out; without them the
    /// provider stops.
    void refreshLocationServiceEnabled();

    [[nodiscard]] VKTLocationAuthorizationStatus authorizationStatus() const {
        return locationServices_->authorizationStatus();
    }

    [[nodiscard]] bool locationProviderStarted() const { return locationProviderStarted_; }
    [[nodiscard]] bool locationServiceEnabled() const { return locationServiceEnabled_; }  ///< as last read

    /// The look-up; null when there is none.
    [[nodiscard]] const std::unique_ptr<VKTLocationRequest>& locationManager() const {
        return locationManager_;
    }

    [[nodiscard]] std::shared_ptr<VKTLocationProviderDelegate> delegate() const { return delegate_.lock(); }
    void setDelegate(const std::shared_ptr<VKTLocationProviderDelegate>& delegate) { delegate_ = delegate; }

    void locationManagerDidUpdateLocations(const VKTCoordinates& locations) override;
    void locationManagerDidChangeAuthorization() override { refreshLocationServiceEnabled(); }

  private:
    explicit VKTLocationProvider(std::shared_ptr<VKTLocationServices> locationServices)
        : locationServices_(std::move(locationServices)) {}

    void observeApplication();
    void requestLocationIfPossible();
    void locationServicesAre(bool enabled);

    const std::shared_ptr<VKTLocationServices> locationServices_;
    std::weak_ptr<VKTLocationProviderDelegate> delegate_;
    bool locationProviderStarted_ = false;
    bool locationServiceEnabled_ = false;
    std::unique_ptr<VKTLocationRequest> locationManager_;
    VKTNotificationToken foregroundToken_;
    VKTNotificationToken backgroundToken_;
};

// The location that may be told, set by the publisher or found by the device.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/privacy/VKTLocation.h"
#include "VKTCoreKit/privacy/VKTLocationProvider.h"

class VKTLocationManager;

/// Says what the host allows. Asked on the main thread.
class VKTLocationManagerDataSource {
  public:
    virtual ~VKTLocationManagerDataSource() = default;

    /// The publisher's location, which goes over any other; nothing when none is set.
    virtual std::optional<VKTLocation> manualLocationForLocationManager(
        const VKTLocationManager& manager) = 0;
    virtual bool locationManagerShouldAllowAutomaticLocationDetection(const VKTLocationManager& manager) = 0;
};

/// Finds the location once for each start. Main thread only. Holds its provider, its data source weakly;
/// without one nothing is allowed.
class VKT_EXPORT VKTLocationManager : public VKTLocationProviderDelegate {
  public:
    using LocationUpdatedHandler = std::function<void()>;

    /// Over a default provider.
    static std::shared_ptr<VKTLocationManager> initWithDataSource(
        const std::shared_ptr<VKTLocationManagerDataSource>& dataSource);

    /// Becomes the delegate of the provider, which must not be null.
    static std::shared_ptr<VKTLocationManager> initWithLocationProvider(
        std::shared_ptr<VKTLocationProvider> locationProvider,
        const std::shared_ptr<VKTLocationManagerDataSource>& dataSource);

    /// The publisher's; else, if it may be told, the one found last.
    [[nodiscard]] std::optional<VKTLocation> location() const;

    /// Location services are on, the publisher has set no location, the host allows detection and the user
    /// has authorised the application.
    [[nodiscard]] bool canLocateUser() const;
    [[nodiscard]] bool appHasAuthorization() const;

    /// Looks for the location, without asking `canLocateUser`. The handler is called once, when the location
    /// is found; the manager stops after it, even when it was started anew in there.
    void startProvider(LocationUpdatedHandler handler = nullptr);
    void stopProvider();

    [[nodiscard]] const std::shared_ptr<VKTLocationProvider>& locationProvider() const {
        return locationProvider_;
    }
    [[nodiscard]] bool isStarted() const { return isStarted_; }
    [[nodiscard]] const std::optional<VKTLocation>& providerLocation() const { return providerLocation_; }
    [[nodiscard]] std::shared_ptr<VKTLocationManagerDataSource> dataSource() const {
        return dataSource_.lock();
    }
    [[nodiscard]] const LocationUpdatedHandler& locationUpdatedHandler() const {
        return locationUpdatedHandler_;
    }

    void locationProvider(VKTLocationProvider& provider, const VKTCoordinates& didUpdateLocations) override;

  private:
    VKTLocationManager(std::shared_ptr<VKTLocationProvider> locationProvider,
                       const std::shared_ptr<VKTLocationManagerDataSource>& dataSource)
        : locationProvider_(std::move(locationProvider)), dataSource_(dataSource) {}

    [[nodiscard]] std::optional<VKTLocation> manualLocation() const;

    const std::shared_ptr<VKTLocationProvider> locationProvider_;
    const std::weak_ptr<VKTLocationManagerDataSource> dataSource_;
    bool isStarted_ = false;
    std::optional<VKTLocation> providerLocation_;
    LocationUpdatedHandler locationUpdatedHandler_;
};

// Where the device is.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTExport.h"

/// Degrees, north and east positive.
struct VKTCoordinate {
    double latitude = 0;
    double longitude = 0;

    friend bool operator==(const VKTCoordinate&, const VKTCoordinate&) = default;
};

using VKTCoordinates = std::vector<VKTCoordinate>;

enum VKTLocationAuthorizationStatus : std::uint8_t {
    VKTLocationAuthorizationStatusNotDetermined = 0,
    VKTLocationAuthorizationStatusRestricted = 1,
    VKTLocationAuthorizationStatusDenied = 2,
    VKTLocationAuthorizationStatusAuthorizedAlways = 3,
    VKTLocationAuthorizationStatusAuthorizedWhenInUse = 4,
};

/// Domain and code of the error of a look-up that the device or the user does not allow.
inline constexpr const char* VKTLocationErrorDomain = "VKTLocationError";
inline constexpr int VKTLocationErrorDenied = 1;

/// One look-up. Destroying it ends it: its delegate then hears no more.
class VKT_EXPORT VKTLocationRequest {
  public:
    virtual ~VKTLocationRequest() = default;
};

/// Hears of a look-up, on the main thread, never before it has been returned. It may destroy the request
/// inside each call.
class VKT_EXPORT VKTLocationRequestDelegate {
  public:
    virtual ~VKTLocationRequestDelegate() = default;

    /// Either of these two ends the look-up.
    virtual void locationManagerDidUpdateLocations(const VKTCoordinates& /*locations*/) {}
    virtual void locationManagerDidFailWithError(const VKTError& /*error*/) {}

    /// At any time in between.
    virtual void locationManagerDidChangeAuthorization() {}
};

/// The device's location services. Main thread only, but for `locationServicesEnabled`.
class VKT_EXPORT VKTLocationServices {
  public:
    virtual ~VKTLocationServices() = default;

    /// Whether they are switched on for the device. Any thread; it may take a while.
    [[nodiscard]] virtual bool locationServicesEnabled() const = 0;

    /// What the user has allowed this application.
    [[nodiscard]] virtual VKTLocationAuthorizationStatus authorizationStatus() const = 0;

    /// Looks the location up once, with the best accuracy. Never null; the delegate is held weakly.
    [[nodiscard]] virtual std::unique_ptr<VKTLocationRequest> requestLocation(
        const std::shared_ptr<VKTLocationRequestDelegate>& delegate) = 0;
};

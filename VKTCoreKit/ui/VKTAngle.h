// Angles, in radians.
#pragma once

#include <numbers>

#include "VKTCoreKit/foundation/VKTExport.h"

inline constexpr double VKTHalfTurn = std::numbers::pi;
inline constexpr double VKTQuarterTurn = std::numbers::pi / 2;

constexpr double vkt_radiansFromDegrees(double degrees) {
    return degrees * VKTHalfTurn / 180;
}
constexpr double vkt_degreesFromRadians(double radians) {
    return radians * 180 / VKTHalfTurn;
}

/// The same direction, above -pi and up to pi; 0 for what is not finite.
VKT_EXPORT double vkt_wrappedAngle(double radians);

/// The shortest way from one direction to the other, wrapped likewise: half a turn goes the positive way.
VKT_EXPORT double vkt_angleBetween(double from, double to);

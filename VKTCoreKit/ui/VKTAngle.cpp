#include "VKTCoreKit/ui/VKTAngle.h"

#include <cmath>

double vkt_wrappedAngle(double radians) {
    if (!std::isfinite(radians)) return 0;
    const double rest = std::remainder(radians, 2 * VKTHalfTurn);
    return rest <= -VKTHalfTurn ? VKTHalfTurn : rest;
}

double vkt_angleBetween(double from, double to) {
    return vkt_wrappedAngle(to - from);
}

// A place.
#pragma once

#include "VKTCoreKit/foundation/VKTExport.h"

/// A value, in degrees, north and east positive.
struct VKTLocation {
    double latitude = 0;
    double longitude = 0;

    friend bool operator==(const VKTLocation&, const VKTLocation&) = default;
};

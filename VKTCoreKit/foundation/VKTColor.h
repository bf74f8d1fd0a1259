// A colour in the sRGB space.
#pragma once

#include "VKTCoreKit/foundation/VKTExport.h"

/// Components from 0 to 1.
struct VKTColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    friend bool operator==(const VKTColor&, const VKTColor&) = default;
};

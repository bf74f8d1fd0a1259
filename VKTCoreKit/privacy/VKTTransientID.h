// An identifier of the library's own making that lives for a day.
#pragma once

#include <string>

#include "VKTCoreKit/foundation/VKTDate.h"

struct VKTTransientID {
    std::string transientID;  ///< a UUID
    VKTDate lastGeneration;
};

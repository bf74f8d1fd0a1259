// An identifier of the library's own making that lives for a day.
#pragma once

#include <string>

#include "VKTCoreKit/foundation/VKTDate.h"

/// The identifier and when it was made. A value.
struct VKTTransientID {
    std::string transientID;  ///< a UUID
    VKTDate lastGeneration;
};

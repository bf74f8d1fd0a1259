// What the platform has to tell an engineer who reads the log.
#pragma once

#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"

/// Log at that level through the library's own logger. Declared here for the platform, which knows no logger,
/// and defined with it. Any thread; call them with no lock held, as the output is the application's.
VKT_EXPORT void vkt_logWarning(std::string_view message);
VKT_EXPORT void vkt_logError(std::string_view message);

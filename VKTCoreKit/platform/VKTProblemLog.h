// What the platform has to tell an engineer who reads the log.
#pragma once

#include <string_view>

/// Log at that level through the library's own logger. Declared here for the platform, which knows no logger,
/// and defined with it. Any thread; call them with no lock held, as the output is the application's.
void vkt_logWarning(std::string_view message);
void vkt_logError(std::string_view message);

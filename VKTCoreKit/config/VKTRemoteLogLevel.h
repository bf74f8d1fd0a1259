// Levels of the records that go to the log collector. Not the console's levels (`VKTLogLevel`), whose order
// differs.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"

/// In order of severity. As a minimum, `VKTRemoteLogLevelNone` lets nothing through.
enum VKTRemoteLogLevel : std::uint32_t {
    VKTRemoteLogLevelDebug = 0,
    VKTRemoteLogLevelInfo = 1,
    VKTRemoteLogLevelWarning = 2,
    VKTRemoteLogLevelError = 3,
    VKTRemoteLogLevelNone = 4,
};

/// The level of exactly that name; `VKTRemoteLogLevelNone` for every other text.
VKT_EXPORT VKTRemoteLogLevel vkt_remoteLogLevelFromString(std::string_view name);

/// "debug", "info", "warning" or "error"; nothing for every other level.
VKT_EXPORT std::optional<std::string_view> vkt_stringFromRemoteLogLevel(VKTRemoteLogLevel level);

#include "VKTCoreKit/config/VKTRemoteLogLevel.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<std::string_view, VKTRemoteLogLevelNone> levelNames = {"debug", "info", "warning",
                                                                            "error"};

}  // namespace

VKTRemoteLogLevel vkt_remoteLogLevelFromString(std::string_view name) {
    const auto* const found = std::find(levelNames.begin(), levelNames.end(), name);
    return static_cast<VKTRemoteLogLevel>(found - levelNames.begin());
}

std::optional<std::string_view> vkt_stringFromRemoteLogLevel(VKTRemoteLogLevel level) {
    return level < levelNames.size() ? std::optional(levelNames[level]) : std::nullopt;
}

// What the tool says of itself where an embedding SDK would: it stands in the place of one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "VKTCoreKit/config/VKTConfiguration.h"
#include "VKTCoreKit/config/VKTLogNode.h"

inline constexpr const char* EmbeddingSDKName = "vkt";

/// Keys the cached configurations, and is the latest version that the demo server knows of.
inline constexpr std::int64_t EmbeddingSDKVersionID = 722;

/// The "sdk" part of a log record: the SDK, the application, the device, the user's identity and consent.
std::shared_ptr<const VKTLogNode> makeSDKNode(const VKTConfiguration& configuration);

// The device's address on its Wi-Fi network.
#pragma once

#include <optional>
#include <string>

#include "VKTCoreKit/platform/VKTDevice.h"

/// The IPv4 address of the interface "en0", the last when it has several; nothing when it has none. Any
/// thread.
std::optional<std::string> vkt_WiFiIPv4Address(const VKTDevice& device);

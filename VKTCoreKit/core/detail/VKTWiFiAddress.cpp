#include "VKTCoreKit/core/detail/VKTWiFiAddress.h"

std::optional<std::string> vkt_WiFiIPv4Address(const VKTDevice& device) {
    std::optional<std::string> address;
    for (const auto& each : device.interfaceAddresses().value_or(VKTInterfaceAddresses())) {
        if (each.interfaceName == "en0") address = each.IPv4Address;
    }
    return address;
}

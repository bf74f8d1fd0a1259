#include "VKTCoreKit/platform/linux/VKTPublicAddress.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace {

struct IPv4Network {
    std::uint32_t prefix;
    unsigned length;
};

constexpr auto closedIPv4Networks = std::to_array<IPv4Network>({
    {0x00000000, 8},   // "this network", and the unspecified address
    {0x0A000000, 8},   // private
    {0x64400000, 10},  // shared by a provider's customers
    {0x7F000000, 8},   // loopback
    {0xA9FE0000, 16},  // link-local
    {0xAC100000, 12},  // private
    {0xC0000000, 24},  // protocol assignments
    {0xC0000200, 24},  // documentation
    {0xC0586300, 24},  // 6to4 relays, given up
    {0xC0A80000, 16},  // private
    {0xC6120000, 15},  // benchmarks
    {0xC6336400, 24},  // documentation
    {0xCB007100, 24},  // documentation
    {0xE0000000, 4},   // multicast
    {0xF0000000, 4},   // reserved, and broadcast
});

bool isPublicIPv4(std::uint32_t address) {
    return std::none_of(closedIPv4Networks.begin(), closedIPv4Networks.end(), [&](const IPv4Network& each) {
        return (address ^ each.prefix) >> (32U - each.length) == 0;
    });
}

using IPv6Bytes = std::array<std::uint8_t, 16>;

std::uint32_t IPv4Within(const IPv6Bytes& address, std::size_t start) {
    std::uint32_t bytes = 0;
    std::memcpy(&bytes, address.data() + start, sizeof bytes);
    return ntohl(bytes);
}

template <std::size_t length>
bool beginsWith(const IPv6Bytes& address, const std::array<std::uint8_t, length>& prefix) {
    return std::equal(prefix.begin(), prefix.end(), address.begin());
}

// Of all that carries no IPv4 address, global unicast (2000::/3) alone can be public.
bool isPublicIPv6(const IPv6Bytes& address) {
    constexpr std::array<std::uint8_t, 12> mapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    constexpr std::array<std::uint8_t, 12> translated{0x00, 0x64, 0xFF, 0x9B};
    constexpr std::array<std::uint8_t, 2> sixToFour{0x20, 0x02};
    constexpr std::array<std::uint8_t, 4> documentation{0x20, 0x01, 0x0D, 0xB8};
    if (beginsWith(address, mapped) || beginsWith(address, translated))
        return isPublicIPv4(IPv4Within(address, 12));
    if (beginsWith(address, sixToFour)) return isPublicIPv4(IPv4Within(address, 2));
    if (beginsWith(address, documentation)) return false;
    const std::uint32_t start = IPv4Within(address, 0);
    if (start >> 12U == 0x3FFF0) return false;           // documentation, 3fff::/20
    if (start >> 9U == 0x20010000U >> 9U) return false;  // protocol assignments, 2001::/23, Teredo among them
    return start >> 29U == 1;
}

template <typename Address>
Address copyOf(const sockaddr& address) {
    Address copy{};
    std::memcpy(&copy, &address, sizeof copy);
    return copy;
}

}  // namespace

bool vkt_isPublicAddress(const sockaddr& address) {
    if (address.sa_family == AF_INET)
        return isPublicIPv4(ntohl(copyOf<sockaddr_in>(address).sin_addr.s_addr));
    if (address.sa_family != AF_INET6) return false;
    return isPublicIPv6(std::to_array(copyOf<sockaddr_in6>(address).sin6_addr.s6_addr));
}

std::string vkt_textOfAddress(const sockaddr& address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address.sa_family == AF_INET) {
        const auto IPv4 = copyOf<sockaddr_in>(address);
        inet_ntop(AF_INET, &IPv4.sin_addr, text.data(), text.size());
    } else if (address.sa_family == AF_INET6) {
        const auto IPv6 = copyOf<sockaddr_in6>(address);
        inet_ntop(AF_INET6, &IPv6.sin6_addr, text.data(), text.size());
    }
    return text.data();
}

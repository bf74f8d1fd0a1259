// Which addresses a session may connect to that is kept out of private networks.
#include "VKTCoreKit/platform/linux/VKTPublicAddress.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/un.h>

#include <cstring>

namespace {

struct Address {
    explicit Address(const char* text) {
        sockaddr_in IPv4{};
        sockaddr_in6 IPv6{};
        IPv4.sin_family = AF_INET;
        IPv6.sin6_family = AF_INET6;
        if (inet_pton(AF_INET, text, &IPv4.sin_addr) == 1) {
            std::memcpy(&storage, &IPv4, sizeof IPv4);
        } else if (inet_pton(AF_INET6, text, &IPv6.sin6_addr) == 1) {
            std::memcpy(&storage, &IPv6, sizeof IPv6);
        } else {
            ADD_FAILURE() << text;
        }
    }
    [[nodiscard]] const sockaddr& get() const { return reinterpret_cast<const sockaddr&>(storage); }

    sockaddr_storage storage{};
};

// The first and last address of each network that is closed, and its neighbours outside of it.
TEST(PublicAddress, IsToldFromOthers) {
    const char* const refused[] = {"0.0.0.0",
                                   "0.255.255.255",
                                   "10.0.0.0",
                                   "10.255.255.255",
                                   "100.64.0.0",
                                   "100.127.255.255",
                                   "127.0.0.1",
                                   "127.255.255.255",
                                   "169.254.0.0",
                                   "169.254.169.254",
                                   "172.16.0.0",
                                   "172.31.255.255",
                                   "192.0.0.0",
                                   "192.0.0.255",
                                   "192.0.2.0",
                                   "192.0.2.255",
                                   "192.88.99.1",
                                   "192.168.0.0",
                                   "192.168.255.255",
                                   "198.18.0.0",
                                   "198.19.255.255",
                                   "198.51.100.0",
                                   "198.51.100.255",
                                   "203.0.113.0",
                                   "203.0.113.255",
                                   "224.0.0.0",
                                   "239.255.255.255",
                                   "240.0.0.0",
                                   "255.255.255.255",
                                   "::",
                                   "::1",
                                   "::8.8.8.8",
                                   "100::1",
                                   "1fff::1",
                                   "2001::1",
                                   "2001:1ff::1",
                                   "2001:db8::1",
                                   "3fff::1",
                                   "3fff:fff::1",
                                   "4000::1",
                                   "5f00::1",
                                   "fc00::1",
                                   "fdff::1",
                                   "fe80::1",
                                   "fec0::1",
                                   "ff02::1",
                                   "::ffff:127.0.0.1",
                                   "::ffff:10.0.0.1",
                                   "64:ff9b::10.0.0.1",
                                   "64:ff9b:1::8.8.8.8",
                                   "64:ff9b:0:1::8.8.8.8",
                                   "2002:7f00:1::1",
                                   "2002:c0a8:101::1"};
    for (const char* text : refused)
        EXPECT_FALSE(vkt_isPublicAddress(Address(text).get())) << text;
    const char* const allowed[] = {
        "1.0.0.0",          "9.255.255.255",  "11.0.0.0",        "100.63.255.255",  "100.128.0.0",
        "126.255.255.255",  "128.0.0.0",      "169.253.255.255", "169.255.0.0",     "172.15.255.255",
        "172.32.0.0",       "192.0.1.0",      "192.0.3.0",       "192.167.255.255", "192.169.0.0",
        "198.17.255.255",   "198.20.0.0",     "198.51.101.0",    "203.0.112.255",   "203.0.114.0",
        "223.255.255.255",  "2000::1",        "2001:200::1",     "2001:db7::1",     "2001:db9::1",
        "2003::1",          "2a00::1",        "3ffe::1",         "3fff:1000::1",    "::ffff:8.8.8.8",
        "64:ff9b::8.8.8.8", "2002:808:808::1"};
    for (const char* text : allowed)
        EXPECT_TRUE(vkt_isPublicAddress(Address(text).get())) << text;
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    EXPECT_FALSE(vkt_isPublicAddress(reinterpret_cast<const sockaddr&>(local)));
}

}  // namespace

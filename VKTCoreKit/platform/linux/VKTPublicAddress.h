// Which addresses lie on the public Internet.
#pragma once

#include <sys/socket.h>

#include <string>

/// Whether an IPv4 or IPv6 address (`sockaddr_in`, `sockaddr_in6`) is one that the Internet routes to a
/// single host; false for any other family. An address that carries an IPv4 address (IPv4-mapped,
/// 64:ff9b::/96, 6to4) is as public as that one. All of 64:ff9b:1::/48 is not: where it carries one differs
/// from network to network.
bool vkt_isPublicAddress(const sockaddr& address);

/// "10.0.0.1", "fe80::1"; empty for any other family.
std::string vkt_textOfAddress(const sockaddr& address);

// The TCP connections of this machine, as the system tells them.
#pragma once

#include <fstream>
#include <set>
#include <sstream>
#include <string>

/// The local ports of the IPv4 connections to a port of 127.0.0.1 whose client has not closed them, be it
/// that the server has (CLOSE-WAIT).
inline std::set<unsigned long> vkt_connectionsTo(unsigned long port) {
    constexpr unsigned long established = 1;
    constexpr unsigned long closeWait = 8;
    std::ifstream table("/proc/self/net/tcp");
    std::set<unsigned long> ports;
    std::string line;
    std::getline(table, line);  // the heading
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string number, local, remote, state;
        fields >> number >> local >> remote >> state;
        const auto portOf = [](const std::string& address) {
            return std::stoul(address.substr(address.find(':') + 1), nullptr, 16);
        };
        const unsigned long code = std::stoul(state, nullptr, 16);
        if (portOf(remote) == port && (code == established || code == closeWait)) ports.insert(portOf(local));
    }
    return ports;
}

/// Of "http://127.0.0.1:PORT/...".
inline unsigned long vkt_portOf(const std::string& url) {
    return std::stoul(url.substr(url.rfind(':') + 1));
}

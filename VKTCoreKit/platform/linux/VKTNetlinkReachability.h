// Reachability by the state of the network interfaces.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/platform/VKTReachabilityTarget.h"

struct VKTNetworkInterface {
    std::string name;
    bool isLoopback = false;
    bool isRunning = false;   ///< switched on, and with a carrier
    bool hasAddress = false;  ///< one that is valid beyond its own link
};

using VKTNetworkInterfaces = std::vector<VKTNetworkInterface>;

/// Where a target learns of the interfaces; both are called on any thread.
struct VKTNetworkInterfaceSource {
    /// The interfaces as they are now; nothing when they cannot be read.
    std::function<std::optional<VKTNetworkInterfaces>()> readInterfaces;

    /// A socket that becomes readable when an interface may have changed, and that belongs to the caller; -1
    /// when there is none, and then changes go unnoticed.
    std::function<int()> openChangeSocket;
};

/// The kernel's interfaces, and its routing messages (rtnetlink).
VKTNetworkInterfaceSource vkt_systemInterfaceSource();

/// Reachable when any interface but loopback runs and has an address, without a connection to be made first.
/// One whose name is a modem's (wwan…, wwp…, rmnet…, ppp…) is cellular; every other one, wired or wireless,
/// is not, and goes first.
VKTReachabilityFlags vkt_reachabilityFlags(const VKTNetworkInterfaces& interfaces);

/// A target that watches on a thread of its own while it is scheduled. The device itself ("localhost" and
/// loopback addresses) is always reachable; of every other peer no more is known than of the internet in
/// general, since nothing is sent and no name is looked up. Without a thread or a socket for that no change
/// is reported, which a warning in the log tells once for each target; `flags` still reads them.
std::shared_ptr<VKTReachabilityTarget> vkt_makeNetlinkReachabilityTarget(
    const VKTReachabilityPeer& peer, VKTNetworkInterfaceSource source = vkt_systemInterfaceSource());

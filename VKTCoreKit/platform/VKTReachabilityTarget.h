// Whether something can be reached over the network, as far as the device can tell.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"

/// An IPv6 address in network byte order; IPv4 ones in mapped form (RFC 4291, 2.5.5.2). All zero, the
/// unspecified address, stands for the internet in general.
struct VKTSocketAddress {
    std::array<std::uint8_t, 16> bytes{};

    friend bool operator==(const VKTSocketAddress&, const VKTSocketAddress&) = default;
};

/// What is to be reached: an address, or a host by its name.
using VKTReachabilityPeer = std::variant<VKTSocketAddress, std::string>;

/// What the system says of the way to a peer.
struct VKTReachabilityFlags {
    bool reachable = false;             ///< perhaps only after a connection has been made:
    bool connectionRequired = false;    ///< one must be made first,
    bool connectionOnTraffic = false;   ///< which happens by itself when something is sent,
    bool connectionOnDemand = false;    ///< or when a connection is asked for,
    bool interventionRequired = false;  ///< or only with the user's help
    bool isWWAN = false;                ///< over a cellular network

    friend bool operator==(const VKTReachabilityFlags&, const VKTReachabilityFlags&) = default;
};

using VKTReachabilityCallback = std::function<void(const VKTReachabilityFlags& flags)>;

/// Watches one peer. Any thread, but for the destructor, which must not run while another thread calls.
/// Whoever destroys a target that is scheduled ends that.
class VKT_EXPORT VKTReachabilityTarget {
  public:
    virtual ~VKTReachabilityTarget() = default;

    /// As they are now; nothing when they cannot be read.
    [[nodiscard]] virtual std::optional<VKTReachabilityFlags> flags() const = 0;

    /// Replaces the callback; it stays when the target is unscheduled. Empty for none.
    virtual void setCallback(VKTReachabilityCallback callback) = 0;

    /// From now on calls the callback on the loop's thread, never inside `schedule`, each time the flags
    /// have changed. Where the system has no means for that, no change is reported, and the log says so.
    virtual void schedule(std::shared_ptr<VKTRunLoop> loop) = 0;

    /// The callback is not called any more; called on another thread than the loop's, this does not wait for
    /// a call under way. Does nothing unless scheduled.
    virtual void unschedule() = 0;
};

/// The callback of a target and whether it may be called: what every implementation needs. Any thread; a
/// report that is under way when this is destroyed is dropped.
class VKT_EXPORT VKTReachabilityReporter {
  public:
    VKTReachabilityReporter();

    void setCallback(VKTReachabilityCallback callback);
    void start(std::shared_ptr<VKTMainLoop> loop);
    void stop();

    /// Posts a call of the callback; it is dropped unless started, and when stopped before its turn.
    void report(const VKTReachabilityFlags& flags);

  private:
    struct State;

    const std::shared_ptr<State> state_;  // held weakly by the calls that are posted
};

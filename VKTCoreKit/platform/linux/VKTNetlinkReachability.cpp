#include "VKTCoreKit/platform/linux/VKTNetlinkReachability.h"

#include <ifaddrs.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTProblemLog.h"
#include "VKTCoreKit/platform/linux/VKTThread.h"

namespace {

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    ~Descriptor() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int get() const { return descriptor_; }

  private:
    const int descriptor_;
};

bool reachesBeyondItsLink(const sockaddr& address) {
    if (address.sa_family == AF_INET) return true;
    if (address.sa_family != AF_INET6) return false;
    sockaddr_in6 IPv6{};
    std::memcpy(&IPv6, &address, sizeof IPv6);
    return !IN6_IS_ADDR_LINKLOCAL(&IPv6.sin6_addr);
}

VKTNetworkInterface& interfaceNamed(const char* name, VKTNetworkInterfaces& interfaces) {
    const auto found = std::find_if(interfaces.begin(), interfaces.end(),
                                    [&](const VKTNetworkInterface& each) { return each.name == name; });
    return found == interfaces.end() ? interfaces.emplace_back(VKTNetworkInterface{.name = name}) : *found;
}

std::optional<VKTNetworkInterfaces> readSystemInterfaces() {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return std::nullopt;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
    VKTNetworkInterfaces interfaces;
    for (const ifaddrs* each = list; each != nullptr; each = each->ifa_next) {
        constexpr unsigned running = IFF_UP | IFF_RUNNING;
        VKTNetworkInterface& interface = interfaceNamed(each->ifa_name, interfaces);
        interface.isLoopback = (each->ifa_flags & IFF_LOOPBACK) != 0;
        interface.isRunning = (each->ifa_flags & running) == running;
        if (each->ifa_addr != nullptr && reachesBeyondItsLink(*each->ifa_addr)) interface.hasAddress = true;
    }
    return interfaces;
}

int openSystemChangeSocket() {
    const int descriptor = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return descriptor;
    close(descriptor);
    return -1;
}

// Reads away what is there; false when nothing will come any more.
bool drain(int socket) {
    std::array<char, 8192> ignored{};
    ssize_t received = 0;
    do {
        received = recv(socket, ignored.data(), ignored.size(), MSG_DONTWAIT);
    } while (received > 0);
    // ENOBUFS: messages were lost, so there was a change.
    return received < 0 && (errno == EAGAIN || errno == EINTR || errno == ENOBUFS);
}

// Calls a handler on a thread of its own after each change, until it is destroyed, which waits for it.
class ChangeWatcher {
  public:
    // Owns the socket.
    ChangeWatcher(int changeSocket, std::function<void()> onChange)
        : changes_(changeSocket), onChange_(std::move(onChange)) {}

    // Why there is nothing to watch, or nobody who could; empty when it has started. Once.
    std::string start() {
        if (changes_.get() < 0 || end_.get() < 0)
            return "the system gives no socket for them: raise the limit of open files, or close some";
        const int error = thread_.start("vkt-reachable", [this] { watch(); });
        if (error == 0) return "";
        return "the system gives no thread for them (" + std::generic_category().message(error) +
               "): raise the limit of threads or memory, or start fewer";
    }

    ~ChangeWatcher() {
        if (!thread_.isJoinable()) return;
        eventfd_write(end_.get(), 1);
        thread_.join();
    }
    ChangeWatcher(const ChangeWatcher&) = delete;
    ChangeWatcher& operator=(const ChangeWatcher&) = delete;

  private:
    void watch() const {
        std::array<pollfd, 2> polled{{{end_.get(), POLLIN, 0}, {changes_.get(), POLLIN, 0}}};
        while (true) {
            if (poll(polled.data(), polled.size(), -1) < 0) {
                if (errno == EINTR) continue;
                return;
            }
            if (polled[0].revents != 0 || !drain(changes_.get())) return;
            onChange_();
        }
    }

    const Descriptor end_{eventfd(0, EFD_CLOEXEC)};
    const Descriptor changes_;
    const std::function<void()> onChange_;
    VKTThread thread_;
};

bool hasPrefix(const VKTSocketAddress& address, std::initializer_list<std::uint8_t> prefix) {
    return std::equal(prefix.begin(), prefix.end(), address.bytes.begin());
}

bool isThisDevice(const VKTReachabilityPeer& peer) {
    if (const auto* name = std::get_if<std::string>(&peer))
        return vkt_equalsIgnoringCase(*name, "localhost") || name->starts_with("127.") || *name == "::1";
    const auto& address = std::get<VKTSocketAddress>(peer);
    return hasPrefix(address, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 127}) ||
           hasPrefix(address, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});
}

class NetlinkTarget final : public VKTReachabilityTarget {
  public:
    NetlinkTarget(const VKTReachabilityPeer& peer, VKTNetworkInterfaceSource source)
        : isThisDevice_(isThisDevice(peer)), source_(std::move(source)) {}
    ~NetlinkTarget() override { replaceWatcher(nullptr); }
    NetlinkTarget(const NetlinkTarget&) = delete;
    NetlinkTarget& operator=(const NetlinkTarget&) = delete;

    [[nodiscard]] std::optional<VKTReachabilityFlags> flags() const override {
        if (isThisDevice_) return VKTReachabilityFlags{.reachable = true};
        const auto interfaces = source_.readInterfaces();
        if (!interfaces) return std::nullopt;
        return vkt_reachabilityFlags(*interfaces);
    }

    void setCallback(VKTReachabilityCallback callback) override {
        reporter_.setCallback(std::move(callback));
    }

    void schedule(std::shared_ptr<VKTRunLoop> loop) override {
        reporter_.start(std::move(loop));
        const int changeSocket = source_.openChangeSocket();  // before the flags, so that no change is missed
        auto watcher = std::make_unique<ChangeWatcher>(changeSocket, [this, last = flags()]() mutable {
            const auto current = flags();
            if (current && std::exchange(last, current) != current) reporter_.report(*current);
        });
        const std::string problem = watcher->start();
        if (problem.empty()) {
            replaceWatcher(std::move(watcher));
        } else if (!hasWarned_.exchange(true)) {
            vkt_logWarning("Changes of the network go unnoticed by this reachability target, since " +
                           problem +
                           ". Its flags are right whenever they are read; schedule it again to try again.");
        }
    }

    void unschedule() override {
        reporter_.stop();
        replaceWatcher(nullptr);
    }

  private:
    // The old one ends, and its thread is waited for, after the lock is released.
    void replaceWatcher(std::unique_ptr<ChangeWatcher> watcher) {
        const VKTLock lock(mutex_);
        watcher_.swap(watcher);
    }

    const bool isThisDevice_;
    const VKTNetworkInterfaceSource source_;
    VKTReachabilityReporter reporter_;
    std::atomic<bool> hasWarned_ = false;
    VKTMutex mutex_;
    std::unique_ptr<ChangeWatcher> watcher_ VKT_GUARDED_BY(mutex_);
};

}  // namespace

VKTNetworkInterfaceSource vkt_systemInterfaceSource() {
    return {readSystemInterfaces, openSystemChangeSocket};
}

VKTReachabilityFlags vkt_reachabilityFlags(const VKTNetworkInterfaces& interfaces) {
    VKTReachabilityFlags flags{.isWWAN = true};
    for (const VKTNetworkInterface& each : interfaces) {
        if (each.isLoopback || !each.isRunning || !each.hasAddress) continue;
        const auto isOfKind = [&](const char* prefix) { return each.name.starts_with(prefix); };
        const auto modemNames = {"wwan", "wwp", "rmnet", "ppp"};
        flags.reachable = true;
        flags.isWWAN = flags.isWWAN && std::any_of(modemNames.begin(), modemNames.end(), isOfKind);
    }
    flags.isWWAN = flags.isWWAN && flags.reachable;
    return flags;
}

std::shared_ptr<VKTReachabilityTarget> vkt_makeNetlinkReachabilityTarget(const VKTReachabilityPeer& peer,
                                                                         VKTNetworkInterfaceSource source) {
    return std::make_shared<NetlinkTarget>(peer, std::move(source));
}

// How the Linux one reads its interfaces.
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <semaphore>

#include "VKTCoreKit/platform/linux/VKTLinuxRunLoop.h"
#include "VKTCoreKit/platform/linux/VKTNetlinkReachability.h"
#include "VKTCoreKit/platform/testing/VKTFakeReachabilityTarget.h"
#include "VKTCoreKit/platform/testing/contract/VKTReachabilityTargetContract.h"

using namespace std::chrono_literals;

namespace {

constexpr VKTReachabilityFlags reachable{.reachable = true};
constexpr VKTReachabilityFlags unreachable{};

VKTNetworkInterface running(const char* name) {
    return {.name = name, .isRunning = true, .hasAddress = true};
}

VKTReachabilityTargetSubject fakeSubject() {
    const auto fake = std::make_shared<VKTFakeReachabilityTarget>();
    return {fake, [fake](bool isConnected) { fake->setFlags(isConnected ? reachable : unreachable); }};
}

// Interfaces that come and go; a change waits until the target has read them.
class ChangingInterfaces : public std::enable_shared_from_this<ChangingInterfaces> {
  public:
    ChangingInterfaces() = default;
    ~ChangingInterfaces() {
        if (changes_ >= 0) close(changes_);
    }
    ChangingInterfaces(const ChangingInterfaces&) = delete;
    ChangingInterfaces& operator=(const ChangingInterfaces&) = delete;

    void setConnected(bool connected) {
        isConnected_ = connected;
        if (changes_ < 0) return;
        while (noticed_.try_acquire()) {
        }
        ASSERT_EQ(write(changes_, "x", 1), 1);
        ASSERT_TRUE(noticed_.try_acquire_for(10s));
    }

    VKTNetworkInterfaceSource source() {
        return {[self = shared_from_this()] {
                    const bool isConnected = self->isConnected_;
                    self->noticed_.release();
                    return isConnected ? VKTNetworkInterfaces{running("eth0")} : VKTNetworkInterfaces();
                },
                [self = shared_from_this()] {
                    int pair[2];
                    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
                    if (self->changes_ >= 0) close(self->changes_);
                    self->changes_ = pair[0];
                    return pair[1];
                }};
    }

  private:
    std::atomic<bool> isConnected_ = false;
    std::counting_semaphore<> noticed_{0};
    int changes_ = -1;
};

VKTReachabilityTargetSubject netlinkSubject() {
    const auto interfaces = std::make_shared<ChangingInterfaces>();
    return {vkt_makeNetlinkReachabilityTarget(VKTSocketAddress(), interfaces->source()),
            [interfaces](bool isConnected) { interfaces->setConnected(isConnected); }};
}

INSTANTIATE_TEST_SUITE_P(Ours, VKTReachabilityTargetContract,
                         testing::Values(VKTReachabilityTargetMaker{"fake", fakeSubject},
                                         VKTReachabilityTargetMaker{"netlink", netlinkSubject}));

TEST(NetlinkReachability, FlagsFollowFromTheInterfaces) {
    const VKTNetworkInterface loopback{
        .name = "lo", .isLoopback = true, .isRunning = true, .hasAddress = true};
    const VKTNetworkInterface unplugged{.name = "eth0", .isRunning = false, .hasAddress = true};
    const VKTNetworkInterface withoutAddress{.name = "wlan0", .isRunning = true, .hasAddress = false};
    constexpr VKTReachabilityFlags cellular{.reachable = true, .isWWAN = true};
    const std::pair<VKTNetworkInterfaces, VKTReachabilityFlags> cases[] = {
        {{}, unreachable},
        {{loopback, unplugged, withoutAddress}, unreachable},
        {{loopback, running("wlan0")}, reachable},
        {{running("enp3s0")}, reachable},
        {{unplugged, running("wwan0")}, cellular},
        {{running("ppp0"), loopback}, cellular},
        {{running("wwp0s20u4"), running("rmnet0")}, cellular},
        {{running("wwan0"), running("wlan0")}, reachable},
        {{running("eth0"), running("ppp0")}, reachable}};
    for (const auto& [interfaces, flags] : cases)
        EXPECT_EQ(vkt_reachabilityFlags(interfaces), flags) << &flags - &cases[0].second;
}

TEST(NetlinkReachability, TheDeviceItselfIsAlwaysReachable) {
    const VKTNetworkInterfaceSource unreadable{[] { return std::nullopt; }, [] { return -1; }};
    VKTSocketAddress loopback;
    loopback.bytes[15] = 1;
    VKTSocketAddress mapped{{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 127, 0, 0, 1}};
    for (const VKTReachabilityPeer& peer :
         {VKTReachabilityPeer("LocalHost"), VKTReachabilityPeer(loopback), VKTReachabilityPeer(mapped)})
        EXPECT_EQ(vkt_makeNetlinkReachabilityTarget(peer, unreadable)->flags(), reachable);
    for (const char* other : {"ads.example", "127.evil.example"})
        EXPECT_FALSE(vkt_makeNetlinkReachabilityTarget(other, unreadable)->flags()) << other;
}

TEST(NetlinkReachability, ReadsTheKernelsInterfacesAndTakesLostMessagesForAChange) {
    const auto source = vkt_systemInterfaceSource();
    const auto interfaces = source.readInterfaces();
    ASSERT_TRUE(interfaces);
    EXPECT_EQ(std::count_if(interfaces->begin(), interfaces->end(),
                            [](const auto& each) { return each.name == "lo" && each.isLoopback; }),
              1);

    // More acknowledgements than the socket can hold.
    nlmsghdr request{};
    request.nlmsg_len = sizeof request;
    request.nlmsg_type = NLMSG_NOOP;
    request.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    const std::vector<nlmsghdr> requests(4'096, request);
    std::atomic<bool> wasRead = false;
    const auto target = vkt_makeNetlinkReachabilityTarget(
        VKTSocketAddress(),
        {[&] {
             return wasRead.exchange(true) ? VKTNetworkInterfaces{running("eth0")} : VKTNetworkInterfaces();
         },
         [&] {
             const int changes = source.openChangeSocket();
             EXPECT_GT(send(changes, requests.data(), requests.size() * sizeof request, 0), 0);
             return changes;
         }});
    const auto loop = vkt_makeLinuxRunLoop();
    bool isReachable = false;
    target->setCallback([&](const VKTReachabilityFlags& flags) { isReachable = flags.reachable; });
    target->schedule(loop);
    EXPECT_TRUE(loop->runUntil([&] { return isReachable; }, 10s));
}

}  // namespace

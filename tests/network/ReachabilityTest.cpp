#include <gtest/gtest.h>

#include "VKTCoreKit/network/VKTNetworkInfo.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "tests/support/VKTRecordedLog.h"

namespace {

constexpr VKTReachabilityFlags WiFi{.reachable = true};
constexpr VKTReachabilityFlags WWAN{.reachable = true, .isWWAN = true};

class Reachability : public testing::Test {
  protected:
    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    std::shared_ptr<VKTFakeReachabilityTarget> target_ = test_.reachabilityTarget;
    std::shared_ptr<VKTReachabilityManager> manager_ = VKTReachabilityManager::manager();
};

TEST_F(Reachability, EveryStatusHasItsValuesAndTexts) {
    const auto device = std::make_shared<VKTSettableDevice>();
    const auto info = VKTNetworkInfo::initWithReachabilityManager(manager_, device);
    test_.mainBundle->setString("Localizable", "Network Reachable via WWAN", "Mobilfunk");
    struct Case {
        std::optional<VKTReachabilityFlags> flags;
        int status, networkStatus, networkType;
        unsigned accessType;
        const char* text;
    };
    const Case cases[] = {{{}, -1, 0, 0, 0, "Network Unknown"},
                          {VKTReachabilityFlags(), 0, 1, 0, 0, "Network Not Reachable"},
                          {WWAN, 1, 2, 2, 0, "Mobilfunk"},
                          {WiFi, 2, 2, 1, 6, "Network Reachable via WiFi"}};
    for (const Case& each : cases) {
        target_->setFlags(each.flags);
        manager_->startMonitoring();
        EXPECT_EQ(manager_->networkReachabilityStatus(), each.status);
        EXPECT_EQ(manager_->isNetworkReachableViaWWAN(), each.status == 1);
        EXPECT_EQ(manager_->isNetworkReachableViaWiFi(), each.status == 2);
        EXPECT_EQ(manager_->isNetworkReachable(), each.status > 0);
        EXPECT_EQ(manager_->networkReachabilityStatusString(), each.text);
        EXPECT_EQ(info->networkStatus(), each.networkStatus);
        EXPECT_EQ(info->networkType(), each.networkType);
        EXPECT_EQ(info->isNetworkReachable(), each.networkStatus == 2);
        EXPECT_EQ(info->isReachableOnWiFi(), each.networkType == 1);
        EXPECT_EQ(info->networkAccessType(), each.accessType);
    }
    for (const int status : {-2, 3})
        EXPECT_EQ(VKTStringFromNetworkReachabilityStatus(static_cast<VKTNetworkReachabilityStatus>(status)),
                  "Network Unknown");

    EXPECT_EQ(info->wifiLocalIPAddress(), "");
    device->setFacts({.interfaceAddresses = VKTInterfaceAddresses{
                          {"en0", "10.0.0.1"}, {"en0", "10.0.0.2"}, {"en1", "10.0.0.3"}}});
    EXPECT_EQ(info->wifiLocalIPAddress(), "10.0.0.2");
}

TEST_F(Reachability, AConnectionThatTheUserMustMakeDoesNotCount) {
    for (int bits = 0; bits < 32; ++bits) {
        const bool isReachable = bits & 1, required = bits & 2, traffic = bits & 4, demand = bits & 8,
                   intervention = bits & 16;
        target_->setFlags(VKTReachabilityFlags{isReachable, required, traffic, demand, intervention, false});
        manager_->startMonitoring();
        const bool connects = (traffic || demand) && !intervention;
        EXPECT_EQ(manager_->isNetworkReachable(), isReachable && (!required || connects)) << bits;
    }
}

TEST_F(Reachability, EachReportIsToldToTheBlockAndThenToEverybody) {
    std::string told;
    manager_->setReachabilityStatusChangeBlock(
        [&](VKTNetworkReachabilityStatus status) { told += "block " + std::to_string(status) + ", "; });
    const auto token = test_.notificationCentre->addObserver(
        "com.korvonet.reachiblity.change", [&](const VKTNotification& notification) {
            told += VKTValue(notification.userInfo).description() + "; ";
        });
    target_->setFlags(WiFi);
    EXPECT_EQ(told, "");
    manager_->startMonitoring();
    VKTReachabilityFlags sameStatus = WiFi;
    sameStatus.connectionOnDemand = true;
    target_->setFlags(sameStatus);
    target_->setFlags(WWAN);
    test_.mainRunLoop->drain();
    EXPECT_EQ(told,
              "block 2, {VKTReachabilityNotificationStatusItem = 2}; "
              "block 2, {VKTReachabilityNotificationStatusItem = 2}; "
              "block 1, {VKTReachabilityNotificationStatusItem = 1}; ");
}

TEST_F(Reachability, AReportThatThrowsKeepsItFromNobodyElse) {
    manager_->setReachabilityStatusChangeBlock([](auto) { throw std::runtime_error("boom"); });
    const auto throwing = test_.notificationCentre->addObserver(
        VKTReachabilityDidChangeNotification, [](auto&) { throw std::runtime_error("boom"); });
    const auto empty = test_.notificationCentre->addObserver(VKTReachabilityDidChangeNotification, nullptr);
    int reports = 0;
    const auto last = test_.notificationCentre->addObserver(VKTReachabilityDidChangeNotification,
                                                            [&](auto&) { ++reports; });
    VKTRecordedLog log;
    target_->setFlags(WiFi);
    manager_->startMonitoring();
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(log.take().size(), 2U);
}

TEST_F(Reachability, StoppedOrDestroyedItHearsNoMore) {
    manager_->startMonitoring();
    EXPECT_TRUE(target_->isScheduled());
    manager_->stopMonitoring();
    EXPECT_FALSE(target_->isScheduled());
    target_->schedule(test_.mainRunLoop);  // the callback is still registered
    target_->setFlags(WWAN);
    test_.mainRunLoop->drain();
    EXPECT_EQ(manager_->networkReachabilityStatus(), 1);

    // Let go of inside its own report.
    manager_->setReachabilityStatusChangeBlock([this](auto) { manager_.reset(); });
    target_->setFlags(WiFi);
    test_.mainRunLoop->drain();
    EXPECT_EQ(manager_, nullptr);
    EXPECT_FALSE(target_->isScheduled());
}

TEST_F(Reachability, WhoHearsOfTheFirstReportMayAskTheSharedInstance) {
    target_->setFlags(WiFi);
    const auto token = test_.notificationCentre->addObserver(VKTReachabilityDidChangeNotification, [](auto&) {
        EXPECT_TRUE(VKTNetworkInfo::sharedInstance()->isReachableOnWiFi());
    });
    EXPECT_TRUE(VKTNetworkInfo::sharedInstance()->isReachableOnWiFi());
}

TEST_F(Reachability, IsAskedForThePeer) {
    std::vector<VKTReachabilityPeer> peers;
    test_.platform.makeReachabilityTarget = [&](const VKTReachabilityPeer& peer) {
        peers.push_back(peer);
        return target_;
    };
    VKTPlatform::setCurrent(test_.platform);
    const VKTSocketAddress address{{1}};
    VKTReachabilityManager::manager();
    VKTReachabilityManager::managerForDomain("ads.example");
    VKTReachabilityManager::managerForAddress(address);
    EXPECT_EQ(peers, (std::vector<VKTReachabilityPeer>{VKTSocketAddress(), "ads.example", address}));
    EXPECT_EQ(VKTReachabilityManager::init(), nullptr);
    EXPECT_EQ(VKTReachabilityManager::initWithReachability(nullptr), nullptr);
}

}  // namespace

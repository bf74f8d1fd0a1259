#include <gtest/gtest.h>

#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/privacy/VKTLocationManager.h"

namespace {

class DataSource : public VKTLocationManagerDataSource {
  public:
    std::optional<VKTLocation> manualLocationForLocationManager(const VKTLocationManager&) override {
        return manual;
    }
    bool locationManagerShouldAllowAutomaticLocationDetection(const VKTLocationManager&) override {
        return allows;
    }

    std::optional<VKTLocation> manual;
    bool allows = true;
};

class Location : public testing::Test {
  protected:
    Location() {
        services_->setEnabled(true);
        services_->setAuthorizationStatus(VKTLocationAuthorizationStatusAuthorizedWhenInUse);
        test_.platform.globalPool = pool_;
        VKTPlatform::setCurrent(test_.platform);  // until the scope ends
        manager_ = VKTLocationManager::initWithDataSource(source_);
    }

    void refresh() {
        pool_->runAll();
        test_.mainRunLoop->drain();
    }
    void find(VKTCoordinates locations) {
        services_->tellDelegates(
            [&](auto& delegate) { delegate.locationManagerDidUpdateLocations(locations); });
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    const std::shared_ptr<VKTManualPool> pool_ = std::make_shared<VKTManualPool>();
    const std::shared_ptr<VKTFakeLocationServices> services_ = test_.locationServices;
    const std::shared_ptr<DataSource> source_ = std::make_shared<DataSource>();
    std::shared_ptr<VKTLocationManager> manager_;
};

TEST_F(Location, OneFixForEachStart) {
    int updates = 0;
    refresh();
    EXPECT_EQ(services_->requestCount(), 0U) << "nobody has asked";
    manager_->startProvider([&] { ++updates; });
    find({});
    EXPECT_TRUE(manager_->isStarted()) << "nothing was found";
    find({{48.1, 11.5}, {1, 2}});
    EXPECT_EQ(manager_->location(), (VKTLocation{48.1, 11.5}));
    EXPECT_FALSE(manager_->isStarted());
    EXPECT_EQ(services_->requestCount(), 0U);
    manager_->locationProvider()->startLocationProvider();
    find({{3, 4}});
    EXPECT_EQ(updates, 1) << "the handler went with its start";

    manager_->startProvider([&] { manager_->startProvider([&] { updates = 10; }); });
    find({{5, 6}});
    EXPECT_TRUE(manager_->isStarted()) << "a handler may start anew";
    find({{7, 8}});
    EXPECT_EQ(updates, 10);
}

TEST_F(Location, WhoMayBeLocated) {
    constexpr VKTLocation found{1, 2};
    constexpr VKTLocation manual{3, 4};
    using Status = VKTLocationAuthorizationStatus;
    // Services on, manual location, host allows, status; the location told.
    const std::tuple<bool, std::optional<VKTLocation>, bool, Status, std::optional<VKTLocation>> cases[] = {
        {true, {}, true, VKTLocationAuthorizationStatusAuthorizedAlways, found},
        {true, {}, true, VKTLocationAuthorizationStatusAuthorizedWhenInUse, found},
        {true, {}, true, VKTLocationAuthorizationStatusDenied, {}},
        {true, {}, false, VKTLocationAuthorizationStatusAuthorizedAlways, {}},
        {false, {}, true, VKTLocationAuthorizationStatusAuthorizedAlways, {}},
        {true, manual, true, VKTLocationAuthorizationStatusAuthorizedAlways, manual},
        {false, manual, false, VKTLocationAuthorizationStatusDenied, manual}};
    refresh();
    manager_->startProvider();
    find({{1, 2}});
    for (const auto& [isOn, set, allows, status, told] : cases) {
        services_->setEnabled(isOn);
        services_->setAuthorizationStatus(status);
        source_->manual = set;
        source_->allows = allows;
        manager_->locationProvider()->refreshLocationServiceEnabled();
        refresh();
        EXPECT_EQ(manager_->location(), told);
        EXPECT_EQ(manager_->canLocateUser(), told == found);
    }
}

TEST_F(Location, ProviderFollowsServicesAndApplication) {
    const auto provider = manager_->locationProvider();
    provider->startLocationProvider();
    EXPECT_EQ(services_->requestCount(), 0U) << "not known yet whether services are on";
    refresh();
    EXPECT_EQ(services_->requestCount(), 1U) << "the start that waited";
    provider->startLocationProvider();
    EXPECT_EQ(services_->requestCount(), 1U);
    test_.application->setApplicationState(VKTApplicationStateBackground);
    EXPECT_EQ(services_->requestCount(), 0U);
    EXPECT_FALSE(provider->locationProviderStarted());

    services_->setEnabled(false);
    test_.application->setApplicationState(VKTApplicationStateActive);
    provider->startLocationProvider();
    EXPECT_EQ(services_->requestCount(), 1U) << "as last read";
    refresh();
    EXPECT_EQ(services_->requestCount(), 0U);
    EXPECT_FALSE(provider->locationServiceEnabled());
}

}  // namespace

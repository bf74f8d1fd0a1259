#include <gtest/gtest.h>

#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/privacy/VKTLocationManager.h"

namespace {

class Location : public testing::Test, public VKTLocationManagerDataSource {
  protected:
    Location() {
        services_->setEnabled(true);
        services_->setAuthorizationStatus(VKTLocationAuthorizationStatusAuthorizedWhenInUse);
        test_.platform.globalPool = pool_;
        VKTPlatform::setCurrent(test_.platform);  // until the scope ends
        manager_ = VKTLocationManager::initWithDataSource({owner_, this});
    }

    std::optional<VKTLocation> manualLocationForLocationManager(const VKTLocationManager&) override {
        return manual_;
    }
    bool locationManagerShouldAllowAutomaticLocationDetection(const VKTLocationManager&) override {
        return allows_;
    }

    void refresh() { pool_->runAll(), test_.mainRunLoop->drain(); }
    void find(VKTCoordinates locations) {
        services_->tellDelegates(
            [&](auto& delegate) { delegate.locationManagerDidUpdateLocations(locations); });
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    const std::shared_ptr<VKTManualPool> pool_ = std::make_shared<VKTManualPool>();
    const std::shared_ptr<VKTFakeLocationServices> services_ = test_.locationServices;
    const std::shared_ptr<int> owner_ = std::make_shared<int>();  // of the fixture as a data source
    std::optional<VKTLocation> manual_;
    bool allows_ = true;
    std::shared_ptr<VKTLocationManager> manager_;
};

TEST_F(Location, AHandlerThatThrowsLeavesItStopped) {
    refresh();
    manager_->startProvider([] { throw std::runtime_error("boom"); });
    find({{48.1, 11.5}});
    EXPECT_FALSE(manager_->isStarted());
    EXPECT_EQ(services_->requestCount(), 0U);
}

TEST_F(Location, OneFixForEachStart) {
    int updates = 0;
    refresh();
    EXPECT_EQ(services_->requestCount(), 0U) << "nobody has asked";
    manager_->startProvider([&] {
        ++updates;
        EXPECT_EQ(manager_->location(), (VKTLocation{48.1, 11.5}));
        manager_->startProvider([&] { updates = 10; });
    });
    find({});
    EXPECT_TRUE(manager_->isStarted()) << "nothing was found";
    find({{48.1, 11.5}, {1, 2}});
    EXPECT_FALSE(manager_->isStarted()) << "stopped after its handler";
    EXPECT_EQ(services_->requestCount(), 0U);
    manager_->locationProvider()->startLocationProvider();
    find({{3, 4}});
    EXPECT_EQ(updates, 1) << "the handlers went with their starts";
    manager_->startProvider([&] { manager_.reset(); });
    find({{5, 6}});
    EXPECT_EQ(services_->requestCount(), 0U) << "let go by its handler";
}

TEST_F(Location, WhoMayBeLocated) {
    constexpr VKTLocation found{1, 2}, manual{3, 4};
    using Place = std::optional<VKTLocation>;
    // Services on, manual location, host allows, authorisation status; the location told.
    const std::tuple<bool, Place, bool, int, Place> cases[] = {
        {true, {}, true, 3, found}, {true, {}, true, 2, {}},         {true, {}, false, 3, {}},
        {false, {}, true, 3, {}},   {true, manual, true, 3, manual}, {false, manual, false, 2, manual},
        {true, {}, true, 4, found}};
    refresh();
    manager_->startProvider();
    find({{1, 2}});
    for (const auto& [isOn, set, allows, status, told] : cases) {
        services_->setEnabled(isOn);
        services_->setAuthorizationStatus(static_cast<VKTLocationAuthorizationStatus>(status));
        manual_ = set;
        allows_ = allows;
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
    EXPECT_EQ(services_->requestCount(), 1U) << "of the start that waited";
    const auto* request = provider->locationManager().get();
    provider->startLocationProvider();
    EXPECT_EQ(provider->locationManager().get(), request) << "no second look-up";
    test_.application->setApplicationState(VKTApplicationStateBackground);
    EXPECT_EQ(services_->requestCount(), 0U);
    services_->setEnabled(false);
    provider->startLocationProvider();
    EXPECT_EQ(services_->requestCount(), 1U) << "as last read";
    test_.application->setApplicationState(VKTApplicationStateActive);
    refresh();
    EXPECT_EQ(services_->requestCount(), 0U);
}

}  // namespace

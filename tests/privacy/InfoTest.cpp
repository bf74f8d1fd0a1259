#include <gtest/gtest.h>

#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/privacy/VKTAppInfo.h"
#include "VKTCoreKit/privacy/VKTDeviceInfo.h"

namespace {

class DeviceInfo : public testing::Test {
  protected:
    std::shared_ptr<VKTDeviceInfo> infoOf(VKTDeviceFacts facts) {
        test_.device->setFacts(std::move(facts));
        return VKTDeviceInfo::init();
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
};

TEST_F(DeviceInfo, ValuesAreTakenOnceAndLiveOnesAskedAfresh) {
    const auto info = infoOf({.machine = "iPad2,1",
                              .model = "TV Simulator",
                              .systemVersion = "16.1.2",
                              .preferredLanguages = {"de-DE", "en"},
                              .trackingAuthorizationStatus = 3});
    EXPECT_EQ(VKTDeviceInfoProvider::generateUserAgent(),
              "Mozilla/5.0 (TV; U; CPU OS 16_1_2 like Mac OS X; en-us)");
    EXPECT_EQ(infoOf({.interfaceAddresses = {{{"en0", "10.0.0.1"}}}})->locale(), std::nullopt);
    EXPECT_EQ(info->platform() + info->systemVersion() + *info->locale(), "iPad2,116.1.2de-DE");
    EXPECT_TRUE(info->hasLowPerformances() && info->canPlay360Videos() && info->advertisingTrackingEnabled());
    EXPECT_EQ(info->userAgent(), "Apple TV");
    EXPECT_EQ(info->trackingAuthorizationStatus(), -1);
    EXPECT_EQ(info->IPAddress(), "10.0.0.1");
}

TEST_F(DeviceInfo, WhatFollowsFromTheDevicesFacts) {
    for (const char* model : {"iPod1,1", "iPod2,1", "iPod3,1", "iPod4,1", "iPod5,1", "iPhone1,1", "iPhone1,2",
                              "iPhone2,1", "iPad1,1", "iPad2,1", "iPad2,5", "iPhone3,1", "iPhone4,1",
                              "iPhone5,1", "iPhone5,2", "iPhone5,3", "iPhone5,4", "i386", "x86_64"})
        EXPECT_TRUE(VKTDeviceInfo::deviceHasLowPerformances(model)) << model;
    for (const char* model : {"", "aarch64", "ipad2,1", "iPhone5,12"})
        EXPECT_FALSE(VKTDeviceInfo::deviceHasLowPerformances(model)) << model;
    for (const char* version : {"7.0", "7", "10.0"})
        EXPECT_TRUE(infoOf({.systemVersion = version})->canPlay360Videos()) << version;
    for (const char* version : {"6.9.9", "", "v8"})
        EXPECT_FALSE(infoOf({.systemVersion = version})->canPlay360Videos()) << version;

    const std::pair<std::optional<VKTInterfaceAddresses>, const char*> interfaces[] = {
        {std::nullopt, "(no_ip_address)"},
        {{{{"lo", "127.0.0.1"}, {"en01", "1.1.1.1"}}}, "(no_ip_address)"},
        {{{{"en0", "10.0.0.1"}, {"en0", "10.0.0.2"}, {"en1", "10.0.0.3"}}}, "10.0.0.2"}};
    for (const auto& [addresses, address] : interfaces)
        EXPECT_EQ(infoOf({.interfaceAddresses = addresses})->IPAddress(), address);

    // The platform's status and flag; what is told of them.
    const std::tuple<std::optional<int>, bool, int, bool> tracking[] = {
        {0, true, 0, false},  {1, true, 1, false}, {2, true, 2, false},    {3, false, 3, true},
        {-1, true, 0, false}, {4, true, 0, false}, {{}, false, -1, false}, {{}, true, -1, true}};
    for (const auto& [status, flag, told, isEnabled] : tracking) {
        const auto info =
            infoOf({.trackingAuthorizationStatus = status, .isAdvertisingTrackingEnabled = flag});
        EXPECT_EQ(info->trackingAuthorizationStatus(), told);
        EXPECT_EQ(info->advertisingTrackingEnabled(), isEnabled);
    }
}

TEST(AppInfo, EachValueHasItsFallback) {
    VKTStringTableBundle bundle;
    const auto values = [&] {
        const auto info = VKTAppInfo::initWithBundle(bundle);
        return info->appName() + " " + info->appVersion() + " " + info->appBundleIdentifier();
    };
    EXPECT_EQ(values(), "(unknown) (unknown) (unknown)");
    bundle.setInfoValue("CFBundleName", "n");
    bundle.setInfoValue("CFBundleVersion", "12");
    EXPECT_EQ(values(), "n 12 n");
    bundle.setInfoValue("CFBundleDisplayName", "d");
    bundle.setInfoValue("CFBundleShortVersionString", "1.2");
    bundle.setInfoValue("CFBundleIdentifier", "i");
    EXPECT_EQ(values(), "d 1.2 i");
}

}  // namespace

#include <gtest/gtest.h>

#include <string>

#include "VKTCoreKit/privacy/VKTAppInfo.h"
#include "VKTCoreKit/privacy/VKTDeviceInfo.h"

namespace {

std::shared_ptr<VKTDeviceInfo> infoOf(VKTDeviceFacts facts) {
    return VKTDeviceInfo::initWithInfoProvider(
        VKTDeviceInfoProvider::initWithDevice(std::make_shared<VKTSettableDevice>(std::move(facts))));
}

TEST(DeviceInfo, ValuesAreTakenOnceAndLiveOnesAskedAfresh) {
    const auto device = std::make_shared<VKTSettableDevice>(VKTDeviceFacts{
        "iPad2,1", "iPad", "16.1", {"de-DE", "en"}, VKTInterfaceAddresses{{"en0", "10.0.0.1"}}, 3, false});
    const auto info = VKTDeviceInfo::initWithInfoProvider(VKTDeviceInfoProvider::initWithDevice(device));
    device->setFacts({});
    EXPECT_EQ(info->platform(), "iPad2,1");
    EXPECT_EQ(info->systemVersion(), "16.1");
    EXPECT_TRUE(info->hasLowPerformances());
    EXPECT_TRUE(info->canPlay360Videos());
    EXPECT_TRUE(info->advertisingTrackingEnabled());
    EXPECT_EQ(info->locale(), "de-DE");
    EXPECT_EQ(info->userAgent(), "Apple TV");
    EXPECT_EQ(info->trackingAuthorizationStatus(), -1);
    EXPECT_EQ(info->IPAddress(), "(no_ip_address)");
    EXPECT_EQ(infoOf({})->locale(), std::nullopt);
}

TEST(DeviceInfo, LowPerformanceModels) {
    for (const char* model : {"iPod1,1", "iPod2,1", "iPod3,1", "iPod4,1", "iPod5,1", "iPhone1,1", "iPhone1,2",
                              "iPhone2,1", "iPad1,1", "iPad2,1", "iPad2,5", "iPhone3,1", "iPhone4,1",
                              "iPhone5,1", "iPhone5,2", "iPhone5,3", "iPhone5,4", "i386", "x86_64"})
        EXPECT_TRUE(VKTDeviceInfo::deviceHasLowPerformances(model)) << model;
    for (const char* model : {"", "AppleTV6,2", "aarch64", "iPad2,2", "ipad2,1", "iPhone5,12", "x86_64 "})
        EXPECT_FALSE(VKTDeviceInfo::deviceHasLowPerformances(model)) << model;
}

TEST(DeviceInfo, SystemVersionsThatPlay360Videos) {
    const std::pair<const char*, bool> cases[] = {{"7.0", true},  {"7", true},  {"7.0.1", true},
                                                  {"10.0", true}, {"17", true}, {"6.9.9", false},
                                                  {"", false},    {"v8", false}};
    for (const auto& [version, can] : cases)
        EXPECT_EQ(infoOf({.systemVersion = version})->canPlay360Videos(), can) << version;
}

TEST(DeviceInfo, AddressOfTheNamedInterface) {
    const std::pair<std::optional<VKTInterfaceAddresses>, const char*> cases[] = {
        {std::nullopt, "(no_ip_address)"},
        {VKTInterfaceAddresses{{"lo", "127.0.0.1"}, {"en01", "1.1.1.1"}, {"EN0", "2.2.2.2"}},
         "(no_ip_address)"},
        {VKTInterfaceAddresses{{"en0", "10.0.0.1"}, {"en0", "10.0.0.2"}, {"en1", "10.0.0.3"}}, "10.0.0.2"}};
    for (const auto& [addresses, expected] : cases)
        EXPECT_EQ(infoOf({.interfaceAddresses = addresses})->IPAddress(), expected);
}

TEST(DeviceInfo, TrackingByTheUsersAnswerElseByTheFlag) {
    // The platform's status and flag; what is told of them.
    const std::tuple<std::optional<int>, bool, int, bool> cases[] = {{0, true, 0, false},
                                                                     {1, true, 1, false},
                                                                     {2, true, 2, false},
                                                                     {3, false, 3, true},
                                                                     {4, true, 0, false},
                                                                     {-1, true, 0, false},
                                                                     {std::nullopt, false, -1, false},
                                                                     {std::nullopt, true, -1, true}};
    for (const auto& [status, flag, told, isEnabled] : cases) {
        const auto info =
            infoOf({.trackingAuthorizationStatus = status, .isAdvertisingTrackingEnabled = flag});
        EXPECT_EQ(info->trackingAuthorizationStatus(), told);
        EXPECT_EQ(info->advertisingTrackingEnabled(), isEnabled);
    }
}

TEST(AppInfo, EachValueHasItsFallback) {
    using Values = std::vector<std::pair<const char*, const char*>>;
    // The bundle's values; name, version and identifier.
    const std::tuple<Values, const char*, const char*, const char*> cases[] = {
        {{}, "(unknown)", "(unknown)", "(unknown)"},
        {{{"CFBundleName", "n"}, {"CFBundleVersion", "12"}}, "n", "12", "n"},
        {{{"CFBundleName", "n"},
          {"CFBundleVersion", "12"},
          {"CFBundleDisplayName", "d"},
          {"CFBundleShortVersionString", "1.2"},
          {"CFBundleIdentifier", "i"}},
         "d",
         "1.2",
         "i"}};
    for (const auto& [values, name, version, identifier] : cases) {
        VKTStringTableBundle bundle;
        for (const auto& [key, value] : values)
            bundle.setInfoValue(key, value);
        const auto info = VKTAppInfo::initWithBundle(bundle);
        EXPECT_EQ(info->appName(), name);
        EXPECT_EQ(info->appVersion(), version);
        EXPECT_EQ(info->appBundleIdentifier(), identifier);
    }
}

}  // namespace

// Device facts, and location services against the Linux ones and the fake.
#include <gtest/gtest.h>

#include <algorithm>

#include "VKTCoreKit/platform/linux/VKTLinuxDevice.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

namespace {

TEST(LinuxDevice, KnowsItsSystem) {
    const VKTLinuxDevice device;
    EXPECT_FALSE(device.machine().empty() || device.systemVersion().empty());
    const auto addresses = device.interfaceAddresses().value();
    EXPECT_EQ(std::count(addresses.begin(), addresses.end(), VKTInterfaceAddress{"lo", "127.0.0.1"}), 1);
    const std::string release = "NAME=\"A B\"\n  VERSION_ID='12.4'\r\nVERSION_ID=13\nODD=\"\nNONE=\n";
    const std::pair<const char*, std::optional<std::string>> values[] = {
        {"NAME", "A B"}, {"VERSION_ID", "12.4"}, {"ODD", "\""}, {"NONE", ""}, {"VERSION", {}}};
    for (const auto& [key, value] : values)
        EXPECT_EQ(vkt_OSReleaseValue(release, key), value) << key;
    EXPECT_EQ(vkt_languagesFromLocaleNames("POSIX:C.UTF-8:zh_Hant_TW:en::de_AT.UTF-8@euro"),
              (std::vector<std::string>{"zh-Hant-TW", "en", "de-AT"}));
}

struct Listener : VKTLocationRequestDelegate {
    void locationManagerDidUpdateLocations(const VKTCoordinates&) override { ++ends, request.reset(); }
    void locationManagerDidFailWithError(const VKTError&) override { ++ends, request.reset(); }

    int ends = 0;
    std::unique_ptr<VKTLocationRequest> request;
};

TEST(LocationServices, ARequestEndsOnceLaterAndNotWhenItIsGone) {
    const auto test = vkt_makeTestPlatform();
    const VKTScopedPlatform scope(test.platform);
    const std::shared_ptr<VKTLocationServices> subjects[] = {std::make_shared<VKTLinuxLocationServices>(),
                                                             test.locationServices};
    for (const auto& services : subjects) {
        const auto heard = std::make_shared<Listener>(), dropped = std::make_shared<Listener>();
        heard->request = services->requestLocation(heard);
        services->requestLocation(dropped).reset();
        const auto unheard = services->requestLocation(std::make_shared<Listener>());
        EXPECT_EQ(heard->ends, 0);
        for (int i = 0; i < 2; ++i) {
            test.mainRunLoop->drain();
            test.locationServices->tellDelegates(
                [](auto& told) { told.locationManagerDidUpdateLocations({}); });
        }
        EXPECT_EQ(heard->ends, 1);
        EXPECT_EQ(dropped->ends, 0);
    }
}

}  // namespace

// Device facts, and location services against the Linux ones and the fake.
#include <gtest/gtest.h>

#include <algorithm>

#include "VKTCoreKit/platform/linux/VKTLinuxDevice.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/platform/testing/contract/VKTLocationServicesContract.h"

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

// The Linux ones answer from the main loop of the platform in force.
struct LinuxLocationServices {
    VKTTestPlatform test = vkt_makeTestPlatform();
    VKTScopedPlatform scope{test.platform};
    std::shared_ptr<VKTLocationServices> services = std::make_shared<VKTLinuxLocationServices>();
};

VKTLocationServicesSubject linuxServices() {
    const auto subject = std::make_shared<LinuxLocationServices>();
    return {vkt_keepingSubject(subject, subject->services),
            [subject] { subject->test.mainRunLoop->drain(); }};
}

VKTLocationServicesSubject fakeServices() {
    const auto services = std::make_shared<VKTFakeLocationServices>();
    return {services, [services] {
                services->tellDelegates([](auto& told) { told.locationManagerDidUpdateLocations({}); });
            }};
}

INSTANTIATE_TEST_SUITE_P(Ours, VKTLocationServicesContract,
                         testing::Values(VKTLocationServicesMaker{"linux", linuxServices},
                                         VKTLocationServicesMaker{"fake", fakeServices}));

}  // namespace

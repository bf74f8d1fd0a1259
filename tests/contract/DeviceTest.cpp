// Device facts, and location services against the Linux ones and the fake.
#include <gtest/gtest.h>

#include <algorithm>

#include "VKTCoreKit/platform/linux/VKTLinuxDevice.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

namespace {

TEST(LinuxDevice, KnowsKernelDistributionAndInterfaces) {
    const VKTLinuxDevice device;
    EXPECT_FALSE(device.machine().empty());
    EXPECT_FALSE(device.systemVersion().empty());
    const auto addresses = device.interfaceAddresses();
    ASSERT_TRUE(addresses);
    EXPECT_NE(std::find(addresses->begin(), addresses->end(), VKTInterfaceAddress{"lo", "127.0.0.1"}),
              addresses->end());
}

TEST(LinuxDevice, ReadsOSRelease) {
    const std::string text = "NAME=\"A B\"\n  VERSION_ID='12.4'\r\nID=x\nVERSION_ID=13\nODD=\"\nNONE=\n";
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"NAME", "A B"}, {"VERSION_ID", "12.4"}, {"ID", "x"},    {"ODD", "\""},
        {"NONE", ""},    {"VERSION", {}},        {"UNKNOWN", {}}};
    for (const auto& [key, value] : cases)
        EXPECT_EQ(vkt_OSReleaseValue(text, key), value) << key;
}

TEST(LinuxDevice, ReadsLocaleNames) {
    using Languages = std::vector<std::string>;
    const std::pair<const char*, Languages> cases[] = {
        {"", {}},
        {"C.UTF-8", {}},
        {"POSIX:C", {}},
        {"de_AT.UTF-8@euro", {"de-AT"}},
        {"zh_Hant_TW:en::fr_FR.ISO-8859-1", {"zh-Hant-TW", "en", "fr-FR"}}};
    for (const auto& [names, languages] : cases)
        EXPECT_EQ(vkt_languagesFromLocaleNames(names), languages) << names;
}

class Listener : public VKTLocationRequestDelegate {
  public:
    void locationManagerDidUpdateLocations(const VKTCoordinates&) override { end(); }
    void locationManagerDidFailWithError(const VKTError& error) override {
        EXPECT_EQ(error.domain(), VKTLocationErrorDomain);
        end();
    }

    int ends = 0;
    std::unique_ptr<VKTLocationRequest> request;

  private:
    void end() {
        ++ends;
        request.reset();
    }
};

TEST(LocationServices, ARequestEndsOnceLaterAndNotWhenItIsGone) {
    const auto test = vkt_makeTestPlatform();
    const VKTScopedPlatform scope(test.platform);
    const std::shared_ptr<VKTLocationServices> subjects[] = {std::make_shared<VKTLinuxLocationServices>(),
                                                             test.locationServices};
    for (const auto& services : subjects) {
        const auto heard = std::make_shared<Listener>();
        const auto dropped = std::make_shared<Listener>();
        heard->request = services->requestLocation(heard);
        services->requestLocation(dropped).reset();
        const auto unheard = services->requestLocation(std::make_shared<Listener>());
        EXPECT_EQ(heard->ends, 0);
        for (int i = 0; i < 2; ++i) {
            test.mainRunLoop->drain();
            test.locationServices->tellDelegates([](auto& delegate) {
                delegate.locationManagerDidUpdateLocations({{1, 2}});
            });
        }
        EXPECT_EQ(heard->ends, 1);
        EXPECT_EQ(dropped->ends, 0);
    }
}

}  // namespace

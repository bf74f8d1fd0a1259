// The platform is replaced after shared instances have taken services of it.
#include <gtest/gtest.h>

#include "VKTCoreKit/network/VKTNetworkInfo.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/privacy/VKTAppInfo.h"
#include "VKTCoreKit/privacy/VKTDeviceInfo.h"
#include "VKTCoreKit/tracking/VKTPixelManager.h"
#include "tests/support/VKTRecordedLog.h"

namespace {

std::string logOfReplacement() {
    VKTRecordedLog log;
    VKTPlatform::setCurrent(VKTPlatform::current());
    std::string text;
    for (const std::string& line : log.take())
        text += line + "\n";
    return text;
}

// In a process of its own, where nothing has been used yet.
TEST(LatePlatform, IsQuietBeforeAnythingIsUsed) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(exit(logOfReplacement().empty() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(LatePlatform, IsAnErrorThatNamesWhatWasMadeTooEarly) {
    const VKTTestPlatform test = vkt_makeTestPlatform();
    const VKTScopedPlatform scope(test.platform);
    const std::pair<const char*, void (*)()> makers[] = {
        {"VKTAppInfo::sharedInstance()", [] { VKTAppInfo::sharedInstance(); }},
        {"VKTDeviceInfo::sharedInstance()", [] { VKTDeviceInfo::sharedInstance(); }},
        {"VKTNetworkInfo::sharedInstance()", [] { VKTNetworkInfo::sharedInstance(); }},
        {"VKTPixelManager::sharedInstance()", [] { VKTPixelManager::sharedInstance(); }},
        {"VKTPixelStore::sharedInstance()", [] { VKTPixelStore::sharedInstance(); }},
        {"VKTReachabilityManager::sharedManager()", [] { VKTReachabilityManager::sharedManager(); }},
        {"VKTURLSessionProvider::sharedInstance()", [] { VKTURLSession::sharedInstance(); }},
    };
    std::string names;
    for (const auto& [name, make] : makers) {
        make();
        EXPECT_NE(logOfReplacement().find(name), std::string::npos) << name;
        names += (names.empty() ? "" : ", ") + std::string(name);
    }
    const std::string line = logOfReplacement();
    EXPECT_TRUE(line.starts_with("ERROR VKTPlatform::setCurrent comes too late for " + names + ": ")) << line;
    EXPECT_NE(line.find("Call it before anything else"), std::string::npos) << line;
}

}  // namespace

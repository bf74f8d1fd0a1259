#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

VKTTestPlatform vkt_makeTestPlatform() {
    VKTTestPlatform test;
    test.clock = std::make_shared<VKTManualClock>();
    test.random = std::make_shared<VKTFixedRandomSource>();
    test.HTTPSession = std::make_shared<VKTFakeHTTPSession>();
    test.mainRunLoop = std::make_shared<VKTManualRunLoop>(test.clock);
    test.keyValueStore = std::make_shared<VKTMemoryKeyValueStore>();
    test.notificationCentre = std::make_shared<VKTNotificationCentre>();
    test.application = std::make_shared<VKTHeadlessApplication>(test.notificationCentre);
    test.mainBundle = std::make_shared<VKTStringTableBundle>();
    test.device = std::make_shared<VKTSettableDevice>();
    test.locationServices = std::make_shared<VKTFakeLocationServices>();
    test.reachabilityTarget = std::make_shared<VKTFakeReachabilityTarget>();
    test.platform = vkt_makeDefaultPlatform();
    test.platform.clock = test.clock;
    test.platform.random = test.random;
    test.platform.HTTPSession = test.HTTPSession;
    test.platform.mainRunLoop = test.mainRunLoop;
    test.platform.keyValueStore = test.keyValueStore;
    test.platform.notificationCentre = test.notificationCentre;
    test.platform.application = test.application;
    test.platform.mainBundle = test.mainBundle;
    test.platform.device = test.device;
    test.platform.locationServices = test.locationServices;
    test.platform.makeReachabilityTarget = [target = test.reachabilityTarget](const auto&) { return target; };
    return test;
}

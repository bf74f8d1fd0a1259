#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

VKTTestPlatform vkt_makeTestPlatform() {
    VKTTestPlatform test;
    test.clock = std::make_shared<VKTManualClock>();
    test.random = std::make_shared<VKTFixedRandomSource>();
    test.HTTPSession = std::make_shared<VKTFakeHTTPSession>();
    test.mainRunLoop = std::make_shared<VKTManualRunLoop>(test.clock);
    test.platform = vkt_makeDefaultPlatform();
    test.platform.clock = test.clock;
    test.platform.random = test.random;
    test.platform.HTTPSession = test.HTTPSession;
    test.platform.mainRunLoop = test.mainRunLoop;
    return test;
}

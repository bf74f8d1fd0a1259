// A platform of fakes, and a way to put one in force for the length of a test.
#pragma once

#include <memory>
#include <utility>

#include "VKTCoreKit/platform/VKTHeadlessView.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/testing/VKTFakeHTTPSession.h"
#include "VKTCoreKit/platform/testing/VKTFakeLocationServices.h"
#include "VKTCoreKit/platform/testing/VKTFakeReachabilityTarget.h"
#include "VKTCoreKit/platform/testing/VKTFixedRandomSource.h"
#include "VKTCoreKit/platform/testing/VKTManualClock.h"
#include "VKTCoreKit/platform/testing/VKTManualRunLoop.h"
#include "VKTCoreKit/platform/testing/VKTMemoryKeyValueStore.h"

/// The platform and its fakes by their own types.
///
/// ```cpp
/// auto test = vkt_makeTestPlatform();
/// const VKTScopedPlatform inForce(test.platform);
/// test.mainRunLoop->advance(VKTTimeInterval(10));  // ten seconds pass
/// ```
struct VKTTestPlatform {
    std::shared_ptr<VKTManualClock> clock;
    std::shared_ptr<VKTFixedRandomSource> random;
    std::shared_ptr<VKTFakeHTTPSession> HTTPSession;
    std::shared_ptr<VKTManualRunLoop> mainRunLoop;
    std::shared_ptr<VKTMemoryKeyValueStore> keyValueStore;
    std::shared_ptr<VKTNotificationCentre> notificationCentre;
    std::shared_ptr<VKTHeadlessApplication> application;
    std::shared_ptr<VKTStringTableBundle> mainBundle;
    std::shared_ptr<VKTSettableDevice> device;
    std::shared_ptr<VKTFakeLocationServices> locationServices;
    std::shared_ptr<VKTFakeReachabilityTarget> reachabilityTarget;  ///< whatever the peer
    VKTPlatform platform;
};

/// Time, draws, answers, the main loop, application, device and location by hand. The XML reader, queues,
/// pools and stores with a file are the linked platform's: what blocks on them would never end on a queue
/// that is stepped by hand.
VKTTestPlatform vkt_makeTestPlatform();

/// Puts a platform in force and, when destroyed, the old one. One at a time, while nothing of the library
/// runs.
class VKTScopedPlatform {
  public:
    explicit VKTScopedPlatform(VKTPlatform platform) : previous_(VKTPlatform::current()) {
        VKTPlatform::setCurrent(std::move(platform));
    }
    ~VKTScopedPlatform() { VKTPlatform::setCurrent(std::move(previous_)); }
    VKTScopedPlatform(const VKTScopedPlatform&) = delete;
    VKTScopedPlatform& operator=(const VKTScopedPlatform&) = delete;

  private:
    VKTPlatform previous_;
};

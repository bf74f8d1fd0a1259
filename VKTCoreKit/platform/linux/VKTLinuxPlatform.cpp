#include "VKTCoreKit/platform/VKTHeadlessView.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/linux/VKTAsioQueues.h"
#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"
#include "VKTCoreKit/platform/linux/VKTDuktapeExecutor.h"
#include "VKTCoreKit/platform/linux/VKTExpatEventReader.h"
#include "VKTCoreKit/platform/linux/VKTLinuxDevice.h"
#include "VKTCoreKit/platform/linux/VKTLinuxRunLoop.h"
#include "VKTCoreKit/platform/linux/VKTNetlinkReachability.h"
#include "VKTCoreKit/platform/linux/VKTProcessExecutor.h"
#include "VKTCoreKit/platform/linux/VKTSQLiteKeyValueStore.h"
#include "VKTCoreKit/platform/linux/VKTSystemClock.h"
#include "VKTCoreKit/platform/linux/VKTSystemRandom.h"
#include "VKTCoreKit/platform/linux/VKTThreadPool.h"

VKTPlatform vkt_makeDefaultPlatform(const VKTPlatformOptions& options) {
    const auto notificationCentre = std::make_shared<VKTNotificationCentre>();
    return {.clock = std::make_shared<VKTSystemClock>(),
            .random = std::make_shared<VKTSystemRandom>(),
            .HTTPSession = vkt_makeCurlHTTPSession(options.HTTPSession),
            .mainRunLoop = vkt_makeLinuxMainRunLoop(),
            .passbackPool = vkt_makeThreadPool(VKTPassbackThreadLimit, "vkt-passback"),
            .globalPool = vkt_makeThreadPool(VKTGlobalPoolThreadLimit, "vkt-global"),
            .keyValueStore = vkt_makeSQLiteKeyValueStore("", nullptr),
            .notificationCentre = notificationCentre,
            .application = std::make_shared<VKTHeadlessApplication>(notificationCentre),
            .mainBundle = std::make_shared<VKTStringTableBundle>(),
            .device = std::make_shared<VKTLinuxDevice>(),
            .locationServices = std::make_shared<VKTLinuxLocationServices>(),
            .makeXMLEventReader = vkt_makeExpatEventReader,
            .makeSerialQueue = [] { return vkt_makeAsioSerialQueue(); },
            .makeConcurrentPool = [](std::size_t threads) { return vkt_makeThreadPool(threads); },
            .makeKeyValueStore = vkt_makeSQLiteKeyValueStore,
            .openKeyValueStore = vkt_openSQLiteKeyValueStore,
            .makeReachabilityTarget =
                [](const VKTReachabilityPeer& peer) { return vkt_makeNetlinkReachabilityTarget(peer); },
            .makeScriptExecutor = vkt_makeProcessExecutor,
            .makeTrustedScriptExecutor = vkt_makeDuktapeExecutor};
}

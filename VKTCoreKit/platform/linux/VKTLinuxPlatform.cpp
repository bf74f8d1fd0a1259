#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/linux/VKTAsioRunLoop.h"
#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"
#include "VKTCoreKit/platform/linux/VKTExpatEventReader.h"
#include "VKTCoreKit/platform/linux/VKTSystemClock.h"
#include "VKTCoreKit/platform/linux/VKTSystemRandom.h"

VKTPlatform vkt_makeDefaultPlatform() {
    return {.clock = std::make_shared<VKTSystemClock>(),
            .random = std::make_shared<VKTSystemRandom>(),
            .HTTPSession = vkt_makeCurlHTTPSession(),
            .mainRunLoop = vkt_makeAsioMainRunLoop(),
            .passbackPool = vkt_makeAsioConcurrentPool(VKTPassbackThreadLimit),
            .makeXMLEventReader = vkt_makeExpatEventReader,
            .makeSerialQueue = vkt_makeAsioSerialQueue,
            .makeConcurrentPool = vkt_makeAsioConcurrentPool};
}

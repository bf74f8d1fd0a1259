#include "VKTCoreKit/player/VKTAdBreakOptions.h"

#include <utility>

#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"

namespace {

std::shared_ptr<VKTPixelStoreProviderProtocol> providerOver(std::shared_ptr<VKTKeyValueStore> store) {
    if (!store) return std::make_shared<VKTPixelStoreProvider>();
    return VKTPersistentPixelStoreProvider::initWithKeyValueStore(std::move(store));
}

}  // namespace

VKTAdBreakServices VKTAdBreakServices::initWithPlatform(const VKTPlatform& platform,
                                                        std::shared_ptr<VKTKeyValueStore> pixelStore) {
    VKTAdBreakServices services;
    services.mainLoop = platform.mainRunLoop;
    services.clock = platform.clock;
    services.urlSession =
        VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(platform.HTTPSession));
    services.passbackPool = platform.passbackPool;
    services.makeSerialQueue = platform.makeSerialQueue;
    services.pixelManager = VKTPixelManager::initWithPixelStore(
        VKTPixelStore::initWithProvider(providerOver(std::move(pixelStore))), services.urlSession);
    return services;
}

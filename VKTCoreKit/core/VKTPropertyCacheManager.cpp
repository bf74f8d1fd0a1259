#include "VKTCoreKit/core/VKTPropertyCacheManager.h"

#include "VKTCoreKit/platform/VKTPlatform.h"

std::shared_ptr<VKTDefaultPropertyCacheManager> VKTDefaultPropertyCacheManager::init() {
    return initWithKeyValueStore(VKTPlatform::current().keyValueStore);
}

std::shared_ptr<VKTDefaultPropertyCacheManager> VKTDefaultPropertyCacheManager::initWithKeyValueStore(
    std::shared_ptr<VKTKeyValueStore> keyValueStore) {
    return std::shared_ptr<VKTDefaultPropertyCacheManager>(
        new VKTDefaultPropertyCacheManager(std::move(keyValueStore)));
}

std::optional<VKTValue> VKTDefaultPropertyCacheManager::objectForKey(std::string_view key) const {
    return keyValueStore_->valueForKey(key);
}

VKTStoredValue VKTDefaultPropertyCacheManager::readObjectForKey(std::string_view key) const {
    return keyValueStore_->readValueForKey(key);
}

bool VKTDefaultPropertyCacheManager::setObject(const VKTValue& object, std::string_view forKey) {
    return keyValueStore_->setValueForKey(object, forKey);
}

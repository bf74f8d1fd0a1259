#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"

#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTKeyedArchive.h"

namespace {

constexpr std::string_view listClassName = "VKTPixelList";
constexpr std::string_view keyPixels = "pixels";

// Nothing when the value is not an archived list. A pixel of the list that does not build is left out.
std::optional<VKTPixels> unarchivedPixels(const VKTValue& value) {
    const VKTBytes* data = value.asBytes();
    const auto list = data == nullptr ? std::nullopt : vkt_unarchivedValues(data->bytes, listClassName);
    const VKTValue* pixels = list ? list->find(keyPixels) : nullptr;
    if (pixels == nullptr || pixels->asArray() == nullptr) return std::nullopt;
    return VKTKeyedUnarchiver(*list).decodeObjects<VKTPixel>(keyPixels);
}

}  // namespace

std::shared_ptr<VKTPersistentPixelStoreProvider> VKTPersistentPixelStoreProvider::initWithKeyValueStore(
    std::shared_ptr<VKTKeyValueStore> keyValueStore) {
    return std::shared_ptr<VKTPersistentPixelStoreProvider>(
        new VKTPersistentPixelStoreProvider(std::move(keyValueStore)));
}

std::optional<VKTPixels> VKTPersistentPixelStoreProvider::loadPixels() {
    const auto value = keyValueStore_->valueForKey(pixelStoreKey());
    if (!value) return std::nullopt;
    auto pixels = unarchivedPixels(*value);
    if (pixels) return pixels;
    const bool isMoved = keyValueStore_->setValueForKey(*value, damagedPixelStoreKey()) &&
                         keyValueStore_->removeValueForKey(pixelStoreKey());
    VKTLog::sharedInstance()->logErrorWithFormat(
        isMoved ? "Can't read pixels under key '%@'! They are moved to '%@'."
                : "Can't read pixels under key '%@', nor move them to '%@'! They will be overwritten.",
        pixelStoreKey(), damagedPixelStoreKey());
    return VKTPixels();
}

bool VKTPersistentPixelStoreProvider::savePixels(const VKTPixels& pixels) {
    VKTKeyedArchiver list;
    list.encodeObjects(keyPixels, pixels);
    return keyValueStore_->setValueForKey(VKTBytes{vkt_archiveData(listClassName, list.values())},
                                          pixelStoreKey());
}

std::string VKTPersistentPixelStoreProvider::pixelStoreKey() const {
    return VKTPixelStoreProvider().pixelStoreKey();
}

std::string VKTPersistentPixelStoreProvider::damagedPixelStoreKey() const {
    return pixelStoreKey() + ".damaged";
}

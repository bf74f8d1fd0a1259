#include "VKTCoreKit/tracking/VKTPixelStore.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"

std::string VKTPixelStoreProvider::pixelStoreKey() const {
    return std::string("com.korvonet.coresdk.pixelManager.pixelList") + VKTFrameworkVersionString;
}

const std::shared_ptr<VKTPixelStore>& VKTPixelStore::sharedInstance() {
    static const auto* instance =
        new std::shared_ptr<VKTPixelStore>(initWithProvider(std::make_shared<VKTPixelStoreProvider>()));
    return *instance;
}

std::shared_ptr<VKTPixelStore> VKTPixelStore::initWithProvider(
    std::shared_ptr<VKTPixelStoreProviderProtocol> provider) {
    return std::make_shared<VKTPixelStore>(Private(), std::move(provider));
}

VKTPixelStore::VKTPixelStore(Private /*unused*/, std::shared_ptr<VKTPixelStoreProviderProtocol> provider)
    : provider_(std::move(provider)) {
    for (const auto& pixel : loadPixels())
        addPixel(pixel);
}

VKTPixels VKTPixelStore::loadPixels() const {
    VKTRecursiveLock lock(mutex_);
    return provider_->loadPixels().value_or(VKTPixels());
}

bool VKTPixelStore::saveToDisk() const {
    VKTRecursiveLock lock(mutex_);
    return provider_->savePixels(allPixels());
}

bool VKTPixelStore::addPixel(const std::shared_ptr<VKTPixel>& pixel) {
    VKTRecursiveLock lock(mutex_);
    if (isPixelInStore(*pixel)) return false;
    placesByID_.emplace(pixel->ID(), pixels_.insert(pixels_.end(), pixel));
    return true;
}

bool VKTPixelStore::updatePixel(const std::shared_ptr<VKTPixel>& pixel) {
    VKTRecursiveLock lock(mutex_);
    return deletePixel(*pixel) && addPixel(pixel);
}

bool VKTPixelStore::deletePixel(const VKTPixel& pixel) {
    VKTRecursiveLock lock(mutex_);
    const auto place = placesByID_.find(pixel.ID());
    if (place == placesByID_.end()) return false;
    pixels_.erase(place->second);
    placesByID_.erase(place);
    return true;
}

void VKTPixelStore::deleteObsoletePixels() {
    VKTRecursiveLock lock(mutex_);
    VKTPixels obsolete;
    std::copy_if(pixels_.begin(), pixels_.end(), std::back_inserter(obsolete),
                 [](const auto& pixel) { return isPixelObsolete(*pixel); });
    for (const auto& pixel : obsolete)
        deletePixel(*pixel);
}

std::shared_ptr<VKTPixel> VKTPixelStore::pixelWithID(std::uint32_t ID) const {
    VKTRecursiveLock lock(mutex_);
    const auto place = placesByID_.find(ID);
    return place == placesByID_.end() ? nullptr : *place->second;
}

VKTPixels VKTPixelStore::allPixels() const {
    VKTRecursiveLock lock(mutex_);
    return {pixels_.begin(), pixels_.end()};
}

VKTPixels VKTPixelStore::validPendingPixels() const {
    VKTRecursiveLock lock(mutex_);
    VKTPixels pending;
    std::copy_if(pixels_.begin(), pixels_.end(), std::back_inserter(pending),
                 [](const auto& pixel) { return !isPixelObsolete(*pixel); });
    return pending;
}

bool VKTPixelStore::isPixelInStore(const VKTPixel& pixel) const {
    return pixelWithID(pixel.ID()) != nullptr;
}

std::optional<std::size_t> VKTPixelStore::pixelIndexInStoreWithID(std::uint32_t ID) const {
    VKTRecursiveLock lock(mutex_);
    const auto place = placesByID_.find(ID);
    if (place == placesByID_.end()) return std::nullopt;
    return static_cast<std::size_t>(std::distance(pixels_.begin(), List::const_iterator(place->second)));
}

std::optional<std::size_t> VKTPixelStore::pixelIndexInStore(const VKTPixel& pixel) const {
    return pixelIndexInStoreWithID(pixel.ID());
}

bool VKTPixelStore::isPixelObsolete(const VKTPixel& pixel) {
    return pixel.isExpired() || pixel.status() == VKTPixelStatusSuccess;
}

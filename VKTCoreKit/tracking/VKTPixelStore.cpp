#include "VKTCoreKit/tracking/VKTPixelStore.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <utility>

#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/foundation/VKTKeyedHash.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

constexpr const char* providerName = "the provider of a pixel store";

}  // namespace

VKTPixelStoreProvider::VKTPixelStoreProvider()
    : standardUserDefaults_(VKTPlatform::current().keyValueStore) {}

std::string VKTPixelStoreProvider::pixelStoreKey() const {
    return std::string("com.korvonet.coresdk.pixelManager.pixelList") + VKTFrameworkVersionString;
}

const std::shared_ptr<VKTPixelStore>& VKTPixelStore::sharedInstance() {
    static const auto* instance = [] {
        VKTPlatform::noteKeptBy("VKTPixelStore::sharedInstance()");
        return new std::shared_ptr<VKTPixelStore>(
            initWithProvider(std::make_shared<VKTPixelStoreProvider>()));
    }();
    return *instance;
}

std::shared_ptr<VKTPixelStore> VKTPixelStore::initWithProvider(
    std::shared_ptr<VKTPixelStoreProviderProtocol> provider) {
    return std::make_shared<VKTPixelStore>(Private(), std::move(provider));
}

VKTPixelStore::VKTPixelStore(Private /*unused*/, std::shared_ptr<VKTPixelStoreProviderProtocol> provider)
    : provider_(std::move(provider)) {
    VKTRecursiveLock lock(mutex_);
    rebuildSlots();
    for (const auto& pixel : loadPixels())
        append(pixel);
    auto* const changesProvider = dynamic_cast<VKTPixelStoreChangesProviderProtocol*>(provider_.get());
    if (changesProvider != nullptr && changesProvider->takesChanges()) changesProvider_ = changesProvider;
}

VKTPixels VKTPixelStore::loadPixels() const {
    std::optional<VKTPixels> pixels;
    vkt_callGuarded(providerName, [&] {
        VKTRecursiveLock lock(mutex_);
        pixels = provider_->loadPixels();
    });
    return std::move(pixels).value_or(VKTPixels());
}

bool VKTPixelStore::saveToDisk() {
    if (changesProvider_ != nullptr) return saveChanges();
    bool isSaved = false;
    vkt_callGuarded(providerName, [&] {
        VKTRecursiveLock lock(mutex_);
        isSaved = provider_->savePixels(allPixels());
    });
    return isSaved;
}

bool VKTPixelStore::saveChanges() {
    if (changesProvider_ == nullptr) return true;
    bool isSaved = false;
    vkt_callGuarded(providerName, [&] {
        VKTRecursiveLock lock(mutex_);
        isSaved = handOverChanges();
        for (const auto& pixel : changesProvider_->takeLatePixels())
            append(pixel);
    });
    return isSaved;
}

bool VKTPixelStore::handOverChanges() {
    // Taken out, as the provider may call back and change more.
    auto removed = std::exchange(removed_, {});
    auto added = std::exchange(added_, {});
    std::erase_if(added, [this](const auto& pixel) { return pixelWithID(pixel->ID()) != pixel; });
    try {
        const bool isSaved = changesProvider_->saveChanges(removed, added) ||
                             (changesProvider_->hasLostPixels() && changesProvider_->savePixels(allPixels()));
        if (!isSaved) keepForLater(removed, added);
        return isSaved;
    } catch (...) {
        keepForLater(removed, added);
        throw;
    }
}

void VKTPixelStore::keepForLater(const VKTPixels& removed, const VKTPixels& added) {
    removed_.insert(removed_.begin(), removed.begin(), removed.end());
    added_.insert(added_.begin(), added.begin(), added.end());
}

bool VKTPixelStore::addPixel(const std::shared_ptr<VKTPixel>& pixel) {
    VKTRecursiveLock lock(mutex_);
    const bool isAdded = append(pixel);
    if (isAdded && changesProvider_ != nullptr) added_.push_back(pixel);
    return isAdded;
}

void VKTPixelStore::noteRemoval(const std::shared_ptr<VKTPixel>& pixel) {
    if (changesProvider_ != nullptr) removed_.push_back(pixel);
}

bool VKTPixelStore::append(const std::shared_ptr<VKTPixel>& pixel) {
    if (!pixel || isPixelInStore(*pixel)) return false;
    if (2 * (pixels_.size() + 1) > slots_.size()) rebuildSlots();
    pixels_.push_back(pixel);
    slots_[slotOfID(pixel->ID())] = {pixel->ID(), static_cast<std::uint32_t>(pixels_.size())};
    return true;
}

bool VKTPixelStore::updatePixel(const std::shared_ptr<VKTPixel>& pixel) {
    VKTRecursiveLock lock(mutex_);
    return pixel && deletePixel(*pixel) && addPixel(pixel);
}

bool VKTPixelStore::deletePixel(const VKTPixel& pixel) {
    VKTRecursiveLock lock(mutex_);
    const auto place = placeOfID(pixel.ID());
    if (!place) return false;
    noteRemoval(std::exchange(pixels_[*place], nullptr));
    return true;
}

VKTPixels VKTPixelStore::deleteObsoletePixels() {
    VKTRecursiveLock lock(mutex_);
    VKTPixels deleted;
    for (auto& pixel : pixels_) {
        if (!pixel || !isPixelObsolete(*pixel)) continue;
        noteRemoval(pixel);
        deleted.push_back(std::exchange(pixel, nullptr));
    }
    rebuildSlots();
    return deleted;
}

std::shared_ptr<VKTPixel> VKTPixelStore::pixelWithID(std::uint32_t ID) const {
    VKTRecursiveLock lock(mutex_);
    const auto place = placeOfID(ID);
    return place ? pixels_[*place] : nullptr;
}

VKTPixels VKTPixelStore::allPixels() const {
    VKTRecursiveLock lock(mutex_);
    VKTPixels all;
    std::copy_if(pixels_.begin(), pixels_.end(), std::back_inserter(all),
                 [](const auto& pixel) { return pixel != nullptr; });
    return all;
}

VKTPixels VKTPixelStore::validPendingPixels() const {
    VKTRecursiveLock lock(mutex_);
    VKTPixels pending;
    std::copy_if(pixels_.begin(), pixels_.end(), std::back_inserter(pending),
                 [](const auto& pixel) { return pixel && !isPixelObsolete(*pixel); });
    return pending;
}

bool VKTPixelStore::isPixelInStore(const VKTPixel& pixel) const {
    return pixelWithID(pixel.ID()) != nullptr;
}

std::optional<std::size_t> VKTPixelStore::pixelIndexInStoreWithID(std::uint32_t ID) const {
    VKTRecursiveLock lock(mutex_);
    const auto place = placeOfID(ID);
    if (!place) return std::nullopt;
    const auto end = pixels_.begin() + static_cast<std::ptrdiff_t>(*place);
    const auto deletedBefore = static_cast<std::size_t>(std::count(pixels_.begin(), end, nullptr));
    return *place - deletedBefore;
}

std::optional<std::size_t> VKTPixelStore::pixelIndexInStore(const VKTPixel& pixel) const {
    return pixelIndexInStoreWithID(pixel.ID());
}

bool VKTPixelStore::isPixelObsolete(const VKTPixel& pixel) {
    return pixel.isTimeOver() || pixel.status() == VKTPixelStatusSuccess;
}

// The slot that has the ID, else the free one where it belongs.
std::size_t VKTPixelStore::slotOfID(std::uint32_t ID) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t slot = VKTKeyedHash()(ID) & mask;
    while (slots_[slot].place != 0 && slots_[slot].ID != ID)
        slot = (slot + 1) & mask;
    return slot;
}

std::optional<std::size_t> VKTPixelStore::placeOfID(std::uint32_t ID) const {
    const Slot& slot = slots_[slotOfID(ID)];
    if (slot.place == 0 || !pixels_[slot.place - 1]) return std::nullopt;
    return slot.place - 1;
}

// Drops the holes and makes room for half as many pixels more, at least.
void VKTPixelStore::rebuildSlots() {
    std::erase(pixels_, nullptr);
    slots_.assign(std::bit_ceil(3 * (pixels_.size() + 1)), Slot());
    for (std::uint32_t i = 0; i < pixels_.size(); ++i)
        slots_[slotOfID(pixels_[i]->ID())] = {pixels_[i]->ID(), i + 1};
}

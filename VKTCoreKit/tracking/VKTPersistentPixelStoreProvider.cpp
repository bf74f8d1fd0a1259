#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"

#include <unordered_set>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/foundation/VKTKeyedArchive.h"

namespace {

constexpr std::string_view tableFamily = "pixels";
constexpr std::string_view listKeyPrefix = "com.korvonet.coresdk.pixelManager.pixelList";
constexpr std::string_view listClassName = "VKTPixelList";
constexpr std::string_view keyPixels = "pixels";

void tellOfUnreadPixels(std::size_t unread, std::size_t all) {
    if (unread == 0) return;
    VKTLog::sharedInstance()->logWarningWithFormat(
        "%ld of %ld kept pixels can't be read (their records are damaged, or of another form) and are "
        "dropped!",
        unread, all);
}

// Nothing when the value is not an archived list. A pixel of the list that does not build is left out.
std::optional<VKTPixels> unarchivedPixels(const VKTValue& value) {
    const VKTBytes* data = value.asBytes();
    const auto list = data == nullptr ? std::nullopt : vkt_unarchivedValues(data->bytes, listClassName);
    const VKTValue* pixels = list ? list->find(keyPixels) : nullptr;
    if (pixels == nullptr || pixels->asArray() == nullptr) return std::nullopt;
    auto built = VKTKeyedUnarchiver(*list).decodeObjects<VKTPixel>(keyPixels);
    tellOfUnreadPixels(pixels->asArray()->size() - built.size(), pixels->asArray()->size());
    return built;
}

}  // namespace

std::shared_ptr<VKTPersistentPixelStoreProvider> VKTPersistentPixelStoreProvider::initWithKeyValueStore(
    std::shared_ptr<VKTKeyValueStore> keyValueStore, std::optional<VKTError>* error) {
    VKTRecordTableOpening opening = keyValueStore->openRecordTable(tableFamily, VKTFrameworkVersionString);
    const bool isOwnedByAnother = !opening.refusal.empty();
    if (isOwnedByAnother) {
        VKTLog::sharedInstance()->logWarningWithFormat("%@; here, pixels are kept in memory only.",
                                                       opening.refusal);
        if (error != nullptr) {
            *error = VKTUtils::errorWithDomain(VKTPixelStoreErrorDomain, VKTPixelStoreErrorOwnedByAnother,
                                               opening.refusal);
        }
    }
    return std::shared_ptr<VKTPersistentPixelStoreProvider>(new VKTPersistentPixelStoreProvider(
        std::move(keyValueStore), std::move(opening.table), isOwnedByAnother));
}

VKTPersistentPixelStoreProvider::VKTPersistentPixelStoreProvider(
    std::shared_ptr<VKTKeyValueStore> keyValueStore, std::shared_ptr<VKTRecordTable> table,
    bool isOwnedByAnother)
    : keyValueStore_(std::move(keyValueStore)),
      table_(std::move(table)),
      isOwnedByAnother_(isOwnedByAnother) {}

std::optional<VKTPixels> VKTPersistentPixelStoreProvider::loadPixels() {
    if (isOwnedByAnother_) return std::nullopt;
    if (!table_) return loadList();
    VKTPixels pixels;
    isLoaded_ = loadTable(pixels);
    if (isLoaded_) return pixels;
    VKTLog::sharedInstance()->logWarning(
        "The kept pixels can't be read now; they are tried again whenever a change is saved.");
    return std::nullopt;
}

bool VKTPersistentPixelStoreProvider::loadTable(VKTPixels& pixels) {
    const auto records = table_->records();
    if (!records) return false;
    numbersByID_.clear();
    std::vector<std::int64_t> unusable;
    std::size_t unread = 0;
    for (const VKTRecord& record : *records) {
        auto pixel = vkt_unarchivedObject<VKTPixel>(record.bytes);
        if (pixel && numbersByID_.emplace(pixel->ID(), record.number).second) {
            pixels.push_back(std::move(pixel));
            continue;
        }
        if (!pixel) ++unread;
        unusable.push_back(record.number);
    }
    tellOfUnreadPixels(unread, records->size());
    changeTable(unusable, {});
    loadListToTakeOver(pixels);
    removeListsOfOtherVersions();
    return true;
}

void VKTPersistentPixelStoreProvider::loadListToTakeOver(VKTPixels& pixels) {
    listToTakeOver_ = loadList();
    if (!listToTakeOver_) return;
    std::erase_if(*listToTakeOver_, [this](const auto& pixel) { return numbersByID_.contains(pixel->ID()); });
    pixels.insert(pixels.end(), listToTakeOver_->begin(), listToTakeOver_->end());
    recordChanges({}, {});
}

// As long as the list is there, the next launch loads its pixels once more, those that were sent among them:
// where it could not be removed, each change tries again.
void VKTPersistentPixelStoreProvider::removeListTakenOver() {
    if (!listToTakeOver_) return;
    listToTakeOver_->clear();
    if (keyValueStore_->removeValueForKey(pixelStoreKey())) listToTakeOver_.reset();
}

std::optional<VKTPixels> VKTPersistentPixelStoreProvider::loadList() {
    const auto value = keyValueStore_->valueForKey(pixelStoreKey());
    if (!value) return std::nullopt;
    auto pixels = unarchivedPixels(*value);
    if (pixels) return pixels;
    setAsideList(*value);
    return VKTPixels();
}

void VKTPersistentPixelStoreProvider::setAsideList(const VKTValue& value) {
    const bool isMoved = keyValueStore_->setValueForKey(value, damagedPixelStoreKey()) &&
                         keyValueStore_->removeValueForKey(pixelStoreKey());
    VKTLog::sharedInstance()->logWarningWithFormat(
        isMoved ? "Can't read pixels under key '%@'! They are moved to '%@'."
                : "Can't read pixels under key '%@', nor move them to '%@'! They will be overwritten.",
        pixelStoreKey(), damagedPixelStoreKey());
}

void VKTPersistentPixelStoreProvider::removeListsOfOtherVersions() {
    for (const std::string& key : keyValueStore_->keysWithPrefix(listKeyPrefix)) {
        if (key != pixelStoreKey() && key != damagedPixelStoreKey()) keyValueStore_->removeValueForKey(key);
    }
}

bool VKTPersistentPixelStoreProvider::savePixels(const VKTPixels& pixels) {
    if (isOwnedByAnother_) return false;
    if (table_) {
        const auto records = table_->records();
        if (!records) return false;
        std::vector<std::int64_t> all;
        for (const VKTRecord& record : *records)
            all.push_back(record.number);
        const auto numbers = changeTable(all, pixels);
        if (!numbers) return false;
        numbersByID_.clear();
        noteNumbers(pixels, *numbers);
        isLost_ = false;
        removeListTakenOver();
        return true;
    }
    VKTKeyedArchiver list;
    list.encodeObjects(keyPixels, pixels);
    return keyValueStore_->setValueForKey(VKTBytes{vkt_archiveData(listClassName, list.values())},
                                          pixelStoreKey());
}

bool VKTPersistentPixelStoreProvider::saveChanges(const VKTPixels& removed, const VKTPixels& added) {
    if (!isLoaded_) isLoaded_ = loadTable(latePixels_);
    if (isLost_ || recordChanges(removed, added)) return !isLost_;
    isLost_ = table_->hasLostRecords();
    return false;
}

bool VKTPersistentPixelStoreProvider::recordChanges(const VKTPixels& removed, const VKTPixels& added) {
    // Pixels that were read late may have IDs that were added meanwhile.
    std::unordered_set<std::uint32_t> changedIDs;
    for (const VKTPixels* pixels : {&removed, &added}) {
        for (const auto& pixel : *pixels)
            changedIDs.insert(pixel->ID());
    }
    const auto isChanged = [&](const auto& pixel) { return changedIDs.contains(pixel->ID()); };
    std::erase_if(latePixels_, isChanged);
    VKTPixels allAdded;
    if (listToTakeOver_) {
        std::erase_if(*listToTakeOver_, isChanged);
        allAdded = *listToTakeOver_;
    }
    allAdded.insert(allAdded.end(), added.begin(), added.end());
    std::vector<std::int64_t> removedNumbers;
    for (const std::uint32_t ID : changedIDs) {
        const auto found = numbersByID_.find(ID);
        if (found != numbersByID_.end()) removedNumbers.push_back(found->second);
    }
    const auto numbers = changeTable(removedNumbers, allAdded);
    if (!numbers) return false;
    for (const std::uint32_t ID : changedIDs)
        numbersByID_.erase(ID);
    noteNumbers(allAdded, *numbers);
    removeListTakenOver();
    return true;
}

std::optional<std::vector<std::int64_t>> VKTPersistentPixelStoreProvider::changeTable(
    const std::vector<std::int64_t>& removed, const VKTPixels& added) {
    if (removed.empty() && added.empty()) return std::vector<std::int64_t>();
    std::vector<std::string> records;
    records.reserve(added.size());
    for (const auto& pixel : added)
        records.push_back(vkt_archivedData(*pixel));
    return table_->change(removed, records);
}

void VKTPersistentPixelStoreProvider::noteNumbers(const VKTPixels& pixels,
                                                  const std::vector<std::int64_t>& numbers) {
    for (std::size_t i = 0; i < pixels.size(); ++i)
        numbersByID_.emplace(pixels[i]->ID(), numbers[i]);
}

VKTPixels VKTPersistentPixelStoreProvider::takeLatePixels() {
    return std::exchange(latePixels_, {});
}

std::string VKTPersistentPixelStoreProvider::pixelStoreKey() const {
    return VKTPixelStoreProvider().pixelStoreKey();
}

std::string VKTPersistentPixelStoreProvider::damagedPixelStoreKey() const {
    return pixelStoreKey() + ".damaged";
}

// Pixels that outlive the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTKeyValueStore.h"
#include "VKTCoreKit/tracking/VKTPixelStore.h"

/// Domain and code of the one error.
inline constexpr const char* VKTPixelStoreErrorDomain = "VKTPixelStoreErrorDomain";
inline constexpr int VKTPixelStoreErrorOwnedByAnother = 1;

/// Keeps each pixel as a record in a table of a key-value store. For embedders who want it:
///
/// ```cpp
/// auto file = VKTPlatform::current().makeKeyValueStore("/data/player/pixels.db", onProblem);
/// auto provider = VKTPersistentPixelStoreProvider::initWithKeyValueStore(file);
/// auto store = VKTPixelStore::initWithProvider(provider);
/// ```
///
/// A change that has been saved survives the death of the process at any later moment. Adding, delivering and
/// expiring cost the same however many pixels are pending.
///
/// One provider owns the pixels of a file, until it is destroyed. A second one, in this process or another,
/// keeps nothing. Changes that the file does not take are handed over again with the next; where the file was
/// removed or replaced, all pixels are.
///
/// A list that an earlier form saved under `pixelStoreKey` is taken over once; what other versions of the
/// library have kept is removed. Pixels that cannot be read are dropped with one log line; what is under the
/// key but is no list is set aside under `damagedPixelStoreKey`, in place of what is there, with another. A
/// store without tables keeps all pixels as one list under `pixelStoreKey`, and each saving writes it whole.
///
/// One call at a time, on any thread; holds the key-value store.
class VKT_EXPORT VKTPersistentPixelStoreProvider : public VKTPixelStoreChangesProviderProtocol {
  public:
    /// The store must not be null. Never null: where somebody else owns the pixels, that is logged as a
    /// warning, `error` is set if it is asked for, and the provider keeps nothing.
    static std::shared_ptr<VKTPersistentPixelStoreProvider> initWithKeyValueStore(
        std::shared_ptr<VKTKeyValueStore> keyValueStore, std::optional<VKTError>* error = nullptr);

    std::optional<VKTPixels> loadPixels() override;

    /// Replaces all that is kept by this list.
    bool savePixels(const VKTPixels& pixels) override;
    [[nodiscard]] std::string pixelStoreKey() const override;

    [[nodiscard]] bool takesChanges() const override { return table_ != nullptr; }
    bool saveChanges(const VKTPixels& removed, const VKTPixels& added) override;
    [[nodiscard]] bool hasLostPixels() const override { return isLost_; }
    VKTPixels takeLatePixels() override;

    /// `pixelStoreKey` with ".damaged" behind it.
    [[nodiscard]] std::string damagedPixelStoreKey() const;

  private:
    VKTPersistentPixelStoreProvider(std::shared_ptr<VKTKeyValueStore> keyValueStore,
                                    std::shared_ptr<VKTRecordTable> table, bool isOwnedByAnother);

    bool loadTable(VKTPixels& pixels);
    std::optional<VKTPixels> loadList();
    bool recordChanges(const VKTPixels& removed, const VKTPixels& added);
    void loadListToTakeOver(VKTPixels& pixels);
    void removeListTakenOver();
    void removeListsOfOtherVersions();
    void setAsideList(const VKTValue& value);
    std::optional<std::vector<std::int64_t>> changeTable(const std::vector<std::int64_t>& removed,
                                                         const VKTPixels& added);
    void noteNumbers(const VKTPixels& pixels, const std::vector<std::int64_t>& numbers);

    const std::shared_ptr<VKTKeyValueStore> keyValueStore_;
    const std::shared_ptr<VKTRecordTable> table_;  // null: lists
    const bool isOwnedByAnother_;
    bool isLoaded_ = false;
    bool isLost_ = false;
    std::unordered_map<std::uint32_t, std::int64_t> numbersByID_;  // of the records in the table
    std::optional<VKTPixels> listToTakeOver_;  // of the list under `pixelStoreKey`, what the table lacks
    VKTPixels latePixels_;
};

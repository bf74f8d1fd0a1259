// The pixels that are still to be sent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTKeyValueStore.h"
#include "VKTCoreKit/tracking/VKTPixel.h"

using VKTPixels = std::vector<std::shared_ptr<VKTPixel>>;

/// Loads and saves a store's list. Called with the store's lock held, so one call at a time; on any thread.
/// One that throws while it loads has no list, and while it saves has taken nothing; the log says so.
class VKT_EXPORT VKTPixelStoreProviderProtocol {
  public:
    virtual ~VKTPixelStoreProviderProtocol() = default;

    /// Nothing when there is no list.
    virtual std::optional<VKTPixels> loadPixels() = 0;

    /// True when the list, in its order, has been taken.
    virtual bool savePixels(const VKTPixels& pixels) = 0;

    /// Where the list is kept; it names the framework version, so that no version reads another's list.
    [[nodiscard]] virtual std::string pixelStoreKey() const = 0;
};

/// A provider that takes single changes, so that recording one costs the same however many pixels there are.
/// Called as the provider of lists is.
class VKT_EXPORT VKTPixelStoreChangesProviderProtocol : public VKTPixelStoreProviderProtocol {
  public:
    /// Whether it takes changes; otherwise lists are saved. Asked once, after `loadPixels`.
    [[nodiscard]] virtual bool takesChanges() const { return true; }

    /// Removes the pixels of these IDs (those that it has) and puts the others behind the ones that are left,
    /// in one step. True when that is recorded; otherwise the store hands the same over again, with what has
    /// come since.
    virtual bool saveChanges(const VKTPixels& removed, const VKTPixels& added) = 0;

    /// Whether the latest changes were refused because what was kept is gone (its file was removed or
    /// replaced). Then `savePixels` is called with the whole list.
    [[nodiscard]] virtual bool hasLostPixels() const { return false; }

    /// Pixels of earlier launches that could not be read when the list was loaded, and were read since. Each
    /// is told of once.
    virtual VKTPixels takeLatePixels() { return {}; }
};

/// The default: keeps nothing between launches. Immutable; any thread. Holds the platform's key-value store,
/// for providers derived from this one.
class VKT_EXPORT VKTPixelStoreProvider : public VKTPixelStoreProviderProtocol {
  public:
    VKTPixelStoreProvider();

    [[nodiscard]] const std::shared_ptr<VKTKeyValueStore>& standardUserDefaults() const {
        return standardUserDefaults_;
    }

    std::optional<VKTPixels> loadPixels() override { return std::nullopt; }
    bool savePixels(const VKTPixels& /*pixels*/) override { return true; }
    [[nodiscard]] std::string pixelStoreKey() const override;

  private:
    const std::shared_ptr<VKTKeyValueStore> standardUserDefaults_;
};

/// A list of pixels in the order of their addition, each ID once. Every operation may be called on any thread
/// and is atomic; finding, adding and deleting cost the same however many there are.
///
/// Holds its provider for its whole life and calls it under its lock, which is recursive: a provider may call
/// the store back. Nothing is saved but by `saveToDisk` and `saveChanges`.
class VKT_EXPORT VKTPixelStore {
    struct Private {
        explicit Private() = default;
    };

  public:
    /// Over a `VKTPixelStoreProvider`. Never destroyed.
    static const std::shared_ptr<VKTPixelStore>& sharedInstance();

    /// Starts with the provider's list, without pixels whose ID was there before. The provider must not be
    /// null.
    static std::shared_ptr<VKTPixelStore> initWithProvider(
        std::shared_ptr<VKTPixelStoreProviderProtocol> provider);

    VKTPixelStore(Private, std::shared_ptr<VKTPixelStoreProviderProtocol> provider);

    [[nodiscard]] const std::shared_ptr<VKTPixelStoreProviderProtocol>& provider() const { return provider_; }

    /// The provider's list; an empty one when it has none.
    [[nodiscard]] VKTPixels loadPixels() const;

    /// Saves the list, or hands over what has changed to a provider that takes changes.
    bool saveToDisk();

    /// The latter only; with a provider of lists nothing is done, and that is true.
    bool saveChanges();

    /// Appends; false when a pixel with its ID is there.
    bool addPixel(const std::shared_ptr<VKTPixel>& pixel);

    /// Puts the pixel at the end, in place of the one with its ID; false when there is none.
    bool updatePixel(const std::shared_ptr<VKTPixel>& pixel);

    /// Removes the pixel with the same ID; false when there is none.
    bool deletePixel(const VKTPixel& pixel);

    /// Those that it has removed.
    VKTPixels deleteObsoletePixels();

    [[nodiscard]] std::shared_ptr<VKTPixel> pixelWithID(std::uint32_t ID) const;  ///< null when there is none
    [[nodiscard]] VKTPixels allPixels() const;                                    ///< a copy
    [[nodiscard]] VKTPixels validPendingPixels() const;  ///< those that are not obsolete, a copy

    [[nodiscard]] bool isPixelInStore(const VKTPixel& pixel) const;

    /// The place in the list; nothing when it is not there. Linear.
    [[nodiscard]] std::optional<std::size_t> pixelIndexInStoreWithID(std::uint32_t ID) const;
    [[nodiscard]] std::optional<std::size_t> pixelIndexInStore(const VKTPixel& pixel) const;

    /// Its time is over (`isTimeOver`), or it was sent.
    [[nodiscard]] static bool isPixelObsolete(const VKTPixel& pixel);

  private:
    // Of a hash table in one piece, which is several times faster than one of nodes when there are many
    // pixels. An ID has one slot at most; it outlives its pixel until the next rebuilding.
    struct Slot {
        std::uint32_t ID = 0;
        std::uint32_t place = 0;  // in `pixels_`, plus one; 0 is a free slot
    };

    [[nodiscard]] std::size_t slotOfID(std::uint32_t ID) const VKT_REQUIRES(mutex_);
    [[nodiscard]] std::optional<std::size_t> placeOfID(std::uint32_t ID) const VKT_REQUIRES(mutex_);
    void rebuildSlots() VKT_REQUIRES(mutex_);
    bool append(const std::shared_ptr<VKTPixel>& pixel) VKT_REQUIRES(mutex_);
    void noteRemoval(const std::shared_ptr<VKTPixel>& pixel) VKT_REQUIRES(mutex_);
    bool handOverChanges() VKT_REQUIRES(mutex_);
    void keepForLater(const VKTPixels& removed, const VKTPixels& added) VKT_REQUIRES(mutex_);

    const std::shared_ptr<VKTPixelStoreProviderProtocol> provider_;
    VKTPixelStoreChangesProviderProtocol* changesProvider_ = nullptr;  // the same, when it takes changes
    mutable VKTRecursiveMutex mutex_;
    VKTPixels pixels_ VKT_GUARDED_BY(mutex_);         // null where one was deleted
    VKTPixels removed_ VKT_GUARDED_BY(mutex_);        // since changes were last saved
    VKTPixels added_ VKT_GUARDED_BY(mutex_);          // since then; some may be gone again
    std::vector<Slot> slots_ VKT_GUARDED_BY(mutex_);  // a power of two, half of them free at least
};

// Pixels that outlive the process.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/platform/VKTKeyValueStore.h"
#include "VKTCoreKit/tracking/VKTPixelStore.h"

/// Keeps the list as one archive under `pixelStoreKey` of a key-value store. For embedders who want it:
///     VKTPixelStore::initWithProvider(VKTPersistentPixelStoreProvider::initWithKeyValueStore(store))
/// A list whose saving has returned true survives the death of the process at any later moment. Each saving
/// writes the whole list, so its cost grows with what is pending. One process at a time may keep its pixels
/// in one file: a second one would save its own list over it.
///
/// What is under the key but cannot be read is set aside under `damagedPixelStoreKey`, in place of what is
/// there, with one log line.
/// Any thread; holds the key-value store.
class VKTPersistentPixelStoreProvider : public VKTPixelStoreProviderProtocol {
  public:
    /// The store must not be null.
    static std::shared_ptr<VKTPersistentPixelStoreProvider> initWithKeyValueStore(
        std::shared_ptr<VKTKeyValueStore> keyValueStore);

    std::optional<VKTPixels> loadPixels() override;
    bool savePixels(const VKTPixels& pixels) override;
    [[nodiscard]] std::string pixelStoreKey() const override;

    /// `pixelStoreKey` with ".damaged" behind it.
    [[nodiscard]] std::string damagedPixelStoreKey() const;

  private:
    explicit VKTPersistentPixelStoreProvider(std::shared_ptr<VKTKeyValueStore> keyValueStore)
        : keyValueStore_(std::move(keyValueStore)) {}

    const std::shared_ptr<VKTKeyValueStore> keyValueStore_;
};

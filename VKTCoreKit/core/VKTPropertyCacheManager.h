// Reading and writing of single values that outlive the process.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/platform/VKTKeyValueStore.h"

/// Values by key. Every operation may be called on any thread.
class VKT_EXPORT VKTPropertyCacheManager {
  public:
    virtual ~VKTPropertyCacheManager() = default;

    /// Nothing when there is no value, or when it cannot be read. For values that do no harm when they are
    /// lost or a little old.
    [[nodiscard]] virtual std::optional<VKTValue> objectForKey(std::string_view key) const = 0;

    /// Exactly what is stored. A cache that can always read need not implement it.
    [[nodiscard]] virtual VKTStoredValue readObjectForKey(std::string_view key) const {
        auto value = objectForKey(key);
        if (!value) return {};
        return {VKTStoredValue::Present, std::move(*value)};
    }

    /// Sets, replaces or (null) removes. False when the change could not be stored; see
    /// `VKTKeyValueStore::setValueForKey`.
    virtual bool setObject(const VKTValue& object, std::string_view forKey) = 0;
};

/// Keeps the values in a key-value store, which it holds; as safe from threads and as lasting as that.
class VKT_EXPORT VKTDefaultPropertyCacheManager final : public VKTPropertyCacheManager {
  public:
    /// Over the platform's store.
    static std::shared_ptr<VKTDefaultPropertyCacheManager> init();

    /// The store must not be null.
    static std::shared_ptr<VKTDefaultPropertyCacheManager> initWithKeyValueStore(
        std::shared_ptr<VKTKeyValueStore> keyValueStore);

    [[nodiscard]] std::optional<VKTValue> objectForKey(std::string_view key) const override;
    [[nodiscard]] VKTStoredValue readObjectForKey(std::string_view key) const override;
    bool setObject(const VKTValue& object, std::string_view forKey) override;

  private:
    explicit VKTDefaultPropertyCacheManager(std::shared_ptr<VKTKeyValueStore> keyValueStore)
        : keyValueStore_(std::move(keyValueStore)) {}

    const std::shared_ptr<VKTKeyValueStore> keyValueStore_;
};

// A key-value store that forgets.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTKeyValueStore.h"

/// Safe from any thread. Its values end with it.
class VKTMemoryKeyValueStore final : public VKTKeyValueStore {
  public:
    [[nodiscard]] std::optional<VKTValue> valueForKey(std::string_view key) const override;
    [[nodiscard]] VKTStoredValue readValueForKey(std::string_view key) const override;
    bool setValueForKey(const VKTValue& value, std::string_view key) override;

    /// Every read fails from now on, as one of a damaged or locked file does, or no longer.
    void setFailsReads(bool fails);

    /// Refuses every change from now on, as a full disk does, or no longer.
    void setFailsWrites(bool fails);

  private:
    mutable VKTMutex mutex_;
    std::map<std::string, VKTValue, std::less<>> values_ VKT_GUARDED_BY(mutex_);
    bool failsReads_ VKT_GUARDED_BY(mutex_) = false;
    bool failsWrites_ VKT_GUARDED_BY(mutex_) = false;
};

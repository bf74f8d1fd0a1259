// A key-value store that forgets.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/platform/VKTKeyValueStore.h"

/// Safe from any thread. Its values end with it.
class VKTMemoryKeyValueStore final : public VKTKeyValueStore {
  public:
    VKTMemoryKeyValueStore();

    [[nodiscard]] std::optional<VKTValue> valueForKey(std::string_view key) const override;
    [[nodiscard]] VKTStoredValue readValueForKey(std::string_view key) const override;
    bool setValueForKey(const VKTValue& value, std::string_view key) override;

    [[nodiscard]] std::vector<std::string> keysWithPrefix(std::string_view prefix) const override;
    [[nodiscard]] VKTRecordTableOpening openRecordTable(std::string_view family,
                                                        std::string_view version) override;

    /// Every read fails from now on, as one of a damaged or locked file does, or no longer.
    void setFailsReads(bool fails);

    /// Refuses every change from now on, as a full disk does, or no longer.
    void setFailsWrites(bool fails);

  private:
    class Table;
    struct State;  // shared with its tables

    const std::shared_ptr<State> state_;
};

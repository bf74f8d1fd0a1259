#include "VKTCoreKit/platform/testing/VKTMemoryKeyValueStore.h"

#include <functional>
#include <map>
#include <set>
#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"

namespace {

using Records = std::map<std::int64_t, std::string>;

}  // namespace

struct VKTMemoryKeyValueStore::State {
    VKTMutex mutex;
    std::map<std::string, VKTValue, std::less<>> values VKT_GUARDED_BY(mutex);
    std::map<std::string, Records> tables VKT_GUARDED_BY(mutex);  // by family and version
    std::set<std::string> ownedTables VKT_GUARDED_BY(mutex);
    bool failsReads VKT_GUARDED_BY(mutex) = false;
    bool failsWrites VKT_GUARDED_BY(mutex) = false;
};

class VKTMemoryKeyValueStore::Table final : public VKTRecordTable {
  public:
    Table(std::shared_ptr<State> state, std::string name)
        : state_(std::move(state)), name_(std::move(name)) {}
    ~Table() override {
        VKTLock lock(state_->mutex);
        state_->ownedTables.erase(name_);
    }
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    [[nodiscard]] std::optional<std::vector<VKTRecord>> records() const override {
        VKTLock lock(state_->mutex);
        if (state_->failsReads) return std::nullopt;
        std::vector<VKTRecord> records;
        for (const auto& [number, bytes] : state_->tables[name_])
            records.push_back({number, bytes});
        return records;
    }

    std::optional<std::vector<std::int64_t>> change(const std::vector<std::int64_t>& removed,
                                                    const std::vector<std::string>& added) override {
        VKTLock lock(state_->mutex);
        if (state_->failsWrites) return std::nullopt;
        Records& records = state_->tables[name_];
        for (const std::int64_t number : removed)
            records.erase(number);
        std::vector<std::int64_t> numbers;
        for (const std::string& bytes : added) {
            numbers.push_back(records.empty() ? 1 : records.rbegin()->first + 1);
            records.emplace(numbers.back(), bytes);
        }
        return numbers;
    }

  private:
    const std::shared_ptr<State> state_;
    const std::string name_;
};

VKTMemoryKeyValueStore::VKTMemoryKeyValueStore() : state_(std::make_shared<State>()) {}

std::optional<VKTValue> VKTMemoryKeyValueStore::valueForKey(std::string_view key) const {
    VKTStoredValue stored = readValueForKey(key);
    return stored.status == VKTStoredValue::Present ? std::optional(std::move(stored.value)) : std::nullopt;
}

VKTStoredValue VKTMemoryKeyValueStore::readValueForKey(std::string_view key) const {
    VKTLock lock(state_->mutex);
    if (state_->failsReads) return {VKTStoredValue::Unreadable, VKTValue()};
    const auto found = state_->values.find(key);
    return found == state_->values.end() ? VKTStoredValue()
                                         : VKTStoredValue{VKTStoredValue::Present, found->second};
}

bool VKTMemoryKeyValueStore::setValueForKey(const VKTValue& value, std::string_view key) {
    VKTLock lock(state_->mutex);
    if (state_->failsWrites) return false;
    if (value.isNull()) {
        state_->values.erase(std::string(key));
    } else {
        state_->values.insert_or_assign(std::string(key), value);
    }
    return true;
}

std::vector<std::string> VKTMemoryKeyValueStore::keysWithPrefix(std::string_view prefix) const {
    VKTLock lock(state_->mutex);
    std::vector<std::string> keys;
    for (const auto& [key, value] : state_->values) {
        if (key.starts_with(prefix) && !state_->failsReads) keys.push_back(key);
    }
    return keys;
}

VKTRecordTableOpening VKTMemoryKeyValueStore::openRecordTable(std::string_view family,
                                                              std::string_view version) {
    VKTLock lock(state_->mutex);
    const std::string prefix = std::string(family) + ' ';
    const std::string name = prefix + std::string(version);
    if (!state_->ownedTables.insert(name).second)
        return {nullptr, "The " + std::string(family) + " belong to somebody else"};
    std::erase_if(state_->tables,
                  [&](const auto& table) { return table.first.starts_with(prefix) && table.first != name; });
    return {std::make_shared<Table>(state_, name), ""};
}

void VKTMemoryKeyValueStore::setFailsReads(bool fails) {
    VKTLock lock(state_->mutex);
    state_->failsReads = fails;
}

void VKTMemoryKeyValueStore::setFailsWrites(bool fails) {
    VKTLock lock(state_->mutex);
    state_->failsWrites = fails;
}

#include "VKTCoreKit/platform/testing/VKTMemoryKeyValueStore.h"

std::optional<VKTValue> VKTMemoryKeyValueStore::valueForKey(std::string_view key) const {
    VKTStoredValue stored = readValueForKey(key);
    return stored.status == VKTStoredValue::Present ? std::optional(std::move(stored.value)) : std::nullopt;
}

VKTStoredValue VKTMemoryKeyValueStore::readValueForKey(std::string_view key) const {
    VKTLock lock(mutex_);
    if (failsReads_) return {VKTStoredValue::Unreadable, VKTValue()};
    const auto found = values_.find(key);
    return found == values_.end() ? VKTStoredValue() : VKTStoredValue{VKTStoredValue::Present, found->second};
}

bool VKTMemoryKeyValueStore::setValueForKey(const VKTValue& value, std::string_view key) {
    VKTLock lock(mutex_);
    if (failsWrites_) return false;
    if (value.isNull()) {
        values_.erase(std::string(key));
    } else {
        values_.insert_or_assign(std::string(key), value);
    }
    return true;
}

void VKTMemoryKeyValueStore::setFailsWrites(bool fails) {
    VKTLock lock(mutex_);
    failsWrites_ = fails;
}

void VKTMemoryKeyValueStore::setFailsReads(bool fails) {
    VKTLock lock(mutex_);
    failsReads_ = fails;
}

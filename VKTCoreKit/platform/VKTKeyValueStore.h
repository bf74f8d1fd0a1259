// A persistent store of typed values under string keys.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "VKTCoreKit/foundation/VKTValue.h"

/// What a read brought: nobody may take a value that is there and cannot be read for one that is not there.
struct VKTStoredValue {
    enum Status : std::uint8_t {
        Present,
        Absent,
        Unreadable,  ///< the file or the record is damaged, locked, or the system refuses
    };

    Status status = Absent;
    VKTValue value;  ///< null unless present
};

/// Values keep their type: a text "1", an integer 1, a double 1.0 and a boolean are told apart. A null value
/// is the same as none.
///
/// Every operation may be called on any thread, and from several processes at once when they share a file;
/// each is atomic. A change that has returned true survives the death of the process at any later moment.
class VKTKeyValueStore {
  public:
    virtual ~VKTKeyValueStore() = default;

    /// Nothing when there is no value, or when it cannot be read. For values whose loss does no harm.
    [[nodiscard]] virtual std::optional<VKTValue> valueForKey(std::string_view key) const = 0;

    /// The same, with the two told apart. A store that can always read need not implement it.
    [[nodiscard]] virtual VKTStoredValue readValueForKey(std::string_view key) const {
        auto value = valueForKey(key);
        if (!value) return {};
        return {VKTStoredValue::Present, std::move(*value)};
    }

    /// Sets, replaces or (null) removes. False when the change could not be stored; the old value then stays.
    virtual bool setValueForKey(const VKTValue& value, std::string_view key) = 0;

    bool removeValueForKey(std::string_view key) { return setValueForKey(VKTValue(), key); }
};

/// Hears, in one clear sentence, of what went wrong with a store's file: it could not be opened, was damaged
/// and has been set aside, could not be written. Called on the thread that uses the store, no lock held.
using VKTStoreProblemHandler = std::function<void(const std::string& message)>;

/// What a store is opened for.
enum VKTStoreUse : std::uint8_t {
    VKTStoreToRead,    ///< the file is not changed; every change is refused
    VKTStoreToChange,  ///< the file is made when it is missing
};

// A persistent store of typed values under string keys.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/platform/VKTRecordTable.h"

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
///
/// ```cpp
/// auto store = VKTPlatform::current().makeKeyValueStore("/data/player/state.db", onProblem);
/// if (!store->setValueForKey(VKTValue("de"), "language")) std::cerr << "the language is not kept\n";
/// if (auto language = store->valueForKey("language")) std::cout << language->description() << '\n';
/// store->removeValueForKey("language");
/// ```
class VKT_EXPORT VKTKeyValueStore {
  public:
    virtual ~VKTKeyValueStore() = default;

    /// Nothing when there is no value, or when it cannot be read. For values that do no harm when they are
    /// lost or a little old: of a file that another process keeps for itself, it may be the state before that
    /// process's last changes.
    [[nodiscard]] virtual std::optional<VKTValue> valueForKey(std::string_view key) const = 0;

    /// Exactly what is stored. A store that can always read need not implement it.
    [[nodiscard]] virtual VKTStoredValue readValueForKey(std::string_view key) const {
        auto value = valueForKey(key);
        if (!value) return {};
        return {VKTStoredValue::Present, std::move(*value)};
    }

    /// Sets, replaces or (null) removes. False when the change could not be stored. A store with a file then
    /// keeps the value in memory, from where it is read, and tries the file again with later operations; one
    /// that nests too deep to be read back is not kept at all, and the old value stays.
    virtual bool setValueForKey(const VKTValue& value, std::string_view key) = 0;

    bool removeValueForKey(std::string_view key) { return setValueForKey(VKTValue(), key); }

    /// The stored keys that begin with `prefix`, in byte order; none when they cannot be read.
    [[nodiscard]] virtual std::vector<std::string> keysWithPrefix(std::string_view /*prefix*/) const {
        return {};
    }

    /// Opens the table of a family, such as "pixels", in the form of one version, and makes the caller its
    /// owner: of the processes that share a file, and within this one, only one can be. Tables of the
    /// family's other versions are removed. A store opened to be read makes no owner and removes nothing.
    [[nodiscard]] virtual VKTRecordTableOpening openRecordTable(std::string_view /*family*/,
                                                                std::string_view /*version*/) {
        return {};
    }
};

/// Hears, in one clear sentence, of what went wrong with a store's file: it could not be opened, was damaged
/// and has been set aside, could not be written, could again. Called on the thread that uses the store, no
/// lock held.
using VKTStoreProblemHandler = std::function<void(const std::string& message)>;

/// What a store is opened for.
enum VKTStoreUse : std::uint8_t {
    VKTStoreToRead,    ///< the file is not changed; every change is refused
    VKTStoreToChange,  ///< the file is made when it is missing
};

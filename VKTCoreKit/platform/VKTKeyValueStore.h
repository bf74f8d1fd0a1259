// A persistent store of typed values under string keys.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTValue.h"

/// Values keep their type: a text "1", an integer 1, a double 1.0 and a boolean are told apart. A null value
/// is the same as none.
///
/// Every operation may be called on any thread, and from several processes at once when they share a file;
/// each is atomic. A change that has returned true survives the death of the process at any later moment.
class VKTKeyValueStore {
  public:
    virtual ~VKTKeyValueStore() = default;

    /// Nothing when there is no value, or when it cannot be read.
    [[nodiscard]] virtual std::optional<VKTValue> valueForKey(std::string_view key) const = 0;

    /// Sets, replaces or (null) removes. False when the change could not be stored; the old value then stays.
    virtual bool setValueForKey(const VKTValue& value, std::string_view key) = 0;

    bool removeValueForKey(std::string_view key) { return setValueForKey(VKTValue(), key); }
};

/// Hears, in one clear sentence, of what went wrong with a store's file: it could not be opened, was damaged
/// and has been set aside, could not be written. Called on the thread that uses the store, no lock held.
using VKTStoreProblemHandler = std::function<void(const std::string& message)>;

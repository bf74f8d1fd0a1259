// Dynamically typed values: what an XML document, a JSON text or the key-value store holds before a reader
// turns it into a typed model.
//
// All types here are values: copies are independent, and one object may be read by any number of threads but
// changed by one only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTExport.h"

class VKTValue;

/// An ordered list of values.
using VKTArray = std::vector<VKTValue>;

/// Raw bytes, told apart from text.
struct VKTBytes {
    std::string bytes;

    friend bool operator==(const VKTBytes&, const VKTBytes&) = default;
};

class VKTNumber;
VKT_EXPORT bool operator==(const VKTNumber& left, const VKTNumber& right);

/// A number: a 64-bit integer, signed or not, or a double. Equal when the numeric values are equal.
class VKT_EXPORT VKTNumber {
  public:
    VKTNumber(std::int64_t value) : value_(value) {}
    VKTNumber(int value) : value_(static_cast<std::int64_t>(value)) {}
    VKTNumber(std::uint64_t value);
    VKTNumber(double value) : value_(value) {}

    [[nodiscard]] bool isInteger() const { return !std::holds_alternative<double>(value_); }
    [[nodiscard]] double doubleValue() const;

    /// Truncated towards zero; saturates at the bounds of the type.
    [[nodiscard]] std::int64_t integerValue() const;

    /// The same for numbers from 0 up; a negative one gives 0.
    [[nodiscard]] std::uint64_t unsignedIntegerValue() const;

    /// Decimal text, as short as it can be: 12, 12.5.
    [[nodiscard]] std::string description() const;

    friend bool operator==(const VKTNumber& left, const VKTNumber& right);

  private:
    friend class VKTValue;

    std::variant<std::int64_t, std::uint64_t, double> value_;  // unsigned only where signed does not do
};

class VKTDictionary;
VKT_EXPORT bool operator==(const VKTDictionary& left, const VKTDictionary& right);

/// String keys to values, in the order in which the keys were first set. Look-ups are constant-time, whatever
/// the number of keys and whoever chose them; equality does not look at the order.
///
/// ```cpp
/// VKTDictionary request{{"slot", "preroll"}, {"count", 2}};
/// request["sizes"] = VKTArray{640, 360};
/// if (const VKTValue* slot = request.find("slot")) std::cout << slot->description() << '\n';
/// for (const auto& [key, value] : request) std::cout << key << '=' << value.description() << '\n';
/// ```
class VKT_EXPORT VKTDictionary {
  public:
    struct Entry;

    VKTDictionary();
    VKTDictionary(std::initializer_list<Entry> entries);
    VKTDictionary(const VKTDictionary& other);
    VKTDictionary(VKTDictionary&& other) noexcept;
    VKTDictionary& operator=(const VKTDictionary& other);
    VKTDictionary& operator=(VKTDictionary&& other) noexcept;
    ~VKTDictionary();

    /// The value under `key`, or null. Valid until the dictionary next changes.
    [[nodiscard]] const VKTValue* find(std::string_view key) const;
    [[nodiscard]] VKTValue* find(std::string_view key);
    [[nodiscard]] bool contains(std::string_view key) const { return find(key) != nullptr; }

    /// Sets or replaces; a replaced value keeps its place in the order. Returns the stored value.
    VKTValue& set(std::string_view key, VKTValue value);

    /// The value under `key`, a new null one when there was none. Valid until the dictionary next changes.
    VKTValue& operator[](std::string_view key);

    /// Removes `key` if present: constant-time for the key set last, else linear.
    void remove(std::string_view key);

    void reserve(std::size_t count);
    [[nodiscard]] std::size_t size() const;
    [[nodiscard]] bool empty() const;

    [[nodiscard]] const Entry* begin() const;
    [[nodiscard]] const Entry* end() const;

    friend bool operator==(const VKTDictionary& left, const VKTDictionary& right);

  private:
    // Where a key stands among the entries, or `notFound` and the free slot of the index where it belongs.
    struct Place {
        std::size_t position;
        std::size_t slot;
    };
    static constexpr std::size_t notFound = static_cast<std::size_t>(-1);

    [[nodiscard]] Place placeOf(std::string_view key) const;
    VKTValue& append(std::size_t slot, std::string_view key, VKTValue&& value);
    [[nodiscard]] std::size_t slot(std::string_view key) const;
    void rebuildIndex();

    // An open-addressing hash table of positions in `entries_` plus one; 0 is a free slot. Its size is a
    // power of two and at least twice the number of entries. Null while a linear search is faster.
    using Index = std::vector<std::uint32_t>;

    std::vector<Entry> entries_;
    std::unique_ptr<Index> index_;
};

class VKTValue;
VKT_EXPORT bool operator==(const VKTValue& left, const VKTValue& right);

/// Null, a boolean, a number, a text, bytes, a date, an array or a dictionary.
class VKT_EXPORT VKTValue {
  public:
    VKTValue() = default;  ///< null
    VKTValue(bool value) : storage_(value) {}
    VKTValue(int value) : storage_(VKTNumber(value)) {}
    VKTValue(std::int64_t value) : storage_(VKTNumber(value)) {}
    VKTValue(unsigned value) : storage_(VKTNumber(std::uint64_t{value})) {}
    VKTValue(std::uint64_t value) : storage_(VKTNumber(value)) {}
    VKTValue(double value) : storage_(VKTNumber(value)) {}
    VKTValue(VKTNumber value) : storage_(value) {}
    VKTValue(const char* value) : storage_(std::in_place_type<std::string>, value) {}
    VKTValue(std::string_view value) : storage_(std::in_place_type<std::string>, value) {}
    VKTValue(std::string value) : storage_(std::move(value)) {}
    VKTValue(VKTBytes value) : storage_(std::move(value)) {}
    VKTValue(VKTDate value) : storage_(value) {}
    VKTValue(VKTArray value) : storage_(std::move(value)) {}
    VKTValue(VKTDictionary value) : storage_(std::move(value)) {}

    /// An empty value of this type, made in its place.
    template <typename Type>
    explicit VKTValue(std::in_place_type_t<Type> type) : storage_(type) {}

    [[nodiscard]] bool isNull() const { return std::holds_alternative<std::monostate>(storage_); }

    /// The value when it has that type, else null. An integer is not a double, nor a boolean a number.
    [[nodiscard]] const bool* asBool() const { return std::get_if<bool>(&storage_); }
    [[nodiscard]] const std::int64_t* asInteger() const { return numberAs<std::int64_t>(); }
    /// An integer above the greatest signed one, 2^63 - 1; `asInteger` gives all others.
    [[nodiscard]] const std::uint64_t* asUnsignedInteger() const { return numberAs<std::uint64_t>(); }
    [[nodiscard]] const double* asDouble() const { return numberAs<double>(); }
    [[nodiscard]] const std::string* asString() const { return std::get_if<std::string>(&storage_); }
    [[nodiscard]] const VKTBytes* asBytes() const { return std::get_if<VKTBytes>(&storage_); }
    [[nodiscard]] const VKTDate* asDate() const { return std::get_if<VKTDate>(&storage_); }
    [[nodiscard]] const VKTArray* asArray() const { return std::get_if<VKTArray>(&storage_); }
    [[nodiscard]] VKTArray* asArray() { return std::get_if<VKTArray>(&storage_); }
    [[nodiscard]] const VKTDictionary* asDictionary() const { return std::get_if<VKTDictionary>(&storage_); }
    [[nodiscard]] VKTDictionary* asDictionary() { return std::get_if<VKTDictionary>(&storage_); }

    /// The number, when it is an integer, a double or a boolean (then 1 or 0); nothing otherwise.
    [[nodiscard]] std::optional<VKTNumber> asNumber() const;

    /// The value as "%@" prints it: a text as it is, numbers in decimal, booleans as 1 and 0, null as
    /// "<null>", collections on one line.
    [[nodiscard]] std::string description() const;

    /// Numbers are equal by numeric value, whether integer or double; a boolean equals a boolean only.
    friend bool operator==(const VKTValue& left, const VKTValue& right);

  private:
    template <typename Type>
    [[nodiscard]] const Type* numberAs() const {
        const auto* number = std::get_if<VKTNumber>(&storage_);
        return number == nullptr ? nullptr : std::get_if<Type>(&number->value_);
    }

    std::variant<std::monostate, bool, VKTNumber, std::string, VKTBytes, VKTDate, VKTArray, VKTDictionary>
        storage_;
};

/// A key and what stands under it.
struct VKT_EXPORT VKTDictionary::Entry {
    Entry(std::string_view entryKey, VKTValue&& entryValue) : key(entryKey), value(std::move(entryValue)) {}

    std::string key;
    VKTValue value;
};

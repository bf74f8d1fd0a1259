// Keyed archiving: an object writes its properties under string keys, and a new object reads them back.
//
// A class that can be archived has
//     static constexpr const char* archiveClassName = "…";
//     void encodeWithCoder(VKTKeyedArchiver& coder) const;
//     static std::shared_ptr<T> (or std::optional<T>) initWithCoder(const VKTKeyedUnarchiver& coder);
// An absent property has no key. Readers yield nothing for a missing key and for a value of another type.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/foundation/VKTValue.h"

/// What an object writes its properties to. One thread at a time.
class VKT_EXPORT VKTKeyedArchiver {
  public:
    void encodeString(std::string_view key, const std::optional<std::string>& value);
    void encodeURL(std::string_view key, const std::optional<VKTURL>& value);
    void encodeNumber(std::string_view key, const std::optional<VKTNumber>& value);
    void encodeBool(std::string_view key, bool value);
    void encodeDate(std::string_view key, VKTDate value);

    /// An object of its own.
    template <typename Object>
    void encodeObject(std::string_view key, const Object& object) {
        values_.set(key, archived(object));
    }

    /// A list of objects, given as values or as pointers; null ones are left out.
    template <typename List>
    void encodeObjects(std::string_view key, const List& objects) {
        VKTArray array;
        for (const auto& object : objects) {
            if constexpr (requires { object == nullptr; }) {
                if (object == nullptr) continue;
            }
            array.emplace_back(archived(object));
        }
        values_.set(key, std::move(array));
    }

    /// What was encoded so far, by key.
    [[nodiscard]] const VKTDictionary& values() const { return values_; }

    template <typename Object>
    static VKTDictionary archived(const Object& object) {
        VKTKeyedArchiver coder;
        if constexpr (requires { object->encodeWithCoder(coder); }) {
            object->encodeWithCoder(coder);
        } else {
            object.encodeWithCoder(coder);
        }
        return coder.values_;
    }

  private:
    VKTDictionary values_;
};

/// What an object reads its properties from. It changes nothing, so any number of threads may read.
class VKT_EXPORT VKTKeyedUnarchiver {
  public:
    /// Reads from `values`, which must outlive this object.
    explicit VKTKeyedUnarchiver(const VKTDictionary& values) : values_(values) {}

    [[nodiscard]] std::optional<std::string> decodeString(std::string_view key) const;
    [[nodiscard]] std::optional<VKTURL> decodeURL(std::string_view key) const;
    [[nodiscard]] std::optional<VKTNumber> decodeNumber(std::string_view key) const;
    [[nodiscard]] bool decodeBool(std::string_view key) const;  ///< false when absent
    [[nodiscard]] std::optional<VKTDate> decodeDate(std::string_view key) const;

    /// What `Object::initWithCoder` makes of the object under `key`; its "nothing" when there is none.
    template <typename Object>
    [[nodiscard]] auto decodeObject(std::string_view key) const {
        using Result = decltype(Object::initWithCoder(*this));
        const VKTValue* value = values_.find(key);
        const VKTDictionary* object = value == nullptr ? nullptr : value->asDictionary();
        return object == nullptr ? Result{} : Object::initWithCoder(VKTKeyedUnarchiver(*object));
    }

    /// The objects of a list in order, without those that do not build. A value type gives values, a type
    /// with identity gives shared pointers.
    template <typename Object>
    [[nodiscard]] auto decodeObjects(std::string_view key) const {
        using Result = decltype(Object::initWithCoder(*this));
        constexpr bool isOptional = std::is_same_v<Result, std::optional<Object>>;
        std::vector<std::conditional_t<isOptional, Object, Result>> objects;
        const VKTValue* value = values_.find(key);
        const VKTArray* array = value == nullptr ? nullptr : value->asArray();
        if (array == nullptr) return objects;
        for (const VKTValue& element : *array) {
            const VKTDictionary* dictionary = element.asDictionary();
            if (dictionary == nullptr) continue;
            if (auto object = Object::initWithCoder(VKTKeyedUnarchiver(*dictionary))) {
                if constexpr (isOptional) {
                    objects.push_back(std::move(*object));
                } else {
                    objects.push_back(std::move(object));
                }
            }
        }
        return objects;
    }

  private:
    const VKTDictionary& values_;
};

/// The bytes of one archived object. Layout: "VKTA", a format byte (2), the class name, the keyed values, and
/// the 32-bit checksum of all before it. Integers are little-endian; lengths are 32-bit and come first.
VKT_EXPORT std::string vkt_archiveData(std::string_view className, const VKTDictionary& values);

/// CRC-32 (IEEE 802.3) of the bytes.
VKT_EXPORT std::uint32_t vkt_archiveChecksum(std::string_view bytes);

/// The keyed values of an archive; nothing when the bytes are damaged, cut short, followed by others, nested
/// more than 64 deep, of another format or of another class.
VKT_EXPORT std::optional<VKTDictionary> vkt_unarchivedValues(std::string_view data,
                                                             std::string_view className);

template <typename Object>
std::string vkt_archivedData(const Object& object) {
    return vkt_archiveData(Object::archiveClassName, VKTKeyedArchiver::archived(object));
}

template <typename Object>
auto vkt_unarchivedObject(std::string_view data) {
    using Result = decltype(Object::initWithCoder(std::declval<VKTKeyedUnarchiver>()));
    const auto values = vkt_unarchivedValues(data, Object::archiveClassName);
    return values ? Object::initWithCoder(VKTKeyedUnarchiver(*values)) : Result{};
}

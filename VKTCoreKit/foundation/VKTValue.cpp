#include "VKTCoreKit/foundation/VKTValue.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "VKTCoreKit/foundation/VKTKeyedHash.h"
#include "VKTCoreKit/foundation/VKTText.h"

namespace {

// Up to here a linear search over short keys beats hashing them.
constexpr std::size_t linearSearchLimit = 24;

}  // namespace

VKTNumber::VKTNumber(std::uint64_t value) : value_(value) {
    const auto integer = static_cast<std::int64_t>(value);
    if (integer >= 0) value_ = integer;
}

double VKTNumber::doubleValue() const {
    return std::visit([](auto value) { return static_cast<double>(value); }, value_);
}

std::int64_t VKTNumber::integerValue() const {
    if (const auto* integer = std::get_if<std::int64_t>(&value_)) return *integer;
    if (isInteger()) return std::numeric_limits<std::int64_t>::max();
    constexpr double limit = 9223372036854775808.0;  // 2^63
    const double value = std::get<double>(value_);
    if (std::isnan(value)) return 0;
    if (value >= limit) return std::numeric_limits<std::int64_t>::max();
    if (value < -limit) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(value);
}

std::uint64_t VKTNumber::unsignedIntegerValue() const {
    if (const auto* integer = std::get_if<std::uint64_t>(&value_)) return *integer;
    if (isInteger()) return static_cast<std::uint64_t>(std::max<std::int64_t>(integerValue(), 0));
    constexpr double limit = 18446744073709551616.0;  // 2^64
    const double value = std::get<double>(value_);
    if (value >= limit) return std::numeric_limits<std::uint64_t>::max();
    return value > 0 ? static_cast<std::uint64_t>(value) : 0;
}

std::string VKTNumber::description() const {
    if (const auto* integer = std::get_if<std::int64_t>(&value_)) return std::to_string(*integer);
    if (const auto* integer = std::get_if<std::uint64_t>(&value_)) return std::to_string(*integer);
    return vkt_numberDescription(std::get<double>(value_));
}

bool operator==(const VKTNumber& left, const VKTNumber& right) {
    if (left.isInteger() && right.isInteger()) return left.value_ == right.value_;
    return left.doubleValue() == right.doubleValue();
}

VKTDictionary::VKTDictionary() = default;
VKTDictionary::VKTDictionary(VKTDictionary&&) noexcept = default;
VKTDictionary& VKTDictionary::operator=(VKTDictionary&&) noexcept = default;
VKTDictionary::~VKTDictionary() = default;

VKTDictionary::VKTDictionary(std::initializer_list<Entry> entries) {
    reserve(entries.size());
    for (const Entry& entry : entries)
        set(entry.key, entry.value);
}

VKTDictionary::VKTDictionary(const VKTDictionary& other)
    : entries_(other.entries_), index_(other.index_ ? std::make_unique<Index>(*other.index_) : nullptr) {}

VKTDictionary& VKTDictionary::operator=(const VKTDictionary& other) {
    VKTDictionary copy(other);
    *this = std::move(copy);
    return *this;
}

VKTDictionary::Place VKTDictionary::placeOf(std::string_view key) const {
    // Whoever builds a tree asks for the key set last, again and again.
    if (!entries_.empty() && entries_.back().key == key) return {entries_.size() - 1, 0};
    if (index_) {
        const std::size_t at = slot(key);
        const std::uint32_t found = (*index_)[at];
        return {found == 0 ? notFound : found - 1, at};
    }
    const auto found =
        std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.key == key; });
    return {found == entries_.end() ? notFound : static_cast<std::size_t>(found - entries_.begin()), 0};
}

// The slot of the index that holds `key`, or the free one where it belongs.
std::size_t VKTDictionary::slot(std::string_view key) const {
    const std::size_t mask = index_->size() - 1;
    std::size_t at = VKTKeyedHash()(key) & mask;
    while ((*index_)[at] != 0 && entries_[(*index_)[at] - 1].key != key)
        at = (at + 1) & mask;
    return at;
}

const VKTValue* VKTDictionary::find(std::string_view key) const {
    const std::size_t at = placeOf(key).position;
    return at == notFound ? nullptr : &entries_[at].value;
}

VKTValue* VKTDictionary::find(std::string_view key) {
    const std::size_t at = placeOf(key).position;
    return at == notFound ? nullptr : &entries_[at].value;
}

VKTValue& VKTDictionary::set(std::string_view key, VKTValue value) {
    const Place place = placeOf(key);
    if (place.position == notFound) return append(place.slot, key, std::move(value));
    return entries_[place.position].value = std::move(value);
}

VKTValue& VKTDictionary::operator[](std::string_view key) {
    const Place place = placeOf(key);
    return place.position == notFound ? append(place.slot, key, VKTValue()) : entries_[place.position].value;
}

VKTValue& VKTDictionary::append(std::size_t slot, std::string_view key, VKTValue&& value) {
    if (index_) (*index_)[slot] = static_cast<std::uint32_t>(entries_.size() + 1);
    // From a node with one entry to one with children: most have several.
    if (entries_.size() == 1 && entries_.capacity() == 1) entries_.reserve(4);
    entries_.emplace_back(key, std::move(value));
    const std::size_t capacity = index_ ? index_->size() / 2 : linearSearchLimit;
    if (entries_.size() > capacity) rebuildIndex();
    return entries_.back().value;
}

void VKTDictionary::remove(std::string_view key) {
    const std::size_t position = placeOf(key).position;
    if (position == notFound) return;
    // The last entry's slot ends its run of collisions only if it was also filled last, which it was.
    const bool isLast = position + 1 == entries_.size();
    if (index_ && isLast) (*index_)[slot(key)] = 0;
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
    if (index_ && !isLast) rebuildIndex();
}

void VKTDictionary::rebuildIndex() {
    index_ = std::make_unique<Index>(std::bit_ceil(entries_.size()) * 4);
    for (std::size_t i = 0; i < entries_.size(); ++i)
        (*index_)[slot(entries_[i].key)] = static_cast<std::uint32_t>(i + 1);
}

void VKTDictionary::reserve(std::size_t count) {
    entries_.reserve(count);
}
std::size_t VKTDictionary::size() const {
    return entries_.size();
}
bool VKTDictionary::empty() const {
    return entries_.empty();
}
const VKTDictionary::Entry* VKTDictionary::begin() const {
    return entries_.data();
}
const VKTDictionary::Entry* VKTDictionary::end() const {
    return entries_.data() + entries_.size();
}

bool operator==(const VKTDictionary& left, const VKTDictionary& right) {
    return left.size() == right.size() &&
           std::all_of(left.begin(), left.end(), [&](const VKTDictionary::Entry& entry) {
               const VKTValue* other = right.find(entry.key);
               return other != nullptr && *other == entry.value;
           });
}

std::optional<VKTNumber> VKTValue::asNumber() const {
    if (const auto* number = std::get_if<VKTNumber>(&storage_)) return *number;
    if (const auto* boolean = asBool()) return VKTNumber(*boolean ? 1 : 0);
    return std::nullopt;
}

std::string VKTValue::description() const {
    if (isNull()) return "<null>";
    if (const auto* text = asString()) return *text;
    if (const auto number = asNumber()) return number->description();
    if (const auto* bytes = asBytes()) return "<" + std::to_string(bytes->bytes.size()) + " bytes>";
    if (const auto* date = asDate()) return vkt_ISO8601StringFromDate(*date, VKTTimeZone::UTC());
    std::vector<std::string> pieces;
    if (const auto* array = asArray()) {
        for (const VKTValue& element : *array)
            pieces.push_back(element.description());
        return "(" + vkt_joined(pieces, ", ") + ")";
    }
    for (const auto& [key, value] : *asDictionary())
        pieces.push_back(key + " = " + value.description());
    return "{" + vkt_joined(pieces, "; ") + "}";
}

bool operator==(const VKTValue& left, const VKTValue& right) {
    return left.storage_ == right.storage_;
}

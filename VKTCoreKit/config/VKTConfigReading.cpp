#include "VKTCoreKit/config/VKTConfigReading.h"

#include <algorithm>
#include <limits>

std::optional<VKTNumber> vkt_configNumberForKey(const VKTDictionary& dictionary, std::string_view key) {
    const VKTValue* value = dictionary.find(key);
    return value == nullptr || value->asBool() != nullptr ? std::nullopt : value->asNumber();
}

std::uint64_t vkt_configUnsignedForKey(const VKTDictionary& dictionary, std::string_view key) {
    constexpr double limit = 18446744073709551616.0;  // 2^64
    const std::optional<VKTNumber> number = vkt_configNumberForKey(dictionary, key);
    if (!number) return 0;
    if (number->isInteger())
        return static_cast<std::uint64_t>(std::max<std::int64_t>(number->integerValue(), 0));
    const double value = number->doubleValue();
    if (value >= limit) return std::numeric_limits<std::uint64_t>::max();
    return value > 0 ? static_cast<std::uint64_t>(value) : 0;
}

const std::string* vkt_configStringForKey(const VKTDictionary& dictionary, std::string_view key) {
    const VKTValue* value = dictionary.find(key);
    return value == nullptr ? nullptr : value->asString();
}

std::optional<VKTURL> vkt_configURLForKey(const VKTDictionary& dictionary, std::string_view key) {
    const std::string* text = vkt_configStringForKey(dictionary, key);
    return text == nullptr ? std::nullopt : VKTURL::URLWithString(*text);
}

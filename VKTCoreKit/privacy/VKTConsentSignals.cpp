#include "VKTCoreKit/privacy/VKTConsentSignals.h"

#include <algorithm>
#include <utility>

std::optional<VKTValue> VKTConsentReader::valueForKey(std::string_view key) {
    VKTStoredValue stored = store_.readObjectForKey(key);
    if (stored.status == VKTStoredValue::Present) return std::move(stored.value);
    if (stored.status == VKTStoredValue::Unreadable) hasFailed_ = true;
    return std::nullopt;
}

std::optional<std::string> VKTConsentReader::stringForKey(std::string_view key) {
    const auto value = valueForKey(key);
    const std::string* text = value ? value->asString() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}

std::optional<VKTNumber> VKTConsentReader::numberForKey(std::string_view key) {
    const auto value = valueForKey(key);
    return value ? value->asNumber() : std::nullopt;
}

std::optional<std::string> vkt_storedString(const VKTPropertyCacheManager& store, std::string_view key) {
    return VKTConsentReader(store).stringForKey(key);
}

std::optional<char> vkt_consentFlag(std::string_view flags, std::size_t number) {
    const auto beginsCharacter = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
    for (const char c : flags) {
        if (beginsCharacter(c) && --number == 0) return c;
    }
    return std::nullopt;
}

bool vkt_hasConsentFlag(std::string_view flags, std::size_t number) {
    return vkt_consentFlag(flags, number) == '1';
}

bool vkt_hasConsentForIDPurposes(std::string_view purposeFlags) {
    return std::all_of(
        VKTConsentIDPurposes.begin(), VKTConsentIDPurposes.end(),
        [purposeFlags](std::size_t purpose) { return vkt_hasConsentFlag(purposeFlags, purpose); });
}

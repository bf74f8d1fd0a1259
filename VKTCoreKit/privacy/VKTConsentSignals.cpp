#include "VKTCoreKit/privacy/VKTConsentSignals.h"

#include <utility>

namespace {

std::string_view typeOf(const VKTValue& value) {
    if (value.asString()) return "a text";
    if (value.asInteger() || value.asUnsignedInteger()) return "an integer";
    if (value.asDouble()) return "a double";
    if (value.asBool()) return "a boolean";
    if (value.asBytes()) return "bytes";
    if (value.asDate()) return "a date";
    return value.asArray() ? "an array" : "a dictionary";
}

}  // namespace

VKTPrivacyReading<VKTValue> vkt_readConsentValue(const VKTPropertyCacheManager& store, std::string_view key) {
    VKTStoredValue stored = store.readObjectForKey(key);
    if (stored.status == VKTStoredValue::Unreadable)
        return {std::nullopt, true, {VKTConsentRuleSignalUnreadable, key}};
    if (stored.status == VKTStoredValue::Absent)
        return {std::nullopt, false, {VKTConsentRuleSignalMissing, key}};
    return {std::move(stored.value), false, {VKTConsentRuleSignalPresent, key}};
}

VKTPrivacyReading<std::string> vkt_readConsentText(const VKTPropertyCacheManager& store,
                                                   std::string_view key) {
    const auto [value, isUnreadable, signal] = vkt_readConsentValue(store, key);
    if (!value) return {std::nullopt, isUnreadable, signal};
    if (const std::string* text = value->asString()) return {*text, false, signal};
    return {std::nullopt, false, {VKTConsentRuleSignalNotText, key, 0, typeOf(*value)}};
}

VKTPrivacyReading<VKTNumber> vkt_readConsentNumber(const VKTPropertyCacheManager& store,
                                                   std::string_view key) {
    const auto [value, isUnreadable, signal] = vkt_readConsentValue(store, key);
    if (!value) return {std::nullopt, isUnreadable, signal};
    if (const auto number = value->asNumber()) return {*number, false, signal};
    return {std::nullopt, false, {VKTConsentRuleSignalNotNumber, key, 0, typeOf(*value)}};
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

std::uint32_t vkt_missingIDPurposes(std::string_view purposeFlags) {
    std::uint32_t missing = 0;
    for (const std::size_t purpose : VKTConsentIDPurposes)
        if (!vkt_hasConsentFlag(purposeFlags, purpose)) missing |= 1U << purpose;
    return missing;
}

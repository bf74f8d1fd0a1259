#include "VKTCoreKit/privacy/VKTConsentSignals.h"

#include <algorithm>
#include <array>

std::optional<std::string> vkt_storedString(const VKTPropertyCacheManager& store, std::string_view key) {
    const auto value = store.objectForKey(key);
    const std::string* text = value ? value->asString() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}

bool vkt_hasConsentFlag(std::string_view flags, std::size_t number) {
    return flags.size() >= number && flags[number - 1] == '1';
}

bool vkt_hasConsentForIDPurposes(std::string_view purposeFlags) {
    constexpr std::array<std::size_t, 5> purposes{1, 2, 4, 7, 10};
    return std::all_of(purposes.begin(), purposes.end(), [purposeFlags](std::size_t purpose) {
        return vkt_hasConsentFlag(purposeFlags, purpose);
    });
}

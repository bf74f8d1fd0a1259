#include "VKTCoreKit/config/VKTConfigReading.h"

std::optional<VKTNumber> vkt_configNumberForKey(const VKTDictionary& dictionary, std::string_view key) {
    const VKTValue* value = dictionary.find(key);
    return value == nullptr || value->asBool() != nullptr ? std::nullopt : value->asNumber();
}

std::uint64_t vkt_configUnsignedForKey(const VKTDictionary& dictionary, std::string_view key) {
    const std::optional<VKTNumber> number = vkt_configNumberForKey(dictionary, key);
    return number ? number->unsignedIntegerValue() : 0;
}

const std::string* vkt_configStringForKey(const VKTDictionary& dictionary, std::string_view key) {
    const VKTValue* value = dictionary.find(key);
    return value == nullptr ? nullptr : value->asString();
}

std::optional<VKTURL> vkt_configURLForKey(const VKTDictionary& dictionary, std::string_view key) {
    const std::string* text = vkt_configStringForKey(dictionary, key);
    return text == nullptr ? std::nullopt : VKTURL::URLWithString(*text);
}

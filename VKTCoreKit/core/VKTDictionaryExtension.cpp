#include "VKTCoreKit/core/VKTDictionaryExtension.h"

#include <algorithm>

#include "VKTCoreKit/core/VKTURLUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"

namespace {

bool isDigits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), vkt_isDigit);
}

// Digits, or groups of three after a first group of one to three.
bool isWholePart(std::string_view text) {
    const std::vector<std::string_view> groups = vkt_split(text, ',');
    if (!std::all_of(groups.begin(), groups.end(), isDigits)) return false;
    return groups.size() == 1 || (groups[0].size() <= 3 && std::all_of(groups.begin() + 1, groups.end(),
                                                                       [](auto g) { return g.size() == 3; }));
}

std::optional<VKTNumber> decimalNumber(std::string_view text) {
    const std::string_view unsignedText = text.substr(text.starts_with('-') ? 1 : 0);
    const std::size_t point = unsignedText.find('.');
    if (!isWholePart(unsignedText.substr(0, point))) return std::nullopt;
    if (point != std::string_view::npos && !isDigits(unsignedText.substr(point + 1))) return std::nullopt;
    return VKTNumber(vkt_doubleValue(vkt_replacingOccurrences(text, ",", "")));
}

}  // namespace

std::optional<VKTNumber> vkt_optNumberForKey(const VKTDictionary& dictionary, std::string_view key) {
    const VKTValue* value = dictionary.find(key);
    if (value == nullptr) return std::nullopt;
    if (const std::string* text = value->asString()) return decimalNumber(*text);
    return value->asNumber();
}

std::optional<std::string> vkt_optStringForKey(const VKTDictionary& dictionary, std::string_view key) {
    const VKTValue* value = dictionary.find(key);
    const std::string* text = value == nullptr ? nullptr : value->asString();
    return text == nullptr || text->empty() ? std::nullopt : std::optional<std::string>(*text);
}

std::optional<VKTURL> vkt_optURLForKey(const VKTDictionary& dictionary, std::string_view key) {
    const auto text = vkt_optStringForKey(dictionary, key);
    if (!text) return std::nullopt;
    auto url = VKTURL::URLWithString(vkt_addingPercentEncoding(*text, VKTURLCharacterSet::QueryAllowed));
    return url && vkt_isValid(*url) ? url : std::nullopt;
}

const VKTDictionary* vkt_optDictionaryForKey(const VKTDictionary& dictionary, std::string_view key) {
    const VKTValue* value = dictionary.find(key);
    return value == nullptr ? nullptr : value->asDictionary();
}

const VKTArray* vkt_optArrayForKey(const VKTDictionary& dictionary, std::string_view key) {
    const VKTValue* value = dictionary.find(key);
    return value == nullptr ? nullptr : value->asArray();
}

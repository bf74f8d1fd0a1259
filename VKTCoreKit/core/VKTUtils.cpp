#include "VKTCoreKit/core/VKTUtils.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

constexpr std::string_view defaultColorPrefix = "#";

bool isUpperHexDigit(char c) {
    return vkt_isDigit(c) || (c >= 'A' && c <= 'F');
}

void appendComponent(std::string& text, double component) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned>(std::lround(std::clamp(component, 0.0, 1.0) * 255));
    text.push_back(digits[byte >> 4U]);
    text.push_back(digits[byte & 0xFU]);
}

}  // namespace

bool VKTUtils::stringIsEmptyOrWhiteSpace(std::optional<std::string_view> string) {
    return vkt_isEmptyOrWhiteSpace(string.value_or(""));
}

std::string VKTUtils::stringByRemovingWhiteSpace(std::string_view string) {
    return vkt_removingWhiteSpace(string);
}

std::string VKTUtils::localizedStringForKey(std::string_view key, std::string_view stringFile,
                                            const VKTBundle& bundle) {
    return bundle.localizedString(key, stringFile).value_or("");
}

bool VKTUtils::isValidGDPRConsentString(std::optional<std::string_view> string) {
    if (!string || string->empty()) return false;
    return std::all_of(string->begin(), string->end(), [](char c) {
        return vkt_isLetter(c) || vkt_isDigit(c) || c == '-' || c == '_' || c == '.';
    });
}

bool VKTUtils::stringIsDigitsOnly(std::optional<std::string_view> string) {
    return string && !string->empty() && std::all_of(string->begin(), string->end(), vkt_isDigit);
}

std::optional<VKTColor> VKTUtils::colorFromString(std::string_view string, std::string_view withPrefix,
                                                  bool optionalPrefix) {
    if (!optionalPrefix && !string.starts_with(withPrefix)) return std::nullopt;
    const std::string digits = vkt_uppercased(vkt_replacingOccurrences(string, withPrefix, ""));
    if (!std::all_of(digits.begin(), digits.end(), isUpperHexDigit)) return std::nullopt;

    const bool hasAlpha = digits.size() == 4 || digits.size() == 8;
    const bool hasNone = digits.size() == 3 || digits.size() == 6;
    if (!hasAlpha && !hasNone) return std::nullopt;
    const std::size_t width = digits.size() > 4 ? 2 : 1;
    const std::size_t red = hasAlpha ? width : 0;
    return VKTColor{colorComponentFrom(digits, red, width), colorComponentFrom(digits, red + width, width),
                    colorComponentFrom(digits, red + 2 * width, width),
                    hasAlpha ? colorComponentFrom(digits, 0, width) : 1.0};
}

double VKTUtils::colorComponentFrom(std::string_view string, std::size_t start, std::size_t length) {
    std::string digits(string.substr(std::min(start, string.size()), length));
    if (digits.size() == 1) digits += digits;
    unsigned value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    return value / 255.0;
}

std::string VKTUtils::colorStringFromColor(const VKTColor& color, bool includeAlpha) {
    return colorStringFromColor(color, defaultColorPrefix, includeAlpha);
}

std::string VKTUtils::colorStringFromColor(const VKTColor& color, std::string_view withPrefix,
                                           bool includeAlpha) {
    std::string text(withPrefix);
    if (includeAlpha) appendComponent(text, color.alpha);
    for (const double component : {color.red, color.green, color.blue})
        appendComponent(text, component);
    return text;
}

VKTError VKTUtils::errorWithDomain(std::string domain, std::int64_t code,
                                   std::optional<std::string> description) {
    VKTError::UserInfo userInfo;
    if (description) userInfo[VKTLocalizedDescriptionKey] = std::move(*description);
    return {std::move(domain), code, std::move(userInfo)};
}

#include "commands/PrivacySetting.h"

#include <charconv>
#include <cmath>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

// Null unless the whole text is a number.
template <typename Number>
VKTValue numberOf(std::string_view text) {
    Number number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end ? VKTValue(number) : VKTValue();
}

VKTValue valueOf(std::string_view type, std::string_view text) {
    if (type == "string" && vkt_isValidUTF8(text)) return text;
    if (type == "int") return numberOf<std::int64_t>(text);
    if (type == "bool" && (text == "true" || text == "false")) return text == "true";
    if (type != "double") return {};
    const VKTValue number = numberOf<double>(text);
    return !number.isNull() && std::isfinite(*number.asDouble()) ? number : VKTValue();
}

}  // namespace

std::optional<PrivacySetting> PrivacySetting::initWithText(std::string_view text) {
    const std::size_t equals = text.find('=');
    const std::size_t colon = text.find(':', equals);
    if (equals == 0 || equals == std::string_view::npos || colon == std::string_view::npos)
        return std::nullopt;
    VKTValue value = valueOf(text.substr(equals + 1, colon - equals - 1), text.substr(colon + 1));
    if (value.isNull()) return std::nullopt;
    return PrivacySetting{std::string(text.substr(0, equals)), std::move(value)};
}

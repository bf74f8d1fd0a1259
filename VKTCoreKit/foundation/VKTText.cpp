#include "VKTCoreKit/foundation/VKTText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace {

struct CodePoint {
    char32_t value;
    std::size_t length;
};

// Decodes the code point at `text[0]`; a malformed byte is its own code point of length 1 and value 0xFFFD.
CodePoint codePointAt(std::string_view text) {
    constexpr CodePoint malformed{0xFFFD, 1};
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned lead = byte(0);
    if (lead < 0x80) return {lead, 1};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return malformed;
    char32_t value = lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0U) != 0x80U) return malformed;
        value = (value << 6U) | (byte(i) & 0x3FU);
    }
    constexpr std::array<char32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < smallest[length] || isSurrogate || value > 0x10FFFF) return malformed;
    return {value, length};
}

bool isASCII(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

bool isASCIIWhiteSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The Unicode White_Space property (PropList.txt).
bool isWhiteSpace(char32_t c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
           c == 0x3000;
}

std::size_t trailingWhiteSpaceLength(std::string_view text) {
    if (!text.empty() && isASCII(text.back())) return isASCIIWhiteSpace(text.back()) ? 1 : 0;
    for (std::size_t length = 1; length <= std::min<std::size_t>(3, text.size()); ++length) {
        const std::string_view tail = text.substr(text.size() - length);
        const CodePoint last = codePointAt(tail);
        if (last.length == length && isWhiteSpace(last.value)) return length;
    }
    return 0;
}

std::size_t digitsAt(std::string_view text, std::size_t start) {
    std::size_t end = start;
    while (end < text.size() && vkt_isDigit(text[end]))
        ++end;
    return end - start;
}

// The longest decimal number at the start of `text`, without a leading plus sign; empty when there is none.
std::string_view decimalNumberPrefix(std::string_view text) {
    text = vkt_trimmedAtStart(text);
    const bool hasPlus = text.starts_with('+');
    if (hasPlus) text.remove_prefix(1);
    std::size_t end = !hasPlus && text.starts_with('-') ? 1 : 0;
    const std::size_t whole = digitsAt(text, end);
    end += whole;
    std::size_t fraction = 0;
    if (end < text.size() && text[end] == '.') {
        fraction = digitsAt(text, end + 1);
        if (whole + fraction > 0) end += 1 + fraction;
    }
    if (whole + fraction == 0) return {};
    if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
        const bool isSigned = end + 1 < text.size() && (text[end + 1] == '+' || text[end + 1] == '-');
        const std::size_t exponentStart = end + (isSigned ? 2 : 1);
        const std::size_t exponent = digitsAt(text, exponentStart);
        if (exponent > 0) end = exponentStart + exponent;
    }
    return text.substr(0, end);
}

// Whether a number that no type can hold is too large (true) or too close to zero (false).
bool isOverflow(std::string_view number) {
    if (number.starts_with('-')) number.remove_prefix(1);
    const std::size_t exponentMark = number.find_first_of("eE");
    const std::string_view mantissa = number.substr(0, exponentMark);
    constexpr std::int64_t farAway = 1'000'000'000;  // beyond any text's own digits
    const std::int64_t exponent =
        exponentMark == std::string_view::npos
            ? 0
            : std::clamp(vkt_integerValue(number.substr(exponentMark + 1)), -farAway, farAway);
    const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
    const std::size_t firstDigit = mantissa.find_first_of("123456789");
    if (firstDigit == std::string_view::npos) return false;
    const auto magnitude = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(firstDigit);
    return magnitude + exponent > 0;
}

template <typename Float>
Float lenientValue(std::string_view text) {
    const std::string_view number = decimalNumberPrefix(text);
    if (number.empty()) return 0;
    Float value = 0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
    if (result.ec != std::errc::result_out_of_range) return value;
    if (!isOverflow(number)) return 0;
    return number.starts_with('-') ? std::numeric_limits<Float>::lowest() : std::numeric_limits<Float>::max();
}

template <typename Float>
std::string shortestDescription(Float value) {
    // Left to itself, std::to_chars writes 100000 as 1e+05.
    const Float magnitude = std::abs(value);
    constexpr auto smallest = static_cast<Float>(1e-4);
    constexpr auto limit = static_cast<Float>(1e16);
    const bool isOrdinary = value == 0 || (magnitude >= smallest && magnitude < limit);
    const auto format = isOrdinary ? std::chars_format::fixed : std::chars_format::scientific;
    std::array<char, 64> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, format);
    return {buffer.data(), result.ptr};
}

std::string fixedSixDecimals(double value) {
    // The largest double has 309 digits before the point.
    std::array<char, 384> buffer{};
    const auto result =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed, 6);
    return {buffer.data(), result.ptr};
}

char toLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
char toUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool isControlOrLineSeparator(char32_t value) {
    return value < 0x20 || (value >= 0x7F && value < 0xA0) || value == 0x2028 || value == 0x2029;
}

// Marks, embeddings, overrides and isolates.
bool isDirectionMark(char32_t value) {
    return value == 0x061C || value == 0x200E || value == 0x200F || (value >= 0x202A && value <= 0x202E) ||
           (value >= 0x2066 && value <= 0x2069);
}

}  // namespace

std::size_t vkt_leadingWhiteSpaceLength(std::string_view text) {
    if (text.empty()) return 0;
    const CodePoint first = codePointAt(text);
    return isWhiteSpace(first.value) ? first.length : 0;
}

std::string_view vkt_trimmedAtStart(std::string_view text) {
    while (!text.empty() && isASCIIWhiteSpace(text.front()))
        text.remove_prefix(1);
    if (text.empty()) return text;
    for (std::size_t length = vkt_leadingWhiteSpaceLength(text); length > 0;
         length = vkt_leadingWhiteSpaceLength(text)) {
        text.remove_prefix(length);
    }
    return text;
}

std::string_view vkt_trimmed(std::string_view text) {
    text = vkt_trimmedAtStart(text);
    for (std::size_t length = trailingWhiteSpaceLength(text); length > 0;
         length = trailingWhiteSpaceLength(text)) {
        text.remove_suffix(length);
    }
    return text;
}

std::string vkt_removingWhiteSpace(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const CodePoint first = codePointAt(text);
        if (!isWhiteSpace(first.value)) result.append(text.substr(0, first.length));
        text.remove_prefix(first.length);
    }
    return result;
}

bool vkt_isEmptyOrWhiteSpace(std::string_view text) {
    return vkt_trimmedAtStart(text).empty();
}

std::string vkt_lowercased(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), toLower);
    return result;
}

std::string vkt_uppercased(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), toUpper);
    return result;
}

bool vkt_equalsIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return toLower(a) == toLower(b); });
}

std::string vkt_replacingOccurrences(std::string_view text, std::string_view pattern,
                                     std::string_view replacement) {
    std::string result;
    std::size_t start = 0;
    if (!pattern.empty()) {
        for (std::size_t found = text.find(pattern); found != std::string_view::npos;
             found = text.find(pattern, start)) {
            result.append(text, start, found - start).append(replacement);
            start = found + pattern.size();
        }
    }
    result.append(text, start);
    return result;
}

std::vector<std::string_view> vkt_split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    for (std::size_t end = text.find(separator); end != std::string_view::npos;
         end = text.find(separator, start)) {
        pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    pieces.push_back(text.substr(start));
    return pieces;
}

std::string vkt_joined(const std::vector<std::string>& pieces, std::string_view separator) {
    std::string result;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (i > 0) result.append(separator);
        result.append(pieces[i]);
    }
    return result;
}

double vkt_doubleValue(std::string_view text) {
    return lenientValue<double>(text);
}
float vkt_floatValue(std::string_view text) {
    return lenientValue<float>(text);
}

std::int64_t vkt_integerValue(std::string_view text) {
    text = vkt_trimmedAtStart(text);
    if (!text.empty() && text[0] == '+') {
        text.remove_prefix(1);
        if (text.starts_with('-')) return 0;
    }
    std::int64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc::result_out_of_range) return value;
    return text.starts_with('-') ? std::numeric_limits<std::int64_t>::min()
                                 : std::numeric_limits<std::int64_t>::max();
}

bool vkt_boolValue(std::string_view text) {
    if (text.empty()) return false;
    return std::string_view("tTyY123456789").find(text[0]) != std::string_view::npos;
}

std::string vkt_numberDescription(double value) {
    return shortestDescription(value);
}
std::string vkt_numberDescription(float value) {
    return shortestDescription(value);
}

bool vkt_isValidUTF8(std::string_view bytes) {
    const auto* at = bytes.begin();
    while ((at = std::find_if_not(at, bytes.end(), isASCII)) != bytes.end()) {
        const CodePoint next = codePointAt({at, bytes.end()});
        if (next.value == 0xFFFD && next.length == 1) return false;
        at += next.length;
    }
    return true;
}

std::string vkt_UTF8FromWindows1252(std::string_view bytes) {
    // From 0x80 on; the others are the code points themselves.
    static constexpr std::array<unsigned, 32> special = {
        0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
    std::string text;
    text.reserve(bytes.size());
    for (const char each : bytes) {
        const auto byte = static_cast<unsigned char>(each);
        const unsigned point = byte >= 0x80 && byte < 0xA0 ? special.at(byte - 0x80U) : byte;
        if (point < 0x80) {
            text += each;
            continue;
        }
        if (point < 0x800) {
            text += static_cast<char>(0xC0U | (point >> 6U));
        } else {
            text += static_cast<char>(0xE0U | (point >> 12U));
            text += static_cast<char>(0x80U | ((point >> 6U) & 0x3FU));
        }
        text += static_cast<char>(0x80U | (point & 0x3FU));
    }
    return text;
}

std::string vkt_onOneLine(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    while (!text.empty()) {
        const CodePoint next = codePointAt(text);
        const bool isMalformed = next.value == 0xFFFD && next.length == 1;
        if (isControlOrLineSeparator(next.value)) {
            line += ' ';
        } else if (isMalformed || isDirectionMark(next.value)) {
            line += "\xEF\xBF\xBD";  // U+FFFD
        } else {
            line += text.substr(0, next.length);
        }
        text.remove_prefix(next.length);
    }
    return line;
}

std::string VKTFormatArgument::description() const {
    if (const auto* text = std::get_if<std::string_view>(&value_)) return std::string(*text);
    if (const auto* number = std::get_if<std::int64_t>(&value_)) return std::to_string(*number);
    return vkt_numberDescription(std::get<double>(value_));
}

std::int64_t VKTFormatArgument::integer() const {
    if (const auto* text = std::get_if<std::string_view>(&value_)) return vkt_integerValue(*text);
    if (const auto* number = std::get_if<std::int64_t>(&value_)) return *number;
    const double number = std::get<double>(value_);
    constexpr double limit = 9223372036854775808.0;  // 2^63
    if (number >= limit) return std::numeric_limits<std::int64_t>::max();
    if (number >= -limit) return static_cast<std::int64_t>(number);
    return std::isnan(number) ? 0 : std::numeric_limits<std::int64_t>::min();
}

double VKTFormatArgument::floatingPoint() const {
    if (const auto* text = std::get_if<std::string_view>(&value_)) return vkt_doubleValue(*text);
    if (const auto* number = std::get_if<std::int64_t>(&value_)) return static_cast<double>(*number);
    return std::get<double>(value_);
}

std::string vkt_stringWithFormat(std::string_view format,
                                 std::initializer_list<VKTFormatArgument> arguments) {
    struct Placeholder {
        std::string_view text;
        std::string (*print)(const VKTFormatArgument&);
    };
    static constexpr std::array<Placeholder, 4> placeholders{{
        {"%@", [](const VKTFormatArgument& a) { return a.description(); }},
        {"%ld", [](const VKTFormatArgument& a) { return std::to_string(a.integer()); }},
        {"%d", [](const VKTFormatArgument& a) { return std::to_string(a.integer()); }},
        {"%f", [](const VKTFormatArgument& a) { return fixedSixDecimals(a.floatingPoint()); }},
    }};

    std::string result;
    const auto* argument = arguments.begin();
    while (!format.empty()) {
        const std::size_t literal = std::min(format.find('%'), format.size());
        result.append(format.substr(0, literal));
        format.remove_prefix(literal);
        if (format.empty()) break;
        const auto* placeholder =
            std::find_if(placeholders.begin(), placeholders.end(),
                         [&](const Placeholder& candidate) { return format.starts_with(candidate.text); });
        if (placeholder != placeholders.end()) {
            result.append(argument == arguments.end() ? "(null)" : placeholder->print(*argument));
            if (argument != arguments.end()) ++argument;
            format.remove_prefix(placeholder->text.size());
        } else {
            result.push_back('%');
            format.remove_prefix(format.starts_with("%%") ? 2 : 1);
        }
    }
    return result;
}

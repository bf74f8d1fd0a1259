// Text helpers shared by every reader: white space, case, lenient numbers, UTF-8, formatting.
//
// All functions are pure and safe from any thread. Strings are UTF-8; case folding and digits are ASCII only;
// white space is the Unicode White_Space set (trimming, emptiness and removal alike). Nothing here depends on
// the C locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"

/// The text without white space at both ends; a view into `text`.
VKT_EXPORT std::string_view vkt_trimmed(std::string_view text);

/// The same without white space at the start only.
VKT_EXPORT std::string_view vkt_trimmedAtStart(std::string_view text);

/// Bytes of the white space character at the start of `text`; 0 when there is none.
VKT_EXPORT std::size_t vkt_leadingWhiteSpaceLength(std::string_view text);

/// The text without any white space character.
VKT_EXPORT std::string vkt_removingWhiteSpace(std::string_view text);

/// Whether nothing but white space is there (the empty text included).
VKT_EXPORT bool vkt_isEmptyOrWhiteSpace(std::string_view text);

/// ASCII letters folded; every other byte as it is.
VKT_EXPORT std::string vkt_lowercased(std::string_view text);
VKT_EXPORT std::string vkt_uppercased(std::string_view text);

/// Equal but for the case of ASCII letters.
VKT_EXPORT bool vkt_equalsIgnoringCase(std::string_view left, std::string_view right);

inline bool vkt_isDigit(char c) {
    return c >= '0' && c <= '9';
}
inline bool vkt_isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
inline bool vkt_isHexDigit(char c) {
    return vkt_isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// Every occurrence of `pattern` replaced, in one pass from the left. An empty pattern changes nothing.
VKT_EXPORT std::string vkt_replacingOccurrences(std::string_view text, std::string_view pattern,
                                                std::string_view replacement);

/// The pieces between separators, empty ones included: "" gives one empty piece. Views into `text`.
VKT_EXPORT std::vector<std::string_view> vkt_split(std::string_view text, char separator);

VKT_EXPORT std::string vkt_joined(const std::vector<std::string>& pieces, std::string_view separator);

/// Lenient numbers: leading white space, sign, digits, fraction, exponent, and stop there; 0 when no number
/// is there. Never infinite and never NaN: what is too large becomes the largest finite value.
VKT_EXPORT double vkt_doubleValue(std::string_view text);
VKT_EXPORT float vkt_floatValue(std::string_view text);

/// Lenient integer: leading white space, sign, digits. Saturates at the bounds of the type.
VKT_EXPORT std::int64_t vkt_integerValue(std::string_view text);

/// Lenient boolean: true when the first character is t, T, y, Y or a digit from 1 to 9.
VKT_EXPORT bool vkt_boolValue(std::string_view text);

/// The fewest digits that read back as the same number, without a trailing ".0"; with an exponent only below
/// 0.0001 and from 10^16 on.
VKT_EXPORT std::string vkt_numberDescription(double value);
VKT_EXPORT std::string vkt_numberDescription(float value);

/// Whether the bytes are well-formed UTF-8 (RFC 3629: no overlong forms, no surrogates).
VKT_EXPORT bool vkt_isValidUTF8(std::string_view bytes);

/// The text that these bytes are in Windows-1252, of which Latin-1 is a part. Any bytes are some text.
VKT_EXPORT std::string vkt_UTF8FromWindows1252(std::string_view bytes);

/// A text from outside as it may stand in one line of a terminal or a log. A blank takes the place of each
/// control character (C0, DEL, C1) and line separator, U+FFFD that of what is not UTF-8 and of each mark that
/// turns the direction of writing: they could break the line, move the cursor or show the text in another
/// order.
VKT_EXPORT std::string vkt_onOneLine(std::string_view text);

/// One argument of `vkt_stringWithFormat`: a text, an integer or a floating-point number. An absent text
/// prints as "(null)".
class VKT_EXPORT VKTFormatArgument {
  public:
    VKTFormatArgument(std::string_view text) : value_(text) {}
    VKTFormatArgument(const std::string& text) : value_(std::string_view(text)) {}
    VKTFormatArgument(const char* text) : value_(std::string_view(text == nullptr ? "(null)" : text)) {}
    VKTFormatArgument(std::nullopt_t) : value_(std::string_view("(null)")) {}
    VKTFormatArgument(const std::optional<std::string>& text)
        : value_(text ? std::string_view(*text) : std::string_view("(null)")) {}
    VKTFormatArgument(std::int64_t number) : value_(number) {}
    VKTFormatArgument(int number) : value_(static_cast<std::int64_t>(number)) {}
    VKTFormatArgument(unsigned number) : value_(static_cast<std::int64_t>(number)) {}
    VKTFormatArgument(std::uint64_t number) : value_(static_cast<std::int64_t>(number)) {}
    VKTFormatArgument(double number) : value_(number) {}

    /// The argument as "%@" prints it.
    [[nodiscard]] std::string description() const;
    [[nodiscard]] std::int64_t integer() const;
    [[nodiscard]] double floatingPoint() const;

  private:
    std::variant<std::string_view, std::int64_t, double> value_;
};

/// Formats with "%@" (any argument), "%ld" and "%d" (integers), "%f" (six decimals, never localised) and
/// "%%". A placeholder without an argument prints "(null)"; an argument too many is ignored; any other "%"
/// stays.
VKT_EXPORT std::string vkt_stringWithFormat(std::string_view format,
                                            std::initializer_list<VKTFormatArgument> arguments);

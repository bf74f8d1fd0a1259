#include "ground/Text.h"

#include <algorithm>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

constexpr const char* replacement = "\xEF\xBF\xBD";  // U+FFFD

std::size_t lengthOf(unsigned char first) {
    if (first < 0x80) return 1;
    if (first < 0xE0) return 2;
    return first < 0xF0 ? 3 : 4;
}

// The bytes of the first character; none unless they are UTF-8.
std::string_view firstCharacter(std::string_view text) {
    const std::string_view bytes = text.substr(0, lengthOf(static_cast<unsigned char>(text.front())));
    return vkt_isValidUTF8(bytes) ? bytes : std::string_view();
}

// C0, DEL, C1, U+2028 and U+2029; all that divide a line are among them.
bool isControl(std::string_view character) {
    if (character.size() == 1) return character[0] < ' ' || character[0] == '\x7F';
    if (character.size() == 2) return character[0] == '\xC2' && character[1] < '\xA0';
    return character == "\u2028" || character == "\u2029";
}

// Embeddings, overrides, isolates and single marks.
bool isDirection(std::string_view character) {
    const auto isWithin = [&](std::string_view least, std::string_view most) {
        return character >= least && character <= most;
    };
    return character == "\u061C" || isWithin("\u200E", "\u200F") || isWithin("\u202A", "\u202E") ||
           isWithin("\u2066", "\u2069");
}

}  // namespace

std::string onOneLine(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    while (!text.empty()) {
        const std::string_view character = firstCharacter(text);
        if (character.empty() || isDirection(character)) {
            line += replacement;
        } else if (isControl(character)) {
            line += ' ';
        } else {
            line += character;
        }
        text.remove_prefix(std::max<std::size_t>(character.size(), 1));
    }
    return line;
}

std::string quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

std::string countOf(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

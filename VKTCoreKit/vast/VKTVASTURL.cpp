#include "VKTCoreKit/vast/VKTVASTURL.h"

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"

namespace {

bool isMacroNameCharacter(char c) {
    return vkt_isLetter(c) || vkt_isDigit(c) || c == '-' || c == '_' || c == '.';
}

// The length of "{NAME}" or "${NAME}" at the start of `text`, 0 when there is none. The name may be empty.
std::size_t curlyMacroLength(std::string_view text) {
    std::size_t end = text.starts_with('$') ? 1 : 0;
    if (end >= text.size() || text[end] != '{') return 0;
    do {
        ++end;
    } while (end < text.size() && isMacroNameCharacter(text[end]));
    return end < text.size() && text[end] == '}' ? end + 1 : 0;
}

// Without curly-brace macros, each with one white space character behind it, and with "|" encoded.
std::string withoutCurlyMacros(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        if (const std::size_t macro = curlyMacroLength(text)) {
            text.remove_prefix(macro);
            text.remove_prefix(vkt_leadingWhiteSpaceLength(text));
            continue;
        }
        if (text[0] == '|') {
            result.append("%7C");
        } else {
            result.push_back(text[0]);
        }
        text.remove_prefix(1);
    }
    return result;
}

}  // namespace

std::optional<VKTVASTURL> VKTVASTURL::initWithString(std::string_view string) {
    if (vkt_isEmptyOrWhiteSpace(string)) return std::nullopt;
    auto url = VKTURL::URLWithString(string);
    if (!url) url = VKTURL::URLWithString(withoutCurlyMacros(string));
    if (!url) {
        url = VKTURL::URLWithString(vkt_addingPercentEncoding(string, VKTURLCharacterSet::QueryAllowed));
    }
    if (!url) return std::nullopt;
    return VKTVASTURL(std::move(*url).URLByEncodingSquareBrackets());
}

std::optional<VKTVASTURL> VKTVASTURL::initFromXML(const VKTValue& value) {
    if (const std::string* string = value.asString()) return initWithString(*string);
    const VKTDictionary* node = value.asDictionary();
    return node == nullptr ? std::nullopt : initFromXML(*node);
}

std::optional<VKTVASTURL> VKTVASTURL::initFromXML(const VKTDictionary& node) {
    const std::string* text = VKTXMLDictionaryUtils::findNodeText(node);
    return text == nullptr ? std::nullopt : initWithString(*text);
}

std::string VKTVASTURL::description() const {
    return vkt_stringWithFormat("VKTVASTURL(url=%@)", {url().absoluteString()});
}

#include "VKTCoreKit/tracking/VKTEventURL.h"

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTText.h"

namespace {

std::size_t occurrences(std::string_view text, std::string_view pattern) {
    std::size_t count = 0;
    for (auto found = text.find(pattern); found != std::string_view::npos;
         found = text.find(pattern, found + pattern.size()))
        ++count;
    return count;
}

bool replaceMacros(std::string& text, const VKTReplacements& macros) {
    for (const auto& [name, value] : macros) {
        if (!vkt_replaceWithinLimit(text, "%5B" + name + "%5D", value)) return false;
    }
    return true;
}

}  // namespace

bool vkt_replaceWithinLimit(std::string& text, std::string_view pattern, std::string_view replacement) {
    const std::size_t count = pattern.empty() ? 0 : occurrences(text, pattern);
    if (count == 0) return true;
    if (text.size() - count * pattern.size() + count * replacement.size() > VKTEventURLLengthLimit)
        return false;
    text = vkt_replacingOccurrences(text, pattern, replacement);
    return true;
}

std::optional<std::string> vkt_textByReplacingMacros(const VKTURL& url, const VKTReplacements& macros,
                                                     const VKTReplacements& additionalMacros) {
    std::string text = url.absoluteString();
    if (!replaceMacros(text, macros) || !replaceMacros(text, additionalMacros)) return std::nullopt;
    return text;
}

std::optional<VKTURL> vkt_URLByReplacingMacros(const VKTURL& url, const VKTReplacements& macros,
                                               const VKTReplacements& additionalMacros) {
    const auto text = vkt_textByReplacingMacros(url, macros, additionalMacros);
    return text ? VKTURL::URLWithString(*text) : std::nullopt;
}

VKTFilledEventURL vkt_filledEventURL(const VKTURL& templateURL, std::string_view what,
                                     const std::optional<std::string>& text) {
    auto url = text ? VKTURL::URLWithString(*text) : std::nullopt;
    if (url) return {*std::move(url), std::nullopt};
    VKTLog::sharedInstance()->logDebugWithFormat(
        "Replacing %@ in URL '%@' has resulted in a invalid URL! Using the original URL instead.", what,
        templateURL.absoluteString());
    return {templateURL, text ? VKTEventURLInvalid : VKTEventURLTooLong};
}

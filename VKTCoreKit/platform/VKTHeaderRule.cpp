#include "VKTCoreKit/platform/VKTHeaderRule.h"

#include <algorithm>
#include <array>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTProblemLog.h"

namespace {

constexpr std::array<std::string_view, 6> framingNames = {
    "Content-Length", "Transfer-Encoding", "Host", "Connection", "Expect", "Trailer"};

bool isTokenByte(char c) {
    const bool isAlphanumeric = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    return isAlphanumeric || (c != '\0' && std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string::npos);
}

// On one line of a log, whatever it holds.
std::string printable(std::string_view name) {
    constexpr std::size_t longest = 64;
    std::string text(name.substr(0, longest));
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return text;
}

}  // namespace

const char* vkt_headerRefusal(std::string_view name) {
    if (name.empty()) return "it has no name; give it one";
    if (!std::all_of(name.begin(), name.end(), isTokenByte))
        return "its name has a character that no header name may have; write letters, digits and hyphens";
    const bool frames = std::any_of(framingNames.begin(), framingNames.end(), [&](std::string_view framing) {
        return vkt_equalsIgnoringCase(name, framing);
    });
    return frames ? "it frames the message, which the HTTP client does itself; remove it" : nullptr;
}

VKTHeaderList vkt_usableHeaders(VKTHeaderList headers, std::string_view source) {
    std::erase_if(headers, [&](const auto& header) {
        const char* refusal = vkt_headerRefusal(header.first);
        if (refusal != nullptr)
            vkt_logWarning("Header '" + printable(header.first) + "' of " + std::string(source) +
                           " is not sent: " + refusal + ".");
        return refusal != nullptr;
    });
    return headers;
}

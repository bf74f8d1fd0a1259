// The first byte says whether the tag is forced to the end, the rest is the HTML.
#include "Fuzzing.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/openmeasurement/detail/VKTHTMLInjection.h"

namespace {

const std::string tag = "<script src=\"https://h/om.js?$&\"></script>";

std::size_t countOf(std::string_view pattern, std::string_view html) {
    std::size_t count = 0;
    for (std::size_t i = 0; i + pattern.size() <= html.size(); ++i)
        if (vkt_equalsIgnoringCase(html.substr(i, pattern.size()), pattern)) ++count;
    return count;
}

// The HTML with a text before each occurrence, one byte after the other.
std::string puttingBefore(std::string_view pattern, std::string_view html, const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < html.size();) {
        if (vkt_equalsIgnoringCase(html.substr(i, pattern.size()), pattern)) {
            result.append(text).append(pattern);
            i += pattern.size();
        } else {
            result += html[i++];
        }
    }
    return result;
}

std::string expected(std::string_view html, bool isForced) {
    if (!isForced && countOf("</head>", html) > 0) return puttingBefore("</head>", html, tag);
    if (!isForced && countOf("<body", html) > 0)
        return puttingBefore("<body", html, "<head>" + tag + "</head>");
    if (countOf("</html", html) > 0) return puttingBefore("</html>", html, tag);
    return std::string(html) + tag;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const bool isForced = data[0] % 2 == 1;
    const std::string_view html = inputText(data + 1, size - 1);
    const VKTURL url = *VKTURL::URLWithString("https://h/om.js?$&");
    const std::string result = vkt_HTMLByInjectingScript(html, url, isForced);
    require(result == expected(html, isForced), "the tag stands before each place, and nothing else changes");

    for (const std::string_view pattern : {"</head>", "</html>", "<body"}) {
        const bool hasHeadOfItsOwn = pattern == "</head>" && !isForced && countOf(pattern, html) == 0;
        require(
            countOf(pattern, result) == (hasHeadOfItsOwn ? countOf("<body", html) : countOf(pattern, html)),
            "no place is lost, and none comes to it but a head's of its own");
    }
    return 0;
}

#include "VKTCoreKit/openmeasurement/detail/VKTHTMLInjection.h"

#include "VKTCoreKit/core/VKTHTMLUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"

namespace {

// Every occurrence of the pattern, which is in lower case, in any case.
std::string replacingIgnoringCase(std::string_view text, std::string_view pattern,
                                  const std::string& replacement) {
    const std::string lowercased = vkt_lowercased(text);
    std::string result;
    std::size_t start = 0;
    for (std::size_t found = lowercased.find(pattern); found != std::string::npos;
         found = lowercased.find(pattern, start)) {
        result.append(text, start, found - start).append(replacement);
        start = found + pattern.size();
    }
    return result.append(text, start);
}

}  // namespace

std::string vkt_HTMLByInjectingScript(std::string_view html, const VKTURL& scriptURL,
                                      bool forceEndOfHTMLInjection) {
    const std::string tag = "<script src=\"" + scriptURL.absoluteString() + "\"></script>";
    if (!forceEndOfHTMLInjection) {
        if (VKTHTMLUtils::containsClosingHEADTagInScript(html))
            return replacingIgnoringCase(html, "</head>", tag + "</head>");
        if (VKTHTMLUtils::containsOpeningBODYTagInScript(html))
            return replacingIgnoringCase(html, "<body", "<head>" + tag + "</head><body");
    }
    if (VKTHTMLUtils::containsClosingHTMLTagInScript(html))
        return replacingIgnoringCase(html, "</html>", tag + "</html>");
    return std::string(html) + tag;
}

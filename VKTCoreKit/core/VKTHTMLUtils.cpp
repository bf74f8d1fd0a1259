#include "VKTCoreKit/core/VKTHTMLUtils.h"

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

bool containsIgnoringCase(std::string_view script, std::string_view lowercasedText) {
    return vkt_lowercased(script).find(lowercasedText) != std::string::npos;
}

}  // namespace

bool VKTHTMLUtils::containsMRAIDBridgeSingleQuoteInScript(std::string_view script) {
    return containsIgnoringCase(script, "'mraid.js'");
}

bool VKTHTMLUtils::containsMRAIDBridgeDoubleQuoteInScript(std::string_view script) {
    return containsIgnoringCase(script, "\"mraid.js\"");
}

bool VKTHTMLUtils::containsClosingHEADTagInScript(std::string_view script) {
    return containsIgnoringCase(script, "</head>");
}

bool VKTHTMLUtils::containsOpeningBODYTagInScript(std::string_view script) {
    return containsIgnoringCase(script, "<body");
}

bool VKTHTMLUtils::containsOpeningHTMLTagInScript(std::string_view script) {
    return containsIgnoringCase(script, "<html");
}

bool VKTHTMLUtils::containsClosingHTMLTagInScript(std::string_view script) {
    return containsIgnoringCase(script, "</html");
}

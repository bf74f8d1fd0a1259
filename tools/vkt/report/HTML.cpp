#include "report/HTML.h"

#include "VKTCoreKit/foundation/VKTText.h"

HTML HTML::openingTag(const char* name, Attributes attributes) {
    HTML html;
    html.markup_.append("<").append(name);
    for (const auto& [attribute, value] : attributes) {
        html.markup_.append(" ").append(attribute);
        if (!value.empty()) html.markup_.append("=\"").append(escaped(value)).append("\"");
    }
    html.markup_.append(">");
    return html;
}

std::string HTML::escaped(std::string_view text) {
    std::string result;
    for (const char c : vkt_onOneLine(text)) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            case '\'':
                result += "&#39;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

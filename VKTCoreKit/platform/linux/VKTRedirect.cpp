#include "VKTCoreKit/platform/linux/VKTRedirect.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

using ParsedURL = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

ParsedURL parse(const std::string& url) {
    ParsedURL parsed(curl_url(), curl_url_cleanup);
    curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME | CURLU_PATH_AS_IS);
    return parsed;
}

// Empty when the URL does not have it.
std::string partOf(const ParsedURL& url, CURLUPart part, unsigned flags) {
    char* text = nullptr;
    if (curl_url_get(url.get(), part, &text, flags) != CURLUE_OK) return "";
    std::string copy(text);
    curl_free(text);
    return copy;
}

}  // namespace

std::string_view vkt_schemeOfReference(std::string_view reference) {
    const auto isSchemeCharacter = [](char c) {
        return vkt_isLetter(c) || vkt_isDigit(c) || c == '+' || c == '-' || c == '.';
    };
    if (reference.empty() || !vkt_isLetter(reference.front())) return {};
    const auto* const end = std::find_if_not(reference.begin(), reference.end(), isSchemeCharacter);
    if (end == reference.end() || *end != ':') return {};
    return reference.substr(0, static_cast<std::size_t>(end - reference.begin()));
}

bool vkt_resolveReference(const std::string& base, const std::string& reference, std::string& text) {
    const ParsedURL url = parse(base);
    const CURLUcode code = curl_url_set(url.get(), CURLUPART_URL, reference.c_str(),
                                        CURLU_URLENCODE | CURLU_ALLOW_SPACE | CURLU_PATH_AS_IS);
    text = code == CURLUE_OK ? partOf(url, CURLUPART_URL, 0) : curl_url_strerror(code);
    return code == CURLUE_OK;
}

VKTOrigin vkt_originOf(const std::string& url) {
    const ParsedURL parsed = parse(url);
    return {vkt_lowercased(partOf(parsed, CURLUPART_SCHEME, 0)),
            vkt_lowercased(partOf(parsed, CURLUPART_HOST, 0)),
            partOf(parsed, CURLUPART_PORT, CURLU_DEFAULT_PORT)};
}

VKTCredentials vkt_credentialsOf(const std::string& url) {
    const ParsedURL parsed = parse(url);
    return {partOf(parsed, CURLUPART_USER, CURLU_URLDECODE),
            partOf(parsed, CURLUPART_PASSWORD, CURLU_URLDECODE)};
}

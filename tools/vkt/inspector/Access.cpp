#include "inspector/Access.h"

#include <httplib.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

constexpr int tokenBytes = 16;

// Of "HOST", "HOST:PORT" and "[HOST]:PORT".
std::string_view hostOf(std::string_view authority) {
    const bool isBracketed = authority.starts_with('[');
    const std::size_t colon = isBracketed ? authority.find(']') : authority.rfind(':');
    if (colon == std::string_view::npos) return authority;
    return isBracketed ? authority.substr(1, colon - 1) : authority.substr(0, colon);
}

// A page of another site has sent it; programs tell neither.
bool isOfAnotherSite(const httplib::Request& request) {
    if (request.get_header_value("Sec-Fetch-Site") == "cross-site") return true;
    if (!request.has_header("Origin")) return false;
    const std::string origin = request.get_header_value("Origin");
    const std::size_t scheme = origin.find("://");  // there may be a proxy with https before this server
    return scheme == std::string::npos ||
           !vkt_equalsIgnoringCase(origin.substr(scheme + 3), request.get_header_value("Host"));
}

// A browser sends it for a page, of whichever site: the pictures and videos that the inspector itself shows
// stand where a document says. For an address that a person has typed it tells "none".
bool isOfPage(const httplib::Request& request) {
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    return request.has_header("Origin") || (!site.empty() && site != "none");
}

}  // namespace

Access::Access(const std::string& address) : token_(vkt_isLoopbackHost(address) ? "" : makeToken()) {}

std::string Access::makeToken() {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto random = VKTPlatform::current().random;
    std::string token;
    for (int digit = 0; digit < 2 * tokenBytes; ++digit)
        token += digits[random->uniform(std::uint32_t{digits.size()})];
    return token;
}

// In the same time wherever the first difference is.
bool Access::isToken(const std::string& text) const {
    if (text.size() != token_.size()) return false;
    unsigned difference = 0;
    for (std::size_t place = 0; place < text.size(); ++place)
        difference |= static_cast<unsigned>(text[place]) ^ static_cast<unsigned>(token_[place]);
    return difference == 0;
}

std::optional<std::string> Access::problemOfReading(const httplib::Request& request) const {
    if (isLoopback() && !vkt_isLoopbackHost(hostOf(request.get_header_value("Host"))))
        return "This server answers as localhost, 127.0.0.1 or [::1] only.";
    return std::nullopt;
}

std::optional<std::string> Access::problemOfUse(const httplib::Request& request) const {
    if (auto problem = problemOfReading(request)) return problem;
    if (isOfAnotherSite(request)) return "Pages of other sites may not use this server.";
    if (!isLoopback() && !isToken(request.get_header_value(tokenHeader)))
        return "The token is missing or wrong: open the address that vkt serve has printed.";
    return std::nullopt;
}

std::optional<std::string> Access::problemOfTelling(const httplib::Request& request) const {
    if (auto problem = problemOfReading(request)) return problem;
    if (isOfPage(request)) return "No page may change this: ask by a program, or type the address.";
    const bool hasToken = isLoopback() || isToken(request.get_header_value(tokenHeader)) ||
                          isToken(request.get_param_value("token"));
    if (!hasToken) return "This wants &token=TOKEN, the one that vkt serve has printed.";
    return std::nullopt;
}

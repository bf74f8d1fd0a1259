#include "VKTCoreKit/platform/linux/VKTRequestHeaders.h"

#include <algorithm>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

auto findHeader(std::string_view name, const VKTHeaderFields& headers) {
    return std::find_if(headers.begin(), headers.end(),
                        [&](const auto& header) { return vkt_equalsIgnoringCase(header.first, name); });
}

void joinHeader(const std::string& name, const std::string& value, VKTHeaderFields& headers) {
    const auto found = findHeader(name, headers);
    if (found == headers.end()) {
        headers.emplace_back(name, value);
    } else {
        headers[static_cast<std::size_t>(found - headers.begin())].second.append(",").append(value);
    }
}

}  // namespace

const std::string* vkt_headerNamed(std::string_view name, const VKTHeaderFields& headers) {
    const auto found = findHeader(name, headers);
    return found == headers.end() ? nullptr : &found->second;
}

VKTHeaderFields vkt_requestHeaders(const VKTURLRequest& request, const VKTHTTPSessionOptions& options) {
    VKTHeaderFields headers;
    for (const auto& [name, value] : request.headers)
        joinHeader(name, value, headers);
    for (const auto& [name, value] : options.headers) {
        if (vkt_headerNamed(name, request.headers) == nullptr) joinHeader(name, value, headers);
    }
    if (!options.userAgent.empty() && vkt_headerNamed("User-Agent", headers) == nullptr)
        headers.emplace_back("User-Agent", options.userAgent);
    if (request.cachePolicy == VKTURLRequestReloadIgnoringLocalAndRemoteCacheData) {
        joinHeader("Cache-Control", "no-cache", headers);
        joinHeader("Pragma", "no-cache", headers);
    }
    return headers;
}

bool vkt_belongsToOneOrigin(std::string_view headerName) {
    return vkt_equalsIgnoringCase(headerName, "Authorization") ||
           vkt_equalsIgnoringCase(headerName, "Cookie") || vkt_equalsIgnoringCase(headerName, "Host");
}

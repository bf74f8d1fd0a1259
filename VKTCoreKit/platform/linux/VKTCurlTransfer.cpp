#include "VKTCoreKit/platform/linux/VKTCurlTransfer.h"

#include <ifaddrs.h>
#include <net/if.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

constexpr bool isRedirectStatus(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

bool isLoopbackHost(std::string_view host) {
    return vkt_equalsIgnoringCase(host, "localhost") || host.starts_with("127.") || host == "::1";
}

bool hasNetworkInterface() {
    ifaddrs* interfaces = nullptr;
    if (getifaddrs(&interfaces) != 0) return true;
    bool isUp = false;
    for (const ifaddrs* each = interfaces; each != nullptr; each = each->ifa_next) {
        isUp = isUp || ((each->ifa_flags & IFF_UP) != 0 && (each->ifa_flags & IFF_LOOPBACK) == 0);
    }
    freeifaddrs(interfaces);
    return isUp;
}

}  // namespace

bool vkt_isHTTPScheme(std::string_view scheme) {
    return vkt_equalsIgnoringCase(scheme, "http") || vkt_equalsIgnoringCase(scheme, "https");
}

VKTError vkt_transferError(VKTURLErrorCode code, const char* what, const VKTURL& url,
                           std::string_view reason) {
    std::string text = what;
    if (const auto host = url.host()) text.append(" (").append(*host).append(")");
    if (!reason.empty()) text.append(": ").append(reason);
    return {VKTURLErrorDomain, code, {{VKTLocalizedDescriptionKey, std::move(text)}}};
}

VKTCurlTransfer::VKTCurlTransfer(const VKTHTTPSessionOptions& options)
    : options_(options), easy_(curl_easy_init()) {}

VKTCurlTransfer::~VKTCurlTransfer() {
    curl_easy_cleanup(easy_);
    curl_slist_free_all(headers_);
}

void VKTCurlTransfer::prepare(const VKTURLRequest& request, void* owner) {
    request_ = &request;
    if (!std::exchange(hasBehaviour_, true)) setBehaviour();
    set(CURLOPT_PRIVATE, owner);
    setRequest(request);
}

VKTCurlResult VKTCurlTransfer::result(CURLcode code) {
    if (code == CURLE_OK) {
        auto response = takeResponse();
        return {std::make_shared<const std::string>(std::move(body_)), std::move(response), std::nullopt};
    }
    VKTError error = errorForCode(code);
    return {nullptr, takeFinalResponse(), std::move(error)};
}

std::shared_ptr<const VKTURLResponse> VKTCurlTransfer::takeFinalResponse() {
    const bool hasLocation =
        std::any_of(response_.headers.begin(), response_.headers.end(),
                    [](const auto& header) { return vkt_equalsIgnoringCase(header.first, "Location"); });
    const bool isFinal =
        response_.statusCode >= 200 && !(isRedirectStatus(response_.statusCode) && hasLocation);
    return isHeaderComplete_ && isFinal ? takeResponse() : nullptr;
}

void VKTCurlTransfer::clear() {
    // What a plain GET sets is overwritten by the next request; everything else starts anew.
    if (request_->HTTPMethod != "GET" || request_->HTTPBody || headers_ != nullptr) {
        curl_easy_reset(easy_);
        hasBehaviour_ = false;
    }
    curl_slist_free_all(headers_);
    headers_ = nullptr;
    request_ = nullptr;
    body_ = {};
    receivedLength_ = 0;
    response_ = {};
    isHeaderComplete_ = false;
    isBodyTooLarge_ = false;
    reason_.front() = '\0';
}

void VKTCurlTransfer::setBehaviour() {
    set(CURLOPT_ERRORBUFFER, reason_.data());
    set(CURLOPT_WRITEFUNCTION, &VKTCurlTransfer::receiveBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_HEADERFUNCTION, &VKTCurlTransfer::receiveHeader);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, static_cast<long>(VKTHTTPRedirectLimit));
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_ACCEPT_ENCODING, "");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L);  // a resolver that is still busy is left behind, not joined
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set(CURLOPT_PROXY, options_.proxy.c_str());
    set(CURLOPT_NOPROXY, "localhost,127.0.0.0/8,::1");
    if (!options_.userAgent.empty()) set(CURLOPT_USERAGENT, options_.userAgent.c_str());
    if (!options_.CAFile.empty()) set(CURLOPT_CAINFO, options_.CAFile.c_str());
}

void VKTCurlTransfer::setRequest(const VKTURLRequest& request) {
    set(CURLOPT_URL, request.url.absoluteString().c_str());
    const std::chrono::duration<double, std::milli> timeout = request.timeoutInterval;
    const long milliseconds = static_cast<long>(std::min(std::ceil(timeout.count()), double{INT_MAX}));
    set(CURLOPT_TIMEOUT_MS, milliseconds);
    set(CURLOPT_CONNECTTIMEOUT_MS, milliseconds);
    setMethod(request);
    for (const auto& [name, value] : request.headers)
        addHeader(name, value);
    if (request.cachePolicy == VKTURLRequestReloadIgnoringLocalAndRemoteCacheData) {
        addHeader("Cache-Control", "no-cache");
        addHeader("Pragma", "no-cache");
    }
    set(CURLOPT_HTTPHEADER, headers_);
}

void VKTCurlTransfer::setMethod(const VKTURLRequest& request) {
    const std::string& method = request.HTTPMethod;
    if (request.HTTPBody || method == "POST") {
        const std::string_view body = request.HTTPBody ? std::string_view(*request.HTTPBody) : "";
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        set(CURLOPT_POSTFIELDS, body.data());
        addHeaderLine("Expect:");  // no waiting for a "100 Continue"
        // A custom method would survive the redirects that turn POST into GET.
        if (method != "POST") set(CURLOPT_CUSTOMREQUEST, method.c_str());
    } else if (method == "HEAD") {
        set(CURLOPT_NOBODY, 1L);
    } else if (method != "GET") {
        set(CURLOPT_CUSTOMREQUEST, method.c_str());
    }
}

void VKTCurlTransfer::addHeader(std::string_view name, std::string_view value) {
    std::string line(name);
    // An empty value is written with a semicolon; a colon alone would remove the header.
    if (value.empty()) {
        line += ';';
    } else {
        line.append(": ").append(value);
    }
    // A line break would begin another header.
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; }, ' ');
    addHeaderLine(line.c_str());
}

void VKTCurlTransfer::addHeaderLine(const char* line) {
    headers_ = curl_slist_append(headers_, line);
}

std::size_t VKTCurlTransfer::receiveBody(char* bytes, std::size_t size, std::size_t count, void* userData) {
    VKTCurlTransfer& transfer = *static_cast<VKTCurlTransfer*>(userData);
    const std::size_t length = size * count;
    transfer.receivedLength_ += length;
    if (transfer.receivedLength_ > VKTHTTPBodyLimit) {
        transfer.isBodyTooLarge_ = true;
        return 0;
    }
    const std::size_t keepLimit = transfer.request_->bodyKeepLimit;
    const std::size_t room = keepLimit - std::min(keepLimit, transfer.body_.size());
    transfer.body_.append(bytes, std::min(length, room));
    return length;
}

std::size_t VKTCurlTransfer::receiveHeader(char* bytes, std::size_t size, std::size_t count, void* userData) {
    VKTCurlTransfer& transfer = *static_cast<VKTCurlTransfer*>(userData);
    transfer.addResponseLine(vkt_trimmed(std::string_view(bytes, size * count)));
    return size * count;
}

// Each answer of a chain of redirects begins anew; lines after the header are trailers.
void VKTCurlTransfer::addResponseLine(std::string_view line) {
    if (line.starts_with("HTTP/")) {
        response_ = {};
        response_.statusCode =
            static_cast<int>(vkt_integerValue(line.substr(std::min(line.find(' '), line.size()))));
        isHeaderComplete_ = false;
    } else if (line.empty()) {
        isHeaderComplete_ = true;
    } else if (const std::size_t colon = line.find(':');
               colon != std::string_view::npos && !isHeaderComplete_) {
        response_.headers.emplace_back(line.substr(0, colon), vkt_trimmed(line.substr(colon + 1)));
    }
}

std::shared_ptr<const VKTURLResponse> VKTCurlTransfer::takeResponse() {
    response_.url = finalURL();
    return std::make_shared<const VKTURLResponse>(std::move(response_));
}

VKTURL VKTCurlTransfer::finalURL() const {
    const VKTURL& requested = request_->url;
    long redirects = 0;
    const char* text = nullptr;
    curl_easy_getinfo(easy_, CURLINFO_REDIRECT_COUNT, &redirects);
    if (redirects == 0) return requested;
    curl_easy_getinfo(easy_, CURLINFO_EFFECTIVE_URL, &text);
    auto url = VKTURL::URLWithString(text);
    if (!url) url = VKTURL::URLWithDocumentText(text);
    return url.value_or(requested);
}

VKTError VKTCurlTransfer::errorForCode(CURLcode code) const {
    const VKTURL url = finalURL();
    const std::string_view reason = reason_.front() != '\0' ? reason_.data() : curl_easy_strerror(code);
    const auto error = [&](VKTURLErrorCode errorCode, const char* what) {
        return vkt_transferError(errorCode, what, url, reason);
    };
    switch (code) {
        case CURLE_URL_MALFORMAT:
            return error(VKTURLErrorBadURL, "bad URL");
        case CURLE_OPERATION_TIMEDOUT:
            return error(VKTURLErrorTimedOut, "timed out");
        case CURLE_UNSUPPORTED_PROTOCOL:
            // Also what an answer without a header (HTTP/0.9) is reported as.
            return vkt_isHTTPScheme(url.scheme().value_or(""))
                       ? error(VKTURLErrorBadServerResponse, "malformed answer")
                       : error(VKTURLErrorUnsupportedURL, "unsupported URL scheme");
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_RESOLVE_PROXY:
            return isOffline(url) ? error(VKTURLErrorNotConnectedToInternet, "not connected")
                                  : error(VKTURLErrorCannotFindHost, "cannot find host");
        case CURLE_COULDNT_CONNECT:
            return isOffline(url) ? error(VKTURLErrorNotConnectedToInternet, "not connected")
                                  : error(VKTURLErrorCannotConnectToHost, "cannot connect to host");
        case CURLE_GOT_NOTHING:
        case CURLE_PARTIAL_FILE:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
        case CURLE_HTTP2_STREAM:
            return error(VKTURLErrorNetworkConnectionLost, "connection lost");
        case CURLE_TOO_MANY_REDIRECTS:
            return error(VKTURLErrorHTTPTooManyRedirects, "too many redirects");
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_ENGINE_NOTFOUND:
        case CURLE_SSL_ENGINE_SETFAILED:
        case CURLE_SSL_ENGINE_INITFAILED:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_INVALIDCERTSTATUS:
        case CURLE_PEER_FAILED_VERIFICATION:
            return error(VKTURLErrorSecureConnectionFailed, "secure connection failed");
        default:
            return isBodyTooLarge_
                       ? vkt_transferError(VKTURLErrorDataLengthExceedsMaximum, "body too large", url)
                       : error(VKTURLErrorBadServerResponse, "malformed answer");
    }
}

bool VKTCurlTransfer::isOffline(const VKTURL& url) const {
    if (isLoopbackHost(url.host().value_or(""))) return false;
    long systemError = 0;
    curl_easy_getinfo(easy_, CURLINFO_OS_ERRNO, &systemError);
    return systemError == ENETUNREACH || !hasNetworkInterface();
}

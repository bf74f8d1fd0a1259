#include "VKTCoreKit/platform/linux/VKTTransferError.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

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

bool isOffline(const VKTURL& url, long systemError) {
    if (vkt_isLoopbackHost(url.host().value_or(""))) return false;
    return systemError == ENETUNREACH || !hasNetworkInterface();
}

// libcurl does not say that it got no socket, so another one is asked for.
bool isOutOfDescriptors() {
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (probe < 0) return errno == EMFILE || errno == ENFILE;
    close(probe);
    return false;
}

VKTError connectionError(VKTURLErrorCode code, const char* what, long systemError, const VKTURL& url,
                         std::string_view reason) {
    if (isOutOfDescriptors()) {
        return vkt_transferError(VKTURLErrorCannotConnectToHost, "no connection could be opened", url,
                                 "the process or the system has too many open files; close some, or raise "
                                 "the limit (RLIMIT_NOFILE)");
    }
    if (isOffline(url, systemError))
        return vkt_transferError(VKTURLErrorNotConnectedToInternet, "not connected", url, reason);
    return vkt_transferError(code, what, url, reason);
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

VKTError vkt_errorForCurlCode(CURLcode code, long systemError, const VKTURL& url, std::string_view reason) {
    switch (code) {
        case CURLE_URL_MALFORMAT:
            return vkt_transferError(VKTURLErrorBadURL, "bad URL", url, reason);
        case CURLE_OPERATION_TIMEDOUT:
            return vkt_transferError(VKTURLErrorTimedOut, "timed out", url, reason);
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_RESOLVE_PROXY:
            return connectionError(VKTURLErrorCannotFindHost, "cannot find host", systemError, url, reason);
        case CURLE_COULDNT_CONNECT:
        case CURLE_FAILED_INIT:
        case CURLE_OUT_OF_MEMORY:
            return connectionError(VKTURLErrorCannotConnectToHost, "cannot connect to host", systemError, url,
                                   reason);
        case CURLE_GOT_NOTHING:
        case CURLE_PARTIAL_FILE:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
        case CURLE_HTTP2_STREAM:
            return vkt_transferError(VKTURLErrorNetworkConnectionLost, "connection lost", url, reason);
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
            return vkt_transferError(VKTURLErrorSecureConnectionFailed, "secure connection failed", url,
                                     reason);
        default:
            return vkt_transferError(VKTURLErrorBadServerResponse, "malformed answer", url, reason);
    }
}

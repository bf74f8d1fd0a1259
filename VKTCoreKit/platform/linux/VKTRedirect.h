// Where a redirect leads.
#pragma once

#include <string>
#include <string_view>

/// True for the statuses that lead on when a Location is there; every other 3xx is an answer like any other.
constexpr bool vkt_isRedirectStatus(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

/// Scheme, host and port: what credentials are meant for.
struct VKTOrigin {
    std::string scheme;
    std::string host;
    std::string port;

    friend bool operator==(const VKTOrigin&, const VKTOrigin&) = default;
};

struct VKTCredentials {
    std::string user;
    std::string password;
};

/// The scheme that a reference begins with; empty when it is a relative one.
std::string_view vkt_schemeOfReference(std::string_view reference);

/// An absolute URL for a reference found at `base`. False when it is none: then `text` is the reason.
bool vkt_resolveReference(const std::string& base, const std::string& reference, std::string& text);

/// In lower case, with the scheme's port when the URL names none.
VKTOrigin vkt_originOf(const std::string& url);

/// What stands before the host, decoded; empty when nothing does.
VKTCredentials vkt_credentialsOf(const std::string& url);

#include "VKTCoreKit/core/VKTURLUtils.h"

#include <algorithm>
#include <array>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

constexpr std::string_view internalScheme = "qiv";
constexpr std::array<std::string_view, 3> mapsSchemes{"comgooglemaps", "comgooglemaps-x-callback",
                                                      "comgooglemapsurl"};

enum class Service : std::uint8_t { Maps, Video, AppStore, ITunes, Phobos };

struct PublicHost {
    Service service;
    std::string_view name;
};

// The public hosts that are told apart.
constexpr std::array<PublicHost, 7> publicHosts{{
    {Service::Maps, "maps.google.com"},
    {Service::Maps, "maps.apple.com"},
    {Service::Video, "www.youtube.com"},
    {Service::AppStore, "appstore.com"},
    {Service::AppStore, "apps.apple.com"},
    {Service::ITunes, "itunes.apple.com"},
    {Service::Phobos, "phobos.apple.com"},
}};

bool startsWithRoot(const VKTURL& url, std::string_view scheme, Service service) {
    return std::any_of(publicHosts.begin(), publicHosts.end(), [&](const PublicHost& host) {
        return host.service == service &&
               url.absoluteString().starts_with(vkt_stringWithFormat("%@://%@/", {scheme, host.name}));
    });
}

bool startsWithWebRoot(const VKTURL& url, Service service) {
    return startsWithRoot(url, "http", service) || startsWithRoot(url, "https", service);
}

bool isMapsURL(const VKTURL& url) {
    const auto scheme = url.scheme();
    return (scheme && std::find(mapsSchemes.begin(), mapsSchemes.end(), *scheme) != mapsSchemes.end()) ||
           startsWithWebRoot(url, Service::Maps);
}

std::optional<std::int64_t> identifierFromText(std::string_view text) {
    const std::int64_t identifier = vkt_integerValue(text);
    return identifier == 0 ? std::nullopt : std::optional(identifier);
}

std::string_view withoutTrailingSlashes(std::string_view text) {
    while (VKTURLUtils::canAddPath(text))
        text.remove_suffix(1);
    return text;
}

std::string queryOfParameters(const VKTDictionary& parameters) {
    const auto encoded = [](std::string_view text) {
        return vkt_addingPercentEncoding(text, VKTURLCharacterSet::QueryItemAllowed);
    };
    // Keys are unique, so sorting by them alone settles the order.
    std::map<std::string_view, const VKTValue*> sorted;
    for (const auto& [key, value] : parameters)
        sorted.emplace(key, &value);
    std::vector<std::string> items;
    items.reserve(sorted.size());
    for (const auto& [key, value] : sorted)
        items.push_back(encoded(key) + "=" + encoded(value->description()));
    return vkt_joined(items, "&");
}

// The URL with another query, or the first one.
std::string textWithQuery(const VKTURL& url, const std::string& query) {
    const std::string& text = url.absoluteString();
    const std::size_t fragment = std::min(text.find('#'), text.size());
    const std::size_t end = std::min(text.find('?'), fragment);
    return text.substr(0, end) + "?" + query + text.substr(fragment);
}

}  // namespace

bool vkt_isValid(const VKTURL& url) {
    return url.scheme() && url.host();
}

std::optional<VKTURL> VKTURLUtils::buildURLWithBaseURLString(std::string_view base,
                                                             std::optional<std::string_view> path,
                                                             const VKTDictionary& parameters) {
    if (base.empty()) return std::nullopt;
    std::string text(withoutTrailingSlashes(base));
    if (!path || !path->starts_with('/')) text.push_back('/');
    text.append(path.value_or(""));

    auto url = VKTURL::URLWithString(text);
    if (!url || parameters.empty()) return url;
    return VKTURL::URLWithString(textWithQuery(*url, queryOfParameters(parameters)));
}

bool VKTURLUtils::canAddPath(std::string_view string) {
    return string.ends_with('/');
}

std::string VKTURLUtils::removeLastSlashFromString(std::string_view string) {
    if (string.ends_with('/')) string.remove_suffix(1);
    return std::string(string);
}

VKTURL VKTURLUtils::replaceMacro(std::string_view macro, const VKTURL& inURL, std::string_view byString,
                                 bool addBrackets) {
    const auto decoded = vkt_removingPercentEncoding(inURL.absoluteString());
    if (!decoded) return inURL;
    const std::string pattern = addBrackets ? vkt_stringWithFormat("[%@]", {macro}) : std::string(macro);
    return VKTURL::URLWithString(vkt_replacingOccurrences(*decoded, pattern, byString)).value_or(inURL);
}

VKTURL VKTURLUtils::replaceMacros(const std::map<std::string, std::string>& macros, const VKTURL& inURL) {
    VKTURL url = inURL;
    for (const auto& [macro, value] : macros)
        url = replaceMacro(macro, url, value, true);
    return url;
}

std::vector<VKTURL> VKTURLUtils::arrayOfURLsWithCommaSeparatedString(std::string_view string) {
    std::vector<VKTURL> urls;
    const std::string text = vkt_removingWhiteSpace(string);
    for (const std::string_view piece : vkt_split(text, ',')) {
        if (auto url = VKTURL::URLWithString(piece)) urls.push_back(std::move(*url));
    }
    return urls;
}

VKTURLType VKTURLUtils::URLType(const VKTURL& url) {
    if (url.absoluteString().empty()) return VKTURLTypeInvalid;
    const auto scheme = url.scheme();
    if (scheme == internalScheme) return VKTURLTypeInternal;
    if (isMapsURL(url)) return VKTURLTypeMaps;
    if (scheme == "sms") return VKTURLTypeSMS;
    if (scheme == "tel") return VKTURLTypePhone;
    if (startsWithWebRoot(url, Service::Video)) return VKTURLTypeYouTube;
    if (isAppStoreURL(url)) return VKTURLTypeAppStore;
    if (url.absoluteString().starts_with("mailto")) return VKTURLTypeMail;
    if (!URLHasHTTPScheme(url)) return VKTURLTypeOther;
    if (URLHasVideoExtension(url)) return VKTURLTypeVideo;
    if (URLHasPassbookExtension(url)) return VKTURLTypePassbook;
    return VKTURLTypeWeb;
}

VKTAppStoreURLType VKTURLUtils::appStoreURLType(const VKTURL& url) {
    if (startsWithWebRoot(url, Service::AppStore)) return VKTAppStoreURLTypeAppStore;
    if (startsWithWebRoot(url, Service::ITunes) || startsWithRoot(url, "itms-apps", Service::ITunes)) {
        return VKTAppStoreURLTypeITunes;
    }
    if (startsWithWebRoot(url, Service::Phobos)) return VKTAppStoreURLTypePhobos;
    return VKTAppStoreURLTypeNone;
}

bool VKTURLUtils::isAppStoreURL(const VKTURL& url) {
    return appStoreURLType(url) != VKTAppStoreURLTypeNone;
}

bool VKTURLUtils::isValidAppStoreURL(const VKTURL& url) {
    return isAppStoreURL(url) && appStoreAppId(url).has_value();
}

std::optional<std::int64_t> VKTURLUtils::appStoreAppId(const VKTURL& url) {
    switch (appStoreURLType(url)) {
        case VKTAppStoreURLTypeAppStore:
        case VKTAppStoreURLTypeITunes:
            return appIdentifierForAppStoreAndiTunesURL(url);
        case VKTAppStoreURLTypePhobos:
            return appIdentifierForPhobosURL(url);
        case VKTAppStoreURLTypeNone:
            break;
    }
    return std::nullopt;
}

std::optional<std::int64_t> VKTURLUtils::appIdentifierForAppStoreAndiTunesURL(const VKTURL& url) {
    const std::string_view path = withoutTrailingSlashes(url.path());
    const std::string component = vkt_lowercased(path.substr(path.rfind('/') + 1));
    return identifierFromText(vkt_replacingOccurrences(component, "id", ""));
}

std::optional<std::int64_t> VKTURLUtils::appIdentifierForPhobosURL(const VKTURL& url) {
    return identifierFromText(valueForKey("id", url).value_or(""));
}

bool VKTURLUtils::URLHasScheme(const VKTURL& url) {
    return url.scheme().has_value();
}

bool VKTURLUtils::URLHasHTTPScheme(const VKTURL& url) {
    const auto scheme = url.scheme();
    return scheme && (vkt_equalsIgnoringCase(*scheme, "http") || vkt_equalsIgnoringCase(*scheme, "https"));
}

std::optional<VKTURL> VKTURLUtils::URLByAddingHTTPSchemeTo(const VKTURL& url, bool secured) {
    return VKTURL::URLWithString((secured ? "https://" : "http://") + url.absoluteString());
}

std::optional<VKTURL> VKTURLUtils::URLByDeletingQuery(const VKTURL& url) {
    const auto query = url.query();
    if (!query) return url;
    std::string text = url.absoluteString();
    text.erase(static_cast<std::size_t>(query->data() - url.absoluteString().data()), query->size());
    return VKTURL::URLWithString(vkt_replacingOccurrences(text, "?", ""));
}

std::optional<VKTURL> VKTURLUtils::URLByDeletingLastPathComponentAndQuery(const VKTURL& url) {
    const auto withoutQuery = URLByDeletingQuery(url);
    if (!withoutQuery) return std::nullopt;
    const std::string_view path = withoutQuery->path();
    const std::string_view lastComponent = path.substr(path.rfind('/') + 1);
    std::string text = withoutQuery->absoluteString();
    text.erase(static_cast<std::size_t>(lastComponent.data() - withoutQuery->absoluteString().data()),
               lastComponent.size());
    return VKTURL::URLWithString(text);
}

std::optional<std::string> VKTURLUtils::valueForKey(std::string_view key, const VKTURL& fromURL) {
    for (VKTURLQueryItem& item : fromURL.queryItems()) {
        if (item.name == key) return std::move(item.value);
    }
    return std::nullopt;
}

bool VKTURLUtils::URLHasVideoExtension(const VKTURL& url) {
    const std::string text = vkt_lowercased(url.absoluteString());
    return text.ends_with(".mp4") || text.starts_with(".m4v");
}

bool VKTURLUtils::URLHasPassbookExtension(const VKTURL& url) {
    return vkt_lowercased(url.absoluteString()).ends_with(".pkpass");
}

// Building and classifying URLs, and filling their macros.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/foundation/VKTValue.h"

enum VKTURLType : std::uint8_t {
    VKTURLTypeInvalid = 0,
    VKTURLTypeWeb = 1,
    VKTURLTypeMaps = 2,
    VKTURLTypeSMS = 3,
    VKTURLTypePhone = 4,
    VKTURLTypeYouTube = 5,
    VKTURLTypeAppStore = 6,
    VKTURLTypeMail = 7,
    VKTURLTypeVideo = 8,
    VKTURLTypeInternal = 9,  ///< the library's own scheme, "qiv"
    VKTURLTypeOther = 10,
    VKTURLTypePassbook = 11,
};

enum VKTAppStoreURLType : std::uint8_t {
    VKTAppStoreURLTypeAppStore = 0,
    VKTAppStoreURLTypeITunes = 1,
    VKTAppStoreURLTypePhobos = 2,
    VKTAppStoreURLTypeNone = 3,
};

/// Whether the URL has both a scheme and a host.
VKT_EXPORT bool vkt_isValid(const VKTURL& url);

/// Pure functions, safe from any thread. "Parses" means the strict parser, `VKTURL::URLWithString`.
class VKT_EXPORT VKTURLUtils {
  public:
    /// The base without its trailing slashes, the path with one slash before it (a lone slash when there is
    /// no path), and a query of the parameters in byte order of their names, each value as its description;
    /// they replace a query that is already there. Nothing when the base is empty or the result does not
    /// parse.
    static std::optional<VKTURL> buildURLWithBaseURLString(std::string_view base,
                                                           std::optional<std::string_view> path,
                                                           const VKTDictionary& parameters = {});

    static bool canAddPath(std::string_view string);  ///< whether it ends in a slash
    static std::string removeLastSlashFromString(std::string_view string);

    /// Decodes the percent-escapes of the whole URL, whether or not the macro is there, and puts `byString`
    /// for each occurrence of the macro's name, with square brackets around it when `addBrackets`. The URL as
    /// it was when it does not decode or the result does not parse.
    static VKTURL replaceMacro(std::string_view macro, const VKTURL& inURL, std::string_view byString,
                               bool addBrackets = false);

    /// The same with brackets for each macro in turn, in byte order of the names.
    static VKTURL replaceMacros(const std::map<std::string, std::string>& macros, const VKTURL& inURL);

    /// The pieces that parse, white space removed first.
    static std::vector<VKTURL> arrayOfURLsWithCommaSeparatedString(std::string_view string);

    static VKTURLType URLType(const VKTURL& url);

    static VKTAppStoreURLType appStoreURLType(const VKTURL& url);
    static bool isAppStoreURL(const VKTURL& url);
    static bool isValidAppStoreURL(const VKTURL& url);  ///< of a store, and with an app identifier

    /// The app identifier of a store URL; nothing when there is none or it is 0.
    static std::optional<std::int64_t> appStoreAppId(const VKTURL& url);
    static std::optional<std::int64_t> appIdentifierForAppStoreAndiTunesURL(const VKTURL& url);
    static std::optional<std::int64_t> appIdentifierForPhobosURL(const VKTURL& url);

    static bool URLHasScheme(const VKTURL& url);
    static bool URLHasHTTPScheme(const VKTURL& url);  ///< http or https, in any case

    /// The URL's text after "https://", or "http://" unless `secured`; nothing when that does not parse.
    static std::optional<VKTURL> URLByAddingHTTPSchemeTo(const VKTURL& url, bool secured);

    /// The URL without its query and without any question mark; a URL without query as it is. Nothing when
    /// nothing is left.
    static std::optional<VKTURL> URLByDeletingQuery(const VKTURL& url);

    /// The same, and without what follows the last slash of its path.
    static std::optional<VKTURL> URLByDeletingLastPathComponentAndQuery(const VKTURL& url);

    /// The value of the first query item of that name, decoded.
    static std::optional<std::string> valueForKey(std::string_view key, const VKTURL& fromURL);

    /// Whether the URL's text ends in ".mp4" or begins with ".m4v", in any case.
    static bool URLHasVideoExtension(const VKTURL& url);
    static bool URLHasPassbookExtension(const VKTURL& url);  ///< ends in ".pkpass", in any case
};

// A URL that keeps its text exactly as given: no case folding, no added slash, no dot removal.
//
// Syntax: RFC 3986. A value; equal texts are equal URLs; safe from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"

/// Decoded name and value of one query item; an item without "=" has no value.
struct VKTURLQueryItem {
    std::string name;
    std::optional<std::string> value;
};

/// A text that is a URL, and its parts. A value; any thread.
///
/// ```cpp
/// auto parsed = VKTURL::URLWithString("https://ads.example.com/vast?slot=1");
/// if (parsed) std::cout << parsed->host().value_or("") << '\n';
/// auto tracker = VKTURL::URLWithDocumentText("https://t.example.com/?cb=[CACHEBUSTING]");
/// ```
class VKT_EXPORT VKTURL {
  public:
    /// The empty URL, which parses from no text.
    VKTURL() = default;

    /// "Parses as a URL", strictly: a non-empty text made only of RFC 3986 characters plus "[" and "]"; each
    /// "%" followed by two hexadecimal digits; one "#" at most; a port from 0 to 65535, or empty; brackets in
    /// the authority only around an IPv6 host (elsewhere they stay as they are). Relative references are
    /// accepted. Nothing when any of that fails.
    static std::optional<VKTURL> URLWithString(std::string_view text);

    /// Reads a URL text of an ad document, in which macros and stray characters are common: percent-encodes
    /// what RFC 3986 does not allow (square brackets outside the authority included, so "[CACHEBUSTING]"
    /// becomes "%5BCACHEBUSTING%5D"), leaves every valid escape alone, then parses strictly. Only an empty
    /// text or an unusable authority gives nothing.
    static std::optional<VKTURL> URLWithDocumentText(std::string_view text);

    /// The same URL with the square brackets outside its authority percent-encoded.
    [[nodiscard]] VKTURL URLByEncodingSquareBrackets() const&;
    [[nodiscard]] VKTURL URLByEncodingSquareBrackets() &&;

    /// The text as given.
    [[nodiscard]] const std::string& absoluteString() const { return text_; }

    /// The components as written, still percent-encoded; nothing when absent. An empty query ("http://h/?")
    /// is present. Views into this URL.
    [[nodiscard]] std::optional<std::string_view> scheme() const;
    [[nodiscard]] std::optional<std::string_view> host() const;  ///< without brackets; nothing when empty
    [[nodiscard]] std::optional<std::string_view> port() const;
    [[nodiscard]] std::string_view path() const;
    [[nodiscard]] std::optional<std::string_view> query() const;
    [[nodiscard]] std::optional<std::string_view> fragment() const;

    /// The path split at its slashes; an absolute path begins with "/". "/a/b/" gives "/", "a", "b", "/".
    [[nodiscard]] std::vector<std::string> pathComponents() const;

    /// The query's items in order, percent-decoded (an item that does not decode is kept as written).
    [[nodiscard]] std::vector<VKTURLQueryItem> queryItems() const;

    friend bool operator==(const VKTURL&, const VKTURL&) = default;

  private:
    explicit VKTURL(std::string text) : text_(std::move(text)) {}

    std::string text_;
};

/// Percent-encoding sets.
enum class VKTURLCharacterSet {
    QueryAllowed,      ///< A-Z a-z 0-9 - . _ ~ ! $ & ' ( ) * + , ; = : @ / ? (fragments allow the same)
    QueryItemAllowed,  ///< the same without & and =, for one name or value
};

/// Every byte outside the set as "%" and two upper-case hexadecimal digits.
VKT_EXPORT std::string vkt_addingPercentEncoding(std::string_view text, VKTURLCharacterSet allowed);

/// The text with its escapes decoded; nothing when an escape is malformed or the result is not UTF-8.
/// "+" is not a blank.
VKT_EXPORT std::optional<std::string> vkt_removingPercentEncoding(std::string_view text);

/// True for this device by its own name or address: "localhost" up to case, the dotted quads of 127.0.0.0/8,
/// "::1" with or without brackets. No name is looked up: "127.0.0.1.example.com" is somebody else.
VKT_EXPORT bool vkt_isLoopbackHost(std::string_view host);

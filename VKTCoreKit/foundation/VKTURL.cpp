#include "VKTCoreKit/foundation/VKTURL.h"

#include <algorithm>
#include <array>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

constexpr std::string_view unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";

using CharacterTable = std::array<bool, 256>;

constexpr CharacterTable tableOf(std::string_view more) {
    CharacterTable table{};
    for (const char c : unreserved)
        table[static_cast<unsigned char>(c)] = true;
    for (const char c : more)
        table[static_cast<unsigned char>(c)] = true;
    return table;
}

constexpr CharacterTable queryAllowed = tableOf("!$&'()*+,;=:@/?");
constexpr CharacterTable queryItemAllowed = tableOf("!$'()*+,;:@/?");
// What may stand anywhere in a URL; "%", "#", "[" and "]" have rules of their own.
constexpr CharacterTable urlAllowed = tableOf("!$&'()*+,;=:@/?");
constexpr CharacterTable plainHostAllowed = tableOf("");
constexpr CharacterTable registeredNameAllowed = tableOf("!$&'()*+,;=%");
constexpr CharacterTable userInfoAllowed = tableOf("!$&'()*+,;=:%");

bool contains(const CharacterTable& table, char c) {
    return table[static_cast<unsigned char>(c)];
}

bool containsAll(const CharacterTable& table, std::string_view text) {
    return std::all_of(text.begin(), text.end(), [&](char c) { return contains(table, c); });
}

void appendEncoded(std::string& result, char c) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    result.push_back('%');
    result.push_back(digits[byte >> 4U]);
    result.push_back(digits[byte & 0xFU]);
}

bool isEscape(std::string_view text, std::size_t percent) {
    return percent + 2 < text.size() && vkt_isHexDigit(text[percent + 1]) &&
           vkt_isHexDigit(text[percent + 2]);
}

// RFC 3986 section 3.1; the length without the colon, 0 when there is no scheme.
std::size_t schemeLength(std::string_view text) {
    if (text.empty() || !vkt_isLetter(text[0])) return 0;
    for (std::size_t i = 1; i < text.size(); ++i) {
        const char c = text[i];
        if (c == ':') return i;
        if (!vkt_isLetter(c) && !vkt_isDigit(c) && c != '+' && c != '-' && c != '.') return 0;
    }
    return 0;
}

struct Range {
    std::size_t start = 0;
    std::size_t end = 0;
};

// The authority (what stands between "//" and the path); nothing when there is no "//".
std::optional<Range> authorityRange(std::string_view text) {
    const std::size_t scheme = schemeLength(text);
    const std::size_t start = scheme == 0 ? 0 : scheme + 1;
    if (!text.substr(start).starts_with("//")) return std::nullopt;
    const auto* const end = std::find_if(text.begin() + static_cast<std::ptrdiff_t>(start) + 2, text.end(),
                                         [](char c) { return c == '/' || c == '?' || c == '#'; });
    return Range{start + 2, static_cast<std::size_t>(end - text.begin())};
}

// The path with everything after it.
std::string_view afterAuthority(std::string_view text) {
    if (const auto authority = authorityRange(text)) return text.substr(authority->end);
    const std::size_t scheme = schemeLength(text);
    return text.substr(scheme == 0 ? 0 : scheme + 1);
}

struct Authority {
    std::string_view host;  // with its brackets
    std::optional<std::string_view> port;
    std::string_view userInfo;
};

Authority splitAuthority(std::string_view text) {
    Authority result;
    const std::size_t at = text.rfind('@');
    if (at != std::string_view::npos) {
        result.userInfo = text.substr(0, at);
        text.remove_prefix(at + 1);
    }
    const std::size_t bracket = text.starts_with('[') ? text.find(']') : std::string_view::npos;
    const std::size_t colon = text.find(':', bracket == std::string_view::npos ? 0 : bracket);
    result.host = text.substr(0, colon);
    if (colon != std::string_view::npos) result.port = text.substr(colon + 1);
    return result;
}

bool isValidPort(std::string_view port) {
    return std::all_of(port.begin(), port.end(), vkt_isDigit) && vkt_integerValue(port) <= 65535;
}

// An IPv6 address in brackets, a zone identifier (RFC 6874) allowed. Checked for its characters only: the
// resolver has the last word.
bool isValidIPv6Host(std::string_view host) {
    if (!host.starts_with('[') || !host.ends_with(']')) return false;
    host = host.substr(1, host.size() - 2);
    const std::string_view address = host.substr(0, host.find('%'));
    return address.find(':') != std::string_view::npos &&
           containsAll(registeredNameAllowed, host.substr(address.size())) &&
           std::all_of(address.begin(), address.end(),
                       [](char c) { return vkt_isHexDigit(c) || c == ':' || c == '.'; });
}

bool isValidAuthority(std::string_view text) {
    if (containsAll(plainHostAllowed, text)) return true;  // most hosts
    const Authority authority = splitAuthority(text);
    const bool hostIsValid = authority.host.starts_with('[')
                                 ? isValidIPv6Host(authority.host)
                                 : containsAll(registeredNameAllowed, authority.host);
    return hostIsValid && containsAll(userInfoAllowed, authority.userInfo) &&
           isValidPort(authority.port.value_or(""));
}

// Where the run of characters that need no look ends, from `start` on.
std::size_t endOfPlainRun(std::string_view text, std::size_t start) {
    const auto* const end = std::find_if_not(text.begin() + static_cast<std::ptrdiff_t>(start), text.end(),
                                             [](char c) { return contains(urlAllowed, c); });
    return static_cast<std::size_t>(end - text.begin());
}

bool isValidAuthority(std::string_view text, Range authority) {
    return isValidAuthority(text.substr(authority.start, authority.end - authority.start));
}

bool hasValidAuthority(std::string_view text) {
    const auto authority = authorityRange(text);
    return !authority || isValidAuthority(text, *authority);
}

bool isStrictURL(std::string_view text) {
    if (text.empty()) return false;
    bool hasFragment = false;
    for (std::size_t i = endOfPlainRun(text, 0); i < text.size(); i = endOfPlainRun(text, i + 1)) {
        const char c = text[i];
        const bool isBracket = c == '[' || c == ']';
        const bool isFirstFragment = c == '#' && !std::exchange(hasFragment, true);
        if (!isBracket && !isFirstFragment && !(c == '%' && isEscape(text, i))) return false;
    }
    return hasValidAuthority(text);
}

// Percent-encodes what may not stand in a URL, and the square brackets outside the authority.
std::string encodedForURL(std::string_view text, Range authority) {
    std::string result;
    std::size_t start = 0;
    std::size_t i = endOfPlainRun(text, 0);
    if (i < text.size()) {
        result.reserve(text.size() + 32);
        bool hasFragment = false;
        for (; i < text.size(); i = endOfPlainRun(text, i + 1)) {
            const char c = text[i];
            const bool isBracket = c == '[' || c == ']';
            const bool isFirstFragment = c == '#' && !std::exchange(hasFragment, true);
            if (isFirstFragment || (c == '%' && isEscape(text, i)) ||
                (isBracket && i >= authority.start && i < authority.end)) {
                continue;
            }
            result.append(text, start, i - start);
            appendEncoded(result, c);
            start = i + 1;
        }
    }
    result.append(text, start);
    return result;
}

}  // namespace

std::optional<VKTURL> VKTURL::URLWithString(std::string_view text) {
    if (!isStrictURL(text)) return std::nullopt;
    return VKTURL(std::string(text));
}

std::optional<VKTURL> VKTURL::URLWithDocumentText(std::string_view text) {
    if (text.empty()) return std::nullopt;
    const auto authority = authorityRange(text);
    std::string encoded = encodedForURL(text, authority.value_or(Range{}));
    // Every character is now allowed where it stands. An authority that was valid needed no encoding.
    if (authority && !isValidAuthority(text, *authority) && !hasValidAuthority(encoded)) return std::nullopt;
    return VKTURL(std::move(encoded));
}

VKTURL VKTURL::URLByEncodingSquareBrackets() const& {
    return VKTURL(*this).URLByEncodingSquareBrackets();
}

VKTURL VKTURL::URLByEncodingSquareBrackets() && {
    const bool hasBracket = text_.find('[') != std::string::npos || text_.find(']') != std::string::npos;
    if (!hasBracket) return std::move(*this);
    return VKTURL(encodedForURL(text_, authorityRange(text_).value_or(Range{})));
}

std::optional<std::string_view> VKTURL::scheme() const {
    const std::size_t length = schemeLength(text_);
    if (length == 0) return std::nullopt;
    return std::string_view(text_).substr(0, length);
}

std::optional<std::string_view> VKTURL::host() const {
    const auto range = authorityRange(text_);
    if (!range) return std::nullopt;
    std::string_view host =
        splitAuthority(std::string_view(text_).substr(range->start, range->end - range->start)).host;
    if (host.starts_with('[')) host = host.substr(1, host.size() - 2);
    if (host.empty()) return std::nullopt;
    return host;
}

std::optional<std::string_view> VKTURL::port() const {
    const auto range = authorityRange(text_);
    if (!range) return std::nullopt;
    return splitAuthority(std::string_view(text_).substr(range->start, range->end - range->start)).port;
}

std::string_view VKTURL::path() const {
    const std::string_view rest = afterAuthority(text_);
    return rest.substr(0, rest.find_first_of("?#"));
}

std::optional<std::string_view> VKTURL::query() const {
    std::string_view rest = afterAuthority(text_);
    rest = rest.substr(0, rest.find('#'));
    const std::size_t mark = rest.find('?');
    if (mark == std::string_view::npos) return std::nullopt;
    return rest.substr(mark + 1);
}

std::optional<std::string_view> VKTURL::fragment() const {
    const std::size_t mark = text_.find('#');
    if (mark == std::string::npos) return std::nullopt;
    return std::string_view(text_).substr(mark + 1);
}

std::vector<std::string> VKTURL::pathComponents() const {
    std::vector<std::string> components;
    const std::string_view path = this->path();
    if (path.starts_with('/')) components.emplace_back("/");
    for (const std::string_view piece : vkt_split(path, '/')) {
        if (!piece.empty()) components.emplace_back(piece);
    }
    if (path.size() > 1 && path.ends_with('/') && components.back() != "/") components.emplace_back("/");
    return components;
}

std::vector<VKTURLQueryItem> VKTURL::queryItems() const {
    const auto decoded = [](std::string_view text) {
        return vkt_removingPercentEncoding(text).value_or(std::string(text));
    };
    std::vector<VKTURLQueryItem> items;
    const auto query = this->query();
    if (!query) return items;
    for (const std::string_view piece : vkt_split(*query, '&')) {
        const std::size_t equals = piece.find('=');
        VKTURLQueryItem item{decoded(piece.substr(0, equals)), std::nullopt};
        if (equals != std::string_view::npos) item.value = decoded(piece.substr(equals + 1));
        items.push_back(std::move(item));
    }
    return items;
}

std::string vkt_addingPercentEncoding(std::string_view text, VKTURLCharacterSet allowed) {
    const CharacterTable& table =
        allowed == VKTURLCharacterSet::QueryAllowed ? queryAllowed : queryItemAllowed;
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        if (contains(table, c)) {
            result.push_back(c);
        } else {
            appendEncoded(result, c);
        }
    }
    return result;
}

std::optional<std::string> vkt_removingPercentEncoding(std::string_view text) {
    const auto nibble = [](char c) {
        return static_cast<unsigned>(vkt_isDigit(c) ? c - '0' : (c | 0x20) - 'a' + 10);
    };
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result.push_back(text[i]);
            continue;
        }
        if (!isEscape(text, i)) return std::nullopt;
        result.push_back(static_cast<char>((nibble(text[i + 1]) << 4U) | nibble(text[i + 2])));
        i += 2;
    }
    if (!vkt_isValidUTF8(result)) return std::nullopt;
    return result;
}

bool vkt_isLoopbackHost(std::string_view host) {
    if (vkt_equalsIgnoringCase(host, "localhost") || host == "::1" || host == "[::1]") return true;
    const std::vector<std::string_view> numbers = vkt_split(host, '.');
    // A leading zero would make a number octal for some readers.
    const auto isByte = [](std::string_view text) {
        return !text.empty() && text.size() <= 3 && std::all_of(text.begin(), text.end(), vkt_isDigit) &&
               (text.size() == 1 || text.front() != '0') && vkt_integerValue(text) <= 255;
    };
    return numbers.size() == 4 && numbers.front() == "127" &&
           std::all_of(numbers.begin(), numbers.end(), isByte);
}

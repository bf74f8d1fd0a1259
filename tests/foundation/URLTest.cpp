#include "VKTCoreKit/foundation/VKTURL.h"

#include <gtest/gtest.h>

namespace {

VKTURL parsed(std::string_view text) {
    const auto url = VKTURL::URLWithString(text);
    EXPECT_TRUE(url) << text;
    return url.value_or(VKTURL());
}

TEST(URL, StrictParserKeepsTheTextAsGiven) {
    for (const char* text : {"http://host", "HTTP://HOST/a/../b//c", "//h/x", "a", "/a?b#c", "?q", "#f",
                             "mailto:a@b.c", "http://u:p@h:8080/", "http://h:/", "http://h:65535/",
                             "http://[::1]:80/", "http://[fe80::1%25eth0]/", "http://h/[M]?a=[M]#[M]",
                             "http://h/%41%c3%a4", "http://h/?a?b/c", "http:///x", "http://%41/"}) {
        EXPECT_EQ(parsed(text).absoluteString(), text);
    }
}

TEST(URL, StrictParserRefuses) {
    for (const char c : std::string_view("\0\x01 \"<>\\^`{|}\x7F\xC3", 14))
        EXPECT_FALSE(VKTURL::URLWithString(std::string("http://h/") + c)) << static_cast<int>(c);
    for (const char* text :
         {"", "http://h/%", "http://h/%4", "http://h/%4g", "http://h/#a#b", "http://h:65536/", "http://h:8a/",
          "http://h:99999999999999999999/", "http://[h]/", "http://[::1/", "http://::1]/", "http://[::1]x/",
          "http://a[b]/", "http://[u]@h/", "http://[fe80::1%25[x]]/", "http://a:b:c/"}) {
        EXPECT_FALSE(VKTURL::URLWithString(text)) << text;
    }
}

TEST(URL, ComponentsAreAsWritten) {
    const VKTURL full = parsed("hTTp://u:p@Host:80/a%20b/c?x=1?y#f?g");
    using Parts = std::vector<std::optional<std::string_view>>;
    EXPECT_EQ((Parts{full.scheme(), full.host(), full.port(), full.path(), full.query(), full.fragment()}),
              (Parts{"hTTp", "Host", "80", "/a%20b/c", "x=1?y", "f?g"}));
    EXPECT_EQ(parsed("http://[::1]:80").host(), "::1");
    EXPECT_EQ(parsed("http://[::1]:80").port(), "80");
    EXPECT_EQ(parsed("//h?q").host(), "h");
    EXPECT_EQ(parsed("mailto:a").path(), "a");
    EXPECT_EQ(parsed("http://h/?").query(), "");
    for (const char* text : {"a/b", "1http:x", ":x", "#a:b"})
        EXPECT_FALSE(parsed(text).scheme()) << text;
    for (const char* text : {"http:///x", "http://:80/", "mailto:a@b"})
        EXPECT_FALSE(parsed(text).host()) << text;
    EXPECT_FALSE(parsed("http://h/#?a").query());
    EXPECT_FALSE(parsed("http://h/").fragment());
}

TEST(URL, PathComponents) {
    using Components = std::vector<std::string>;
    EXPECT_EQ(parsed("http://h/a/b/?q").pathComponents(), (Components{"/", "a", "b", "/"}));
    EXPECT_EQ(parsed("http://h//a//b").pathComponents(), (Components{"/", "a", "b"}));
    EXPECT_EQ(parsed("a/").pathComponents(), (Components{"a", "/"}));
    EXPECT_TRUE(parsed("http://h?q").pathComponents().empty());
}

TEST(URL, QueryItemsAreDecoded) {
    std::string items;
    for (const auto& [name, value] : parsed("http://h/?a=1=2&b&=c&%41=%C3%A4+&d=%FF").queryItems())
        items += name + "=" + value.value_or("(none)") + ";";
    EXPECT_EQ(items, "a=1=2;b=(none);=c;A=\xC3\xA4+;d=%FF;");
}

TEST(URL, DocumentTextsAreEncodedAndOtherwiseKept) {
    const std::pair<const char*, const char*> cases[] = {
        {"http://h/a?b=%20c", "http://h/a?b=%20c"},
        {"http://h/?cb=[CACHEBUSTING]", "http://h/?cb=%5BCACHEBUSTING%5D"},
        {"http://h/?p=${AUCTION_PRICE}|x", "http://h/?p=$%7BAUCTION_PRICE%7D%7Cx"},
        {"http://h/%zz%4", "http://h/%25zz%254"},
        {"http://[::1]/[M]", "http://[::1]/%5BM%5D"},
        {"http://h/#a#[b]", "http://h/#a%23%5Bb%5D"},
        {"http://h/\xC3\xA4 \"", "http://h/%C3%A4%20%22"},
        {"[M]", "%5BM%5D"}};
    for (const auto& [text, url] : cases) {
        const auto read = VKTURL::URLWithDocumentText(text);
        ASSERT_TRUE(read) << text;
        EXPECT_EQ(read->absoluteString(), url);
        EXPECT_EQ(VKTURL::URLWithDocumentText(url), read) << "reading it again must change nothing";
    }
    EXPECT_FALSE(VKTURL::URLWithDocumentText(""));
    EXPECT_FALSE(VKTURL::URLWithDocumentText("http://[HOST]/"));
    EXPECT_EQ(parsed("http://[::1]/[a]").URLByEncodingSquareBrackets(), parsed("http://[::1]/%5Ba%5D"));
}

TEST(URL, PercentEncoding) {
    const std::string allowed = "AZaz09-._~!$'()*+,;:@/?";
    EXPECT_EQ(vkt_addingPercentEncoding(allowed + "&=", VKTURLCharacterSet::QueryAllowed), allowed + "&=");
    EXPECT_EQ(vkt_addingPercentEncoding(allowed + "&=% #[]\xC3\xBF", VKTURLCharacterSet::QueryItemAllowed),
              allowed + "%26%3D%25%20%23%5B%5D%C3%BF");
    EXPECT_EQ(vkt_removingPercentEncoding("a%2Fb%c3%A4+"), "a/b\xC3\xA4+");
    for (const char* text : {"%", "%4", "%4g", "%FF", "%C3"})
        EXPECT_FALSE(vkt_removingPercentEncoding(text)) << text;
}

TEST(URL, LoopbackHosts) {
    for (const char* host : {"localhost", "LocalHost", "127.0.0.1", "127.255.255.255", "::1", "[::1]"})
        EXPECT_TRUE(vkt_isLoopbackHost(host)) << host;
    for (const char* host : {"", "127", "127.", "127.0.0", "127.0.0.", "127.0.0.1.", "127.0.0.256",
                             "127.0.0.01", "127.0.0.1.evil.example", "127.evil.example", "128.0.0.1",
                             "0127.0.0.1", "localhost.example", "::1x", "[::1", "::11", "[127.0.0.1]"})
        EXPECT_FALSE(vkt_isLoopbackHost(host)) << host;
}

}  // namespace

#include "VKTCoreKit/core/VKTURLUtils.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

VKTURL U(std::string_view text) {
    const auto url = VKTURL::URLWithString(text);
    EXPECT_TRUE(url) << text;
    return url.value_or(VKTURL());
}

std::string textOf(const std::optional<VKTURL>& url) {
    return url ? url->absoluteString() : "(none)";
}

TEST(URLUtils, BuildsURLs) {
    const std::tuple<const char*, std::optional<std::string_view>, VKTDictionary, const char*> cases[] = {
        {"", "a", {}, "(none)"},
        {"http://h//", "a", {}, "http://h/a"},
        {"http://h/x///", std::nullopt, {}, "http://h/x/"},
        {"http://h h", "a", {}, "(none)"},
        {"http://h", "a", {{"b", 2}, {"a", 1}, {"B", true}}, "http://h/a?B=1&a=1&b=2"},
        {"http://h", "a", {{"k&=", "v &=+#\xC3\xA4"}}, "http://h/a?k%26%3D=v%20%26%3D+%23%C3%A4"},
        {"http://h", "a?old=1#f?g", {{"n", 0.5}}, "http://h/a?n=0.5#f?g"},
        {"///", "a", {}, "/a"}};
    for (const auto& [base, path, parameters, url] : cases)
        EXPECT_EQ(textOf(VKTURLUtils::buildURLWithBaseURLString(base, path, parameters)), url);
    EXPECT_EQ(VKTURLUtils::removeLastSlashFromString("a//"), "a/");
}

TEST(URLUtils, ReplacesMacros) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"http://h/?a=%5BM%5D&b=[M]", "1", "http://h/?a=1&b=1"},
        // The whole URL is decoded, whether or not the macro is there.
        {"http://h/?a=%41", "1", "http://h/?a=A"},
        {"http://h/?a=%2541", "1", "http://h/?a=%41"},
        // Neither the decoded nor the filled URL need parse: then it stays as it was.
        {"http://h/?a=%20&b=[M]", "1", "http://h/?a=%20&b=[M]"},
        {"http://h/?a=%FF&b=[M]", "1", "http://h/?a=%FF&b=[M]"},
        {"http://h/?b=%5BM%5D", "a b", "http://h/?b=%5BM%5D"},
        {"http://h/?b=[M]", "%20", "http://h/?b=%20"},
        {"http://h/?b=[M]", "[M][M]", "http://h/?b=[M][M]"}};
    for (const auto& [url, value, result] : cases)
        EXPECT_EQ(VKTURLUtils::replaceMacro("M", U(url), value, true).absoluteString(), result) << url;
    const auto withoutBrackets = [](const char* url, const char* macro) {
        return VKTURLUtils::replaceMacro(macro, U(url), "x", false).absoluteString();
    };
    EXPECT_EQ(withoutBrackets("http://h/?M=%5BM%5D", "M"), "http://h/?x=[x]");
    EXPECT_EQ(withoutBrackets("http://h/?b=%41", ""), "http://h/?b=A");
    // In byte order of the names: the value of "A" is filled before "B" comes, the other way round it is not.
    const VKTURL both = U("http://h/[A]/[B]");
    EXPECT_EQ(VKTURLUtils::replaceMacros({{"A", "[B]"}, {"B", "[A]"}}, both), U("http://h/[A]/[A]"));
    // One value that does not parse spoils its own macro only.
    EXPECT_EQ(VKTURLUtils::replaceMacros({{"A", "a b"}, {"B", "b"}}, both), U("http://h/[A]/b"));
}

TEST(URLUtils, CommaSeparatedURLs) {
    EXPECT_EQ(VKTURLUtils::arrayOfURLsWithCommaSeparatedString(" http://a , http://b|c,,http://d\n"),
              (std::vector<VKTURL>{U("http://a"), U("http://d")}));
}

TEST(URLUtils, URLTypes) {
    const std::pair<VKTURLType, std::vector<const char*>> cases[] = {
        {VKTURLTypeInternal, {"qiv://x"}},
        {VKTURLTypeMaps,
         {"comgooglemaps://?q=x", "comgooglemaps-x-callback://", "comgooglemapsurl://x",
          "https://maps.google.com/?q=x", "http://maps.apple.com/a.mp4"}},
        {VKTURLTypeSMS, {"sms:1"}},
        {VKTURLTypePhone, {"tel:1"}},
        {VKTURLTypeYouTube, {"https://www.youtube.com/watch"}},
        {VKTURLTypeAppStore, {"https://apps.apple.com/app/id1"}},
        {VKTURLTypeMail, {"mailto:a@b", "mailto"}},
        {VKTURLTypeVideo, {"HTTPS://h/A.MP4"}},
        {VKTURLTypePassbook, {"http://h/a.PKPASS"}},
        {VKTURLTypeWeb, {"https://maps.google.com.evil/", "https://h/a.mp4?x", "https://h/a.m4v"}},
        {VKTURLTypeOther, {"QIV://x", "ftp://h/a.mp4", "//h/x"}}};
    for (const auto& [type, texts] : cases) {
        for (const char* text : texts)
            EXPECT_EQ(VKTURLUtils::URLType(U(text)), type) << text;
    }
    EXPECT_EQ(VKTURLUtils::URLType(VKTURL()), VKTURLTypeInvalid);
    EXPECT_FALSE(VKTURLUtils::URLHasVideoExtension(U("http://h/a.M4V")));
    EXPECT_TRUE(VKTURLUtils::URLHasVideoExtension(U(".M4V/x")));
}

TEST(URLUtils, AppStoreURLs) {
    const std::tuple<const char*, VKTAppStoreURLType, std::optional<std::int64_t>> cases[] = {
        {"http://appstore.com/id12", VKTAppStoreURLTypeAppStore, 12},
        {"https://apps.apple.com/us/app/name/ID345?mt=8", VKTAppStoreURLTypeAppStore, 345},
        {"https://apps.apple.com/us/app/id345/", VKTAppStoreURLTypeAppStore, 345},
        {"https://apps.apple.com/", VKTAppStoreURLTypeAppStore, {}},
        {"itms-apps://itunes.apple.com/app/id6", VKTAppStoreURLTypeITunes, 6},
        {"itms-apps://apps.apple.com/app/id6", VKTAppStoreURLTypeNone, {}},
        {"http://itunes.apple.com/app/id0", VKTAppStoreURLTypeITunes, {}},
        {"http://phobos.apple.com/x?a=1&id=78", VKTAppStoreURLTypePhobos, 78},
        {"http://phobos.apple.com/id78", VKTAppStoreURLTypePhobos, {}},
        {"https://apps.apple.com", VKTAppStoreURLTypeNone, {}},
        {"http://h/id9?id=9", VKTAppStoreURLTypeNone, {}}};
    for (const auto& [text, type, identifier] : cases) {
        EXPECT_EQ(VKTURLUtils::appStoreURLType(U(text)), type) << text;
        EXPECT_EQ(VKTURLUtils::appStoreAppId(U(text)), identifier) << text;
    }
    EXPECT_TRUE(VKTURLUtils::isValidAppStoreURL(U("http://appstore.com/id12")));
    EXPECT_FALSE(VKTURLUtils::isValidAppStoreURL(U("https://apps.apple.com/"))) << "no identifier";
}

TEST(URLUtils, SchemesAndValidity) {
    EXPECT_TRUE(VKTURLUtils::URLHasHTTPScheme(U("HtTpS://h")));
    EXPECT_FALSE(VKTURLUtils::URLHasHTTPScheme(U("httpx://h")));
    EXPECT_EQ(VKTURLUtils::URLByAddingHTTPSchemeTo(U("h/x"), true), U("https://h/x"));
    EXPECT_EQ(VKTURLUtils::URLByAddingHTTPSchemeTo(U("h/x"), false), U("http://h/x"));
    EXPECT_EQ(textOf(VKTURLUtils::URLByAddingHTTPSchemeTo(U("[h]/x"), true)), "(none)");
    EXPECT_TRUE(vkt_isValid(U("x://h")));
    for (const char* text : {"//h/x", "mailto:a@b", "http:///x"})
        EXPECT_FALSE(vkt_isValid(U(text))) << text;
}

TEST(URLUtils, DeletesQueriesAndPathComponents) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"http://h/a/b?q=1", "http://h/a/b", "http://h/a/"},
        {"http://h/a/b/", "http://h/a/b/", "http://h/a/b/"},
        {"http://h/a?q?r=1#f?g", "http://h/a#fg", "http://h/#fg"},
        {"http://h?q", "http://h", "http://h"},
        {"http://h/a?a", "http://h/a", "http://h/"},
        {"?q", "(none)", "(none)"}};
    for (const auto& [text, withoutQuery, withoutLastComponent] : cases) {
        EXPECT_EQ(textOf(VKTURLUtils::URLByDeletingQuery(U(text))), withoutQuery);
        EXPECT_EQ(textOf(VKTURLUtils::URLByDeletingLastPathComponentAndQuery(U(text))), withoutLastComponent);
    }
}

TEST(URLUtils, QueryValues) {
    const VKTURL url = U("http://h/?a=1&b&a=2&c=%20");
    EXPECT_EQ(VKTURLUtils::valueForKey("a", url), "1");
    EXPECT_EQ(VKTURLUtils::valueForKey("c", url), " ");
    for (const char* none : {"b", "A"})
        EXPECT_EQ(VKTURLUtils::valueForKey(none, url), std::nullopt) << none;
}

}  // namespace

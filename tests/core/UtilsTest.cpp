#include "VKTCoreKit/core/VKTUtils.h"

#include <gtest/gtest.h>

#include "VKTCoreKit/core/VKTHTMLUtils.h"
#include "VKTCoreKit/core/VKTHash.h"
#include "VKTCoreKit/core/VKTRandom.h"
#include "VKTCoreKit/core/VKTStringUtils.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

namespace {

TEST(Utils, ConsentStringsAndDigits) {
    EXPECT_TRUE(VKTUtils::isValidGDPRConsentString("aZ09-_."));
    for (const char* text : {"", "a b", "a+", "a/", "\xC3\xA4"})
        EXPECT_FALSE(VKTUtils::isValidGDPRConsentString(text)) << text;
    EXPECT_TRUE(VKTUtils::stringIsDigitsOnly("007"));
    for (const char* text : {"", "-1", "1.0", "1 ", "\xD9\xA1"})
        EXPECT_FALSE(VKTUtils::stringIsDigitsOnly(text));
    EXPECT_TRUE(VKTUtils::stringIsEmptyOrWhiteSpace(std::nullopt));
    EXPECT_FALSE(VKTUtils::isValidGDPRConsentString(std::nullopt));
}

TEST(Utils, LocalizedStringsAreEmptyWhenMissing) {
    VKTStringTableBundle bundle;
    bundle.setString("table", "key", "value");
    EXPECT_EQ(VKTUtils::localizedStringForKey("key", "table", bundle), "value");
    EXPECT_EQ(VKTUtils::localizedStringForKey("key", "other", bundle), "");
}

TEST(Utils, ColorsAreRead) {
    const auto color = [](int red, int green, int blue, int alpha) {
        return VKTColor{red / 255.0, green / 255.0, blue / 255.0, alpha / 255.0};
    };
    EXPECT_EQ(VKTUtils::colorFromString("#F0a"), color(255, 0, 170, 255));
    EXPECT_EQ(VKTUtils::colorFromString("#1234"), color(0x22, 0x33, 0x44, 0x11));
    EXPECT_EQ(VKTUtils::colorFromString("#102030"), color(16, 32, 48, 255));
    EXPECT_EQ(VKTUtils::colorFromString("#80102030"), color(16, 32, 48, 128));
    EXPECT_EQ(VKTUtils::colorFromString("##10#2030"), color(16, 32, 48, 255));
    EXPECT_EQ(VKTUtils::colorFromString("0x102030", "0x"), color(16, 32, 48, 255));
    EXPECT_EQ(VKTUtils::colorFromString("102030", ""), color(16, 32, 48, 255));
    EXPECT_EQ(VKTUtils::colorFromString("102030", "#", true), color(16, 32, 48, 255));
    for (const char* text : {"", "#", "102030", "#12", "#12345", "#1234567", "#123456789", "#+12345"})
        EXPECT_FALSE(VKTUtils::colorFromString(text)) << text;
    EXPECT_DOUBLE_EQ(VKTUtils::colorComponentFrom("0F", 5, 2), 0);
}

TEST(Utils, ColorsAreWritten) {
    for (const char* text : {"#00102030", "#FF0AB9C8", "#7F808182"})
        EXPECT_EQ(VKTUtils::colorStringFromColor(*VKTUtils::colorFromString(text), true), text);
    EXPECT_EQ(VKTUtils::colorStringFromColor({2, -1, 0.5, 0}, "0x", false), "0xFF0080");
}

TEST(StringUtils, EscapesSingleQuotesOnce) {
    EXPECT_EQ(VKTStringUtils::escapeUnescapedSingleQuotesForString("'a\\'b''"), "\\'a\\'b\\'\\'");
    EXPECT_EQ(VKTStringUtils::escapeUnescapedSingleQuotesForString(std::nullopt), "");
}

TEST(HTMLUtils, Probes) {
    EXPECT_TRUE(VKTHTMLUtils::containsMRAIDBridgeSingleQuoteInScript("src='MRAID.js'"));
    EXPECT_FALSE(VKTHTMLUtils::containsMRAIDBridgeSingleQuoteInScript("src=\"mraid.js\""));
    EXPECT_TRUE(VKTHTMLUtils::containsMRAIDBridgeDoubleQuoteInScript("src=\"mraid.js\""));
    EXPECT_TRUE(VKTHTMLUtils::containsClosingHEADTagInScript("</HEAD>"));
    EXPECT_TRUE(VKTHTMLUtils::containsOpeningBODYTagInScript("<Body class=x>"));
    EXPECT_FALSE(VKTHTMLUtils::containsOpeningHTMLTagInScript("</html>"));
    EXPECT_TRUE(VKTHTMLUtils::containsClosingHTMLTagInScript("</html >"));
}

TEST(Hash, MD5IsThatOfTheBytes) {
    EXPECT_EQ(VKTHash::md5(""), "");
    EXPECT_EQ(VKTHash::md5("a"), "0cc175b9c0f1b6a831c399e269772661");
}

TEST(Random, RangesExcludeTheMaximum) {
    VKTPlatform platform = VKTPlatform::current();
    platform.random = std::make_shared<VKTFixedRandomSource>(
        std::vector<std::uint32_t>{2, 3, 4294967294, 4294967295, 89999999, 90000000});
    const VKTScopedPlatform scope(platform);
    EXPECT_EQ(VKTRandom::randomUnsignedIntWithMin(5, 8), 7u);
    EXPECT_EQ(VKTRandom::randomUnsignedIntWithMin(5, 8), 5u);
    EXPECT_EQ(VKTRandom::randomUnsignedInt(), 4294967294u);
    EXPECT_EQ(VKTRandom::randomUnsignedInt(), 0u);
    EXPECT_EQ(VKTRandom::randomVastCacheBustingInt(), 99999999u);
    EXPECT_EQ(VKTRandom::randomVastCacheBustingInt(), 10000000u);
    EXPECT_EQ(VKTRandom::randomUnsignedIntWithMin(5, 5), 5u);
    EXPECT_EQ(VKTRandom::randomUnsignedIntWithMin(5, 2), 5u);
}

}  // namespace

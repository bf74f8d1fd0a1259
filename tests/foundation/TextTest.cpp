#include "VKTCoreKit/foundation/VKTText.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr double largest = std::numeric_limits<double>::max();

TEST(Text, WhiteSpaceIsTheUnicodeSet) {
    EXPECT_EQ(vkt_trimmed(" \t\r\n\v\f\xC2\x85\xC2\xA0 a b\xE3\x80\x80\xE2\x80\xA8"), "a b");
    EXPECT_EQ(vkt_removingWhiteSpace("\xE2\x80\x89z \xC2\xA0y\n"), "zy");
    EXPECT_TRUE(vkt_isEmptyOrWhiteSpace(""));
    EXPECT_TRUE(vkt_isEmptyOrWhiteSpace("\xE1\x9A\x80\xE2\x81\x9F"));
    // A zero-width space is none, and neither are single bytes of one or of nothing.
    for (const char* text : {"\xE2\x80\x8B", "\xA0", "\x85", "\xE3\x80", "\xC2"}) {
        EXPECT_FALSE(vkt_isEmptyOrWhiteSpace(text));
        EXPECT_EQ(vkt_trimmed(text), text);
    }
}

TEST(Text, FoldsASCIIOnly) {
    EXPECT_EQ(vkt_lowercased("AZ[\xC3\x84"), "az[\xC3\x84");
    EXPECT_EQ(vkt_uppercased("az{\xC3\xA4"), "AZ{\xC3\xA4");
    EXPECT_TRUE(vkt_equalsIgnoringCase("HTTPS", "https"));
    EXPECT_FALSE(vkt_equalsIgnoringCase("http", "https"));
}

TEST(Text, SplitsAndReplacesInOnePass) {
    EXPECT_EQ(vkt_split("", ','), std::vector<std::string_view>{""});
    EXPECT_EQ(vkt_split(",a,,b,", ','), (std::vector<std::string_view>{"", "a", "", "b", ""}));
    EXPECT_EQ(vkt_replacingOccurrences("[X][X]", "[X]", "[X]x"), "[X]x[X]x");
    EXPECT_EQ(vkt_replacingOccurrences("abc", "", "x"), "abc");
}

TEST(Text, LenientDoubles) {
    const std::pair<const char*, double> cases[] = {{"12.5", 12.5}, {"  -3abc", -3}, {"+4", 4}, {".5", .5},
                                                    {"-.5e1x", -5}, {"7.", 7},       {"1e", 1}, {"1e+", 1},
                                                    {"2E-2", .02},  {"1,5", 1}};
    for (const auto& [text, value] : cases)
        EXPECT_EQ(vkt_doubleValue(text), value) << text;
    for (const char* zero : {"+-4", "-", ".", "0x10", "", "inf", "nan", "0e999", "1e-999"})
        EXPECT_EQ(vkt_doubleValue(zero), 0) << zero;
    EXPECT_EQ(vkt_doubleValue("1e99999999999999999999"), largest);
    EXPECT_EQ(vkt_doubleValue("-1e999"), -largest);
    EXPECT_EQ(vkt_doubleValue("0.0000000000001e320"), 1e307);
    EXPECT_EQ(vkt_doubleValue("1" + std::string(400, '0') + "e-400"), 1);
    EXPECT_EQ(vkt_floatValue("1e39"), std::numeric_limits<float>::max());
}

TEST(Text, LenientIntegersSaturate) {
    const std::pair<const char*, std::int64_t> cases[] = {
        {" 12abc", 12}, {"-7.9", -7}, {"+5", 5}, {"+-5", 0}, {"abc", 0}};
    for (const auto& [text, value] : cases)
        EXPECT_EQ(vkt_integerValue(text), value) << text;
    EXPECT_EQ(vkt_integerValue("99999999999999999999"), INT64_MAX);
    EXPECT_EQ(vkt_integerValue("-99999999999999999999"), INT64_MIN);
}

TEST(Text, LenientBooleansLookAtTheFirstCharacter) {
    for (const char* text : {"true", "True", "yes", "Y", "1", "9x"})
        EXPECT_TRUE(vkt_boolValue(text)) << text;
    for (const char* text : {"", "0", "01", "false", "no", " true", "-1"})
        EXPECT_FALSE(vkt_boolValue(text)) << text;
}

TEST(Text, NumbersReadBackAndStayDecimal) {
    const std::pair<double, const char*> cases[] = {
        {0, "0"},           {12, "12"},         {0.1, "0.1"},
        {-1.5, "-1.5"},     {100000, "100000"}, {1e15, "1000000000000000"},
        {0.0001, "0.0001"}, {1e16, "1e+16"},    {0.00001, "1e-05"}};
    for (const auto& [value, text] : cases)
        EXPECT_EQ(vkt_numberDescription(value), text);
    EXPECT_EQ(vkt_numberDescription(0.1F), "0.1");
    EXPECT_EQ(vkt_doubleValue(vkt_numberDescription(largest)), largest);
}

TEST(Text, RefusesMalformedUTF8) {
    for (const char* text : {"", "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF"})
        EXPECT_TRUE(vkt_isValidUTF8(text)) << text;
    // A lone continuation, cut short, overlong (two, three, four bytes), surrogate, beyond the last point.
    for (const char* text : {"\x80", "a\xC3", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80",
                             "\xF4\x90\x80\x80", "\xFF"})
        EXPECT_FALSE(vkt_isValidUTF8(text));
}

TEST(Text, PutsATextOnOneHarmlessLine) {
    const std::pair<std::string, std::string> cases[] = {
        {"a \u00E9\u20AC\U0001F600~", "a \u00E9\u20AC\U0001F600~"},
        {std::string("\0\t\r\n\x1B\x1F\x7F", 7), "       "},
        {"\u0080\u009B\u009F\u00A0", "   \u00A0"},
        {"\u2028\u2029\u202F", "  \u202F"},
        {"\u061C\u200D\u200E\u200F", "\uFFFD\u200D\uFFFD\uFFFD"},
        {"\u202A\u202E\u2065\u2066\u2069\u206A", "\uFFFD\uFFFD\u2065\uFFFD\uFFFD\u206A"},
        {"\x9B\xC2\xE2\x82z\xC0\x8A", "\uFFFD\uFFFD\uFFFD\uFFFDz\uFFFD\uFFFD"}};
    for (const auto& [text, line] : cases)
        EXPECT_EQ(vkt_onOneLine(text), line) << line;
}

TEST(Text, Formats) {
    const std::optional<std::string> absent;
    const char* null = nullptr;
    EXPECT_EQ(vkt_stringWithFormat("%@|%ld|%d|%f", {"%@", std::int64_t{-2}, 3, 0.5}), "%@|-2|3|0.500000");
    EXPECT_EQ(vkt_stringWithFormat("%@ %@ %@", {absent, null}), "(null) (null) (null)");
    EXPECT_EQ(vkt_stringWithFormat("100%% %x %", {"unused"}), "100% %x %");
    EXPECT_EQ(vkt_stringWithFormat("%ld %f", {"12x", 2}), "12 2.000000");
    EXPECT_EQ(vkt_stringWithFormat("%ld %ld", {1e300, -1e300}), "9223372036854775807 -9223372036854775808");
}

}  // namespace

#include "VKTCoreKit/foundation/VKTValue.h"

#include <gtest/gtest.h>

#include <limits>

#include "VKTCoreKit/foundation/VKTError.h"

namespace {

std::string keysOf(const VKTDictionary& dictionary) {
    std::string keys;
    for (const auto& entry : dictionary)
        keys += entry.key + " ";
    return keys;
}

TEST(Value, DictionaryKeepsTheOrderOfSetting) {
    VKTDictionary dictionary{{"b", 1}, {"a", 2}};
    dictionary.set("c", 3);
    dictionary.set("b", 4);
    EXPECT_EQ(keysOf(dictionary), "b a c ");
    EXPECT_EQ(*dictionary.find("b"), VKTValue(4));
    dictionary.remove("a");
    EXPECT_EQ(keysOf(dictionary), "b c ");
}

TEST(Value, LongDictionaryFindsEveryKeyAfterEachKindOfChange) {
    VKTDictionary dictionary;
    for (int i = 0; i < 100; ++i)  // beyond the short ones, which do without the hashed look-up
        dictionary.set("k" + std::to_string(i), i);
    dictionary.remove("k99");  // the last
    dictionary.remove("k10");  // one inside
    dictionary.set("k10", 10);
    VKTDictionary copy = dictionary;
    dictionary.set("k0", -1);
    ASSERT_EQ(copy.size(), 99u);
    for (int i = 0; i < 99; ++i) {
        const VKTValue* value = copy.find("k" + std::to_string(i));
        EXPECT_TRUE(value != nullptr && *value == VKTValue(i)) << i;
    }
    EXPECT_FALSE(copy.contains("k99"));
    const VKTDictionary moved = std::move(copy);
    EXPECT_TRUE(moved.contains("k10"));
    EXPECT_EQ((moved.end() - 1)->key, "k10");
}

TEST(Value, EqualityAndTypes) {
    EXPECT_EQ(VKTValue(~0U), VKTValue(std::int64_t{4'294'967'295}));
    EXPECT_EQ((VKTDictionary{{"a", 1}, {"b", 2}}), (VKTDictionary{{"b", 2}, {"a", 1}}));
    EXPECT_FALSE((VKTDictionary{{"a", 1}}) == (VKTDictionary{{"a", 1}, {"b", 2}}));
    EXPECT_FALSE((VKTDictionary{{"a", 1}}) == (VKTDictionary{{"b", 1}}));
    EXPECT_EQ(VKTValue(1), VKTValue(1.0));
    EXPECT_FALSE(VKTValue(1) == VKTValue(true));
    EXPECT_FALSE(VKTValue(0) == VKTValue());
    EXPECT_FALSE(VKTValue("1") == VKTValue(1));
    EXPECT_NE(VKTValue("text").asString(), nullptr) << "a literal is a text, not a boolean";
    EXPECT_EQ(VKTValue(true).asNumber(), VKTNumber(1));

    constexpr std::uint64_t large = (std::uint64_t{1} << 63U) + 1;
    EXPECT_EQ(*VKTValue(std::uint64_t{7}).asInteger(), 7) << "one form for one number";
    EXPECT_EQ(VKTValue(std::uint64_t{7}), VKTValue(7));
    EXPECT_EQ(VKTValue(large), VKTValue(0x1p63)) << "rounded as the double is";
    EXPECT_FALSE(VKTValue(large) == VKTValue(large - 1));
    EXPECT_FALSE(VKTValue(large) == VKTValue(std::numeric_limits<std::int64_t>::max()));
    EXPECT_FALSE(VKTValue(large) == VKTValue(static_cast<std::int64_t>(large)));
}

TEST(Value, Descriptions) {
    const VKTDate date{std::chrono::milliseconds(1500)};
    EXPECT_EQ(VKTValue(VKTArray{1, 2.5, true, "a", VKTValue(), VKTBytes{"xy"}}).description(),
              "(1, 2.5, 1, a, <null>, <2 bytes>)");
    EXPECT_EQ(VKTValue(VKTDictionary{{"b", 1}, {"a", VKTArray{}}}).description(), "{b = 1; a = ()}");
    EXPECT_EQ(VKTValue(date).description(), "1970-01-01T00:00:01.500+0000");
}

TEST(Value, NumbersTruncateAndSaturate) {
    EXPECT_EQ(VKTNumber(-2.9).integerValue(), -2);
    EXPECT_EQ(VKTNumber(1e300).integerValue(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(VKTNumber(-1e300).integerValue(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(VKTNumber(std::numeric_limits<double>::quiet_NaN()).integerValue(), 0);
    constexpr std::uint64_t unsignedEnd = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(VKTNumber(unsignedEnd).integerValue(), std::numeric_limits<std::int64_t>::max());
    const std::pair<VKTNumber, std::uint64_t> unsignedValues[] = {{unsignedEnd, unsignedEnd},
                                                                  {1e300, unsignedEnd},
                                                                  {0x1p63, std::uint64_t{1} << 63U},
                                                                  {2.9, 2},
                                                                  {-1, 0},
                                                                  {-0.5, 0},
                                                                  {-1e300, 0}};
    for (const auto& [number, value] : unsignedValues)
        EXPECT_EQ(number.unsignedIntegerValue(), value) << number.description();
    const std::int64_t big = (std::int64_t{1} << 53) + 1;
    EXPECT_FALSE(VKTNumber(big) == VKTNumber(big - 1)) << "compared as doubles they would be equal";
}

TEST(Error, EqualityLooksAtTheDescriptionButNotAtOtherInformation) {
    const VKTError plain("d", 1);
    const VKTError described("d", 1, {{VKTLocalizedDescriptionKey, std::string("text")}, {"more", 7}});
    const VKTError same("d", 1, {{VKTLocalizedDescriptionKey, std::string("text")}});
    EXPECT_FALSE(plain == described);
    EXPECT_EQ(described, same);
    EXPECT_EQ(described.userInfoValue<double>("more"), nullptr);
}

}  // namespace

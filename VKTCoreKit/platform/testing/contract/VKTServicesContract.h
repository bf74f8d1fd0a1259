// The contract of the functions that the linked platform defines. Including it is all that it takes.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/platform/VKTServices.h"

inline std::string vkt_nestedArrays(int depth) {
    const auto count = static_cast<std::size_t>(depth);
    return std::string(count, '[') + std::string(count, ']');
}

TEST(VKTServicesContract, JSONReadsAndWritesBack) {
    const std::pair<std::string, std::string> cases[] = {
        {R"({"b":1,"a":[true,null,"x/y"]})", R"({"b":1,"a":[true,null,"x/y"]})"},
        {R"("\u00e9\n\"")", "\"\xC3\xA9\\n\\\"\""},
        {R"({"a":1,"b":2,"a":{"c":3}})", R"({"a":{"c":3},"b":2})"},
        {"[9223372036854775807,-9223372036854775808]", "[9223372036854775807,-9223372036854775808]"},
        {" [1.5,2.0] ", "[1.5,2]"},
        {vkt_nestedArrays(VKTJSONDepthLimit), vkt_nestedArrays(VKTJSONDepthLimit)}};
    for (const auto& [text, written] : cases) {
        const auto value = vkt_JSONValueWithData(text);
        ASSERT_TRUE(value) << text;
        EXPECT_EQ(vkt_JSONStringWithValue(*value), written);
    }
}

TEST(VKTServicesContract, JSONIntegersStayIntegersWhereTheyFit) {
    const auto read = [](const char* text) { return vkt_JSONValueWithData(text).value(); };
    EXPECT_EQ(*read("7").asInteger(), 7);
    EXPECT_EQ(*read("7.0").asDouble(), 7.0);
    EXPECT_EQ(*read("9223372036854775807").asInteger(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(*read("9223372036854775808").asUnsignedInteger(), std::uint64_t{1} << 63U);
    EXPECT_EQ(*read("18446744073709551615").asUnsignedInteger(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(*read("18446744073709551616").asDouble(), 18446744073709551616.0);
    EXPECT_EQ(*read("-9223372036854775809").asDouble(), -9223372036854775808.0);
}

TEST(VKTServicesContract, JSONNumbersSurviveAnArchiveToTheLastDigit) {
    for (const std::string text :
         {"0", "-1", "9007199254740993", "9223372036854775807", "9223372036854775808", "9223372036854775809",
          "18446744073709551615", "-9223372036854775808", "0.1", "1.7976931348623157e+308"}) {
        const VKTValue value = vkt_JSONValueWithData(text).value();
        const auto read = vkt_unarchivedValues(vkt_archiveData("C", {{"k", VKTValue(value)}}), "C").value();
        EXPECT_EQ(*read.find("k"), value) << text;
        EXPECT_EQ(vkt_JSONStringWithValue(*read.find("k")), text);
        EXPECT_EQ(value.description(), text);
    }
}

TEST(VKTServicesContract, JSONRefusesWhatIsNotJSON) {
    using namespace std::string_literals;
    for (const std::string& text : {""s, "{"s, "[1,]"s, "{'a':1}"s, "nul"s, "01"s, "1e999"s, "\"\x01\""s,
                                    "\"\xFF\""s, "[1] 2"s, "{}\0x"s, "NaN"s, "// c\n1"s,
                                    vkt_nestedArrays(VKTJSONDepthLimit + 1), std::string(1'000'000, '[')}) {
        std::optional<VKTError> error;
        EXPECT_FALSE(vkt_JSONValueWithData(text, &error)) << text.substr(0, 50);
        EXPECT_TRUE(error && !error->localizedDescription()->empty());
    }
}

TEST(VKTServicesContract, JSONDoesNotWriteWhatJSONCannotHold) {
    VKTValue deep = VKTArray();
    for (int i = 0; i < VKTJSONDepthLimit; ++i)
        deep = VKTArray{std::move(deep)};
    const VKTArray values{VKTBytes{"x"}, VKTDate(), "\xC3", VKTDictionary{{"\xC3", 1}}, HUGE_VAL, NAN, deep};
    for (const VKTValue& value : values)
        EXPECT_FALSE(vkt_JSONStringWithValue(value)) << value.description().substr(0, 50);
}

TEST(VKTServicesContract, JSONPrettyForPeople) {
    const auto value = vkt_JSONValueWithData(R"({"a":[1,{}],"b":[]})");
    EXPECT_EQ(vkt_prettyJSONStringWithValue(*value), "{\n  \"a\": [\n    1,\n    {}\n  ],\n  \"b\": []\n}");
}

TEST(VKTServicesContract, DigestsAreThoseOfRFC1321) {
    EXPECT_EQ(vkt_MD5Digest("abc"), "\x90\x01\x50\x98\x3c\xd2\x4f\xb0\xd6\x96\x3f\x7d\x28\xe1\x7f\x72");
}

#include "VKTCoreKit/foundation/VKTKeyedArchive.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

struct Part {
    std::string name;

    bool operator==(const Part&) const = default;
    void encodeWithCoder(VKTKeyedArchiver& coder) const { coder.encodeString("name", name); }
    static std::optional<Part> initWithCoder(const VKTKeyedUnarchiver& coder) {
        const auto name = coder.decodeString("name");
        return name && !name->empty() ? std::optional(Part{*name}) : std::nullopt;
    }
};

struct Whole {
    std::optional<std::string> text;
    std::optional<VKTURL> url;
    std::optional<VKTNumber> number;
    bool flag = false;
    std::optional<VKTDate> date;
    std::vector<Part> parts;
    std::optional<Part> first;

    static constexpr const char* archiveClassName = "Whole";
    bool operator==(const Whole&) const = default;
    void encodeWithCoder(VKTKeyedArchiver& coder) const {
        coder.encodeString("text", text);
        coder.encodeURL("url", url);
        coder.encodeNumber("number", number);
        coder.encodeBool("flag", flag);
        if (date) coder.encodeDate("date", *date);
        coder.encodeObjects("parts", parts);
        if (first) coder.encodeObject("first", *first);
    }
    static std::optional<Whole> initWithCoder(const VKTKeyedUnarchiver& coder) {
        return Whole{coder.decodeString("text"),       coder.decodeURL("url"),
                     coder.decodeNumber("number"),     coder.decodeBool("flag"),
                     coder.decodeDate("date"),         coder.decodeObjects<Part>("parts"),
                     coder.decodeObject<Part>("first")};
    }
};

VKTDictionary everyType() {
    return {{"null", VKTValue()},
            {"true", true},
            {"integer", std::int64_t{-1}},
            {"unsigned", std::numeric_limits<std::uint64_t>::max()},
            {"double", -0.5},
            {"text", "x"},
            {"bytes", VKTBytes{std::string("\0\xFF", 2)}},
            {"date", VKTDate(std::chrono::microseconds(1))},
            {"array", VKTArray{1, VKTArray{}, VKTDictionary{{"k", "v"}}}}};
}

TEST(KeyedArchive, ObjectsComeBackWithoutPartsThatDoNotBuild) {
    Whole whole{"t\xC3\xA4", VKTURL::URLWithString("http://h/[M]"),   VKTNumber(~std::uint64_t{0}),
                true,        VKTDate(std::chrono::microseconds(-17)), {{"a"}, {""}, {"b"}},
                Part{"c"}};
    const auto read = vkt_unarchivedObject<Whole>(vkt_archivedData(whole));
    ASSERT_TRUE(read);
    whole.parts = {{"a"}, {"b"}};
    EXPECT_TRUE(*read == whole);
}

TEST(KeyedArchive, AbsentPropertiesHaveNoKeyAndWrongTypesAreAbsent) {
    const VKTDictionary empty = VKTKeyedArchiver::archived(Whole());
    for (const char* key : {"text", "url", "number"})
        EXPECT_FALSE(empty.contains(key)) << key;
    const VKTDictionary wrong{{"text", 1}, {"url", "not a url"}, {"number", "1"},
                              {"flag", 1}, {"date", 1},          {"parts", VKTArray{1, VKTDictionary{}}},
                              {"first", 1}};
    EXPECT_TRUE(*Whole::initWithCoder(VKTKeyedUnarchiver(wrong)) == Whole());
}

TEST(KeyedArchive, LayoutIsFixed) {
    const std::string expected(
        "VKTA\x02\x01\0\0\0C"
        "o\x01\0\0\0\x01\0\0\0k"
        "i\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF"
        "\x03\x99\x44\x36",
        33);
    EXPECT_EQ(vkt_archiveData("C", {{"k", -2}}), expected);
}

TEST(KeyedArchive, EveryTypeKeepsItsTypeAndValue) {
    const auto read = vkt_unarchivedValues(vkt_archiveData("C", everyType()), "C");
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, everyType());
    EXPECT_NE(read->find("integer")->asInteger(), nullptr);
    EXPECT_NE(read->find("unsigned")->asUnsignedInteger(), nullptr);
}

TEST(KeyedArchive, AnyDamageGivesNothing) {
    const std::string archive = vkt_archiveData("C", everyType());
    EXPECT_FALSE(vkt_unarchivedValues(archive + "x", "C"));
    EXPECT_FALSE(vkt_unarchivedValues(archive, "D"));
    for (std::size_t at = 0; at < archive.size(); ++at) {
        EXPECT_FALSE(vkt_unarchivedValues(archive.substr(0, at), "C")) << "cut to " << at;
        for (int bit = 0; bit < 8; ++bit) {
            std::string damaged = archive;
            damaged[at] = static_cast<char>(damaged[at] ^ (1 << bit));
            EXPECT_FALSE(vkt_unarchivedValues(damaged, "C")) << at;
        }
    }
}

// Well-formed to the checksum, but not behind it.
TEST(KeyedArchive, ContentIsReadNoFurtherThanItGoes) {
    const std::string header("VKTA\x02\x01\0\0\0C", 10);
    const std::string four("\xFF\xFF\xFF\xFF", 4);
    const std::string entry = "o" + std::string("\1\0\0\0\1\0\0\0k", 9);
    for (const std::string& content :
         {std::string(), std::string("VKTA"), header, header + "n", header + "o" + four,
          header + entry + "a" + four, header + entry + "o" + four, header + entry + "s" + four,
          header + entry + "?", header + entry + "nn",
          std::string("VKTA\x01") + header.substr(5) + entry + "n"}) {
        const std::uint32_t checksum = vkt_archiveChecksum(content);
        std::string archive = content;
        for (unsigned shift = 0; shift < 32; shift += 8)
            archive.push_back(static_cast<char>(checksum >> shift));
        EXPECT_FALSE(vkt_unarchivedValues(archive, "C")) << testing::PrintToString(content);
    }
}

TEST(KeyedArchive, NestingIsBounded) {
    const auto nested = [](int depth) {
        VKTValue value(1);
        for (int i = 1; i < depth; ++i)
            value = VKTArray{std::move(value)};
        return vkt_archiveData("C", {{"k", std::move(value)}});
    };
    EXPECT_TRUE(vkt_unarchivedValues(nested(64), "C"));
    EXPECT_FALSE(vkt_unarchivedValues(nested(65), "C"));
}

}  // namespace

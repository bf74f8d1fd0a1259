#include "VKTCoreKit/foundation/VKTKeyedArchive.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

struct Part {
    std::string name;

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
    VKTDate date{};
    std::vector<Part> parts;
    std::vector<std::shared_ptr<Part>> sharedParts;

    static constexpr const char* archiveClassName = "Whole";
    void encodeWithCoder(VKTKeyedArchiver& coder) const {
        coder.encodeString("text", text);
        coder.encodeURL("url", url);
        coder.encodeNumber("number", number);
        coder.encodeBool("flag", flag);
        coder.encodeDate("date", date);
        coder.encodeObjects("parts", parts);
        coder.encodeObjects("sharedParts", sharedParts);
        if (!parts.empty()) coder.encodeObject("first", parts.front());
    }
    static std::shared_ptr<Whole> initWithCoder(const VKTKeyedUnarchiver& coder) {
        auto whole = std::make_shared<Whole>();
        whole->text = coder.decodeString("text");
        whole->url = coder.decodeURL("url");
        whole->number = coder.decodeNumber("number");
        whole->flag = coder.decodeBool("flag");
        whole->date = coder.decodeDate("date").value_or(VKTDate());
        whole->parts = coder.decodeObjects<Part>("parts");
        if (const auto first = coder.decodeObject<Part>("first")) whole->parts.push_back(*first);
        return whole;
    }
};

Whole sample() {
    Whole whole;
    whole.text = "t\xC3\xA4";
    whole.url = VKTURL::URLWithString("http://h/[M]");
    whole.number = VKTNumber(2.5);
    whole.flag = true;
    whole.date = VKTDate(std::chrono::microseconds(-17));
    whole.parts = {{"a"}, {""}, {"b"}};
    whole.sharedParts = {std::make_shared<Part>(Part{"s"})};
    return whole;
}

VKTDictionary everyType() {
    return {{"null", VKTValue()},
            {"true", true},
            {"integer", std::int64_t{-1}},
            {"double", -0.5},
            {"text", "x"},
            {"bytes", VKTBytes{std::string("\0\xFF", 2)}},
            {"date", VKTDate(std::chrono::microseconds(1))},
            {"array", VKTArray{1, VKTArray{}, VKTDictionary{{"k", "v"}}}}};
}

TEST(KeyedArchive, ObjectsComeBack) {
    const auto read = vkt_unarchivedObject<Whole>(vkt_archivedData(sample()));
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->text, sample().text);
    EXPECT_EQ(read->url, sample().url);
    EXPECT_EQ(read->number, sample().number);
    EXPECT_TRUE(read->flag);
    EXPECT_EQ(read->date, sample().date);
    // The part without a name does not build; the single object comes after the list.
    ASSERT_EQ(read->parts.size(), 3u);
    EXPECT_EQ(read->parts[1].name, "b");
    EXPECT_EQ(read->parts[2].name, "a");
    EXPECT_EQ(VKTKeyedArchiver::archived(sample()).find("sharedParts")->asArray()->size(), 1u);
}

TEST(KeyedArchive, AbsentPropertiesHaveNoKeyAndWrongTypesAreAbsent) {
    const VKTDictionary empty = VKTKeyedArchiver::archived(Whole());
    EXPECT_FALSE(empty.contains("text"));
    EXPECT_FALSE(empty.contains("url"));
    EXPECT_FALSE(empty.contains("number"));

    const VKTDictionary wrong{{"text", 1}, {"url", "not a url"}, {"number", "1"},
                              {"flag", 1}, {"date", 1},          {"parts", VKTArray{1, VKTDictionary{}}},
                              {"first", 1}};
    const auto read = Whole::initWithCoder(VKTKeyedUnarchiver(wrong));
    EXPECT_FALSE(read->text);
    EXPECT_FALSE(read->url);
    EXPECT_FALSE(read->number);
    EXPECT_FALSE(read->flag);
    EXPECT_EQ(read->date, VKTDate());
    EXPECT_TRUE(read->parts.empty());
}

TEST(KeyedArchive, LayoutIsFixed) {
    const std::string expected(
        "VKTA\x01\x01\0\0\0C"
        "o\x01\0\0\0\x01\0\0\0k"
        "i\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF",
        29);
    EXPECT_EQ(vkt_archiveData("C", {{"k", -2}}), expected);
}

TEST(KeyedArchive, EveryTypeKeepsItsTypeAndValue) {
    const auto read = vkt_unarchivedValues(vkt_archiveData("C", everyType()), "C");
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, everyType());
    EXPECT_NE(read->find("integer")->asInteger(), nullptr);
    EXPECT_NE(read->find("double")->asDouble(), nullptr);
}

TEST(KeyedArchive, DamageIsRefusedOrGivesASoundTree) {
    const std::string archive = vkt_archiveData("C", everyType());
    EXPECT_FALSE(vkt_unarchivedValues(archive + "x", "C"));
    EXPECT_FALSE(vkt_unarchivedValues(archive, "D"));
    std::size_t refused = 0;
    for (std::size_t at = 0; at < archive.size(); ++at) {
        EXPECT_FALSE(vkt_unarchivedValues(archive.substr(0, at), "C")) << "cut to " << at;
        for (const char flip : {'\x01', '\x20', '\x80', '\xFF'}) {
            std::string damaged = archive;
            damaged[at] = static_cast<char>(damaged[at] ^ flip);
            const auto read = vkt_unarchivedValues(damaged, "C");
            if (read) {
                EXPECT_TRUE(vkt_unarchivedValues(vkt_archiveData("C", *read), "C")) << at;
            } else {
                ++refused;
            }
            constexpr std::size_t headerLength = 5;
            EXPECT_FALSE(read && at < headerLength) << at;
        }
    }
    EXPECT_GT(refused, archive.size());
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

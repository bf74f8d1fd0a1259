#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <set>
#include <thread>

#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "VKTCoreKit/platform/linux/VKTSystemClock.h"
#include "VKTCoreKit/platform/linux/VKTSystemRandom.h"
#include "VKTCoreKit/platform/testing/VKTFixedRandomSource.h"
#include "tests/support/VKTThreadNames.h"

namespace {

using namespace std::string_literals;

std::string nestedArrays(int depth) {
    const auto count = static_cast<std::size_t>(depth);
    return std::string(count, '[') + std::string(count, ']');
}

TEST(JSON, ReadsAndWritesBack) {
    const std::pair<std::string, std::string> cases[] = {
        {R"({"b":1,"a":[true,null,"x/y"]})", R"({"b":1,"a":[true,null,"x/y"]})"},
        {R"("\u00e9\n\"")", "\"\xC3\xA9\\n\\\"\""},
        {R"({"a":1,"b":2,"a":{"c":3}})", R"({"a":{"c":3},"b":2})"},
        {"[9223372036854775807,-9223372036854775808]", "[9223372036854775807,-9223372036854775808]"},
        {" [1.5,2.0] ", "[1.5,2]"},
        {nestedArrays(VKTJSONDepthLimit), nestedArrays(VKTJSONDepthLimit)}};
    for (const auto& [text, written] : cases) {
        const auto value = vkt_JSONValueWithData(text);
        ASSERT_TRUE(value) << text;
        EXPECT_EQ(vkt_JSONStringWithValue(*value), written);
    }
}

TEST(JSON, IntegersStayIntegersWhereTheyFit) {
    const auto read = [](const char* text) { return vkt_JSONValueWithData(text).value(); };
    EXPECT_EQ(*read("7").asInteger(), 7);
    EXPECT_EQ(*read("7.0").asDouble(), 7.0);
    EXPECT_EQ(*read("9223372036854775807").asInteger(), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(*read("9223372036854775808").asUnsignedInteger(), std::uint64_t{1} << 63U);
    EXPECT_EQ(*read("18446744073709551615").asUnsignedInteger(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(*read("18446744073709551616").asDouble(), 18446744073709551616.0);
    EXPECT_EQ(*read("-9223372036854775809").asDouble(), -9223372036854775808.0);
}

TEST(JSON, NumbersSurviveAnArchiveToTheLastDigit) {
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

TEST(JSON, RefusesWhatIsNotJSON) {
    for (const std::string& text :
         {""s, "{"s, "[1,]"s, "{'a':1}"s, "nul"s, "01"s, "1e999"s, "\"\x01\""s, "\"\xFF\""s, "[1] 2"s,
          "{}\0x"s, "NaN"s, "// c\n1"s, nestedArrays(VKTJSONDepthLimit + 1), std::string(1'000'000, '[')}) {
        std::optional<VKTError> error;
        EXPECT_FALSE(vkt_JSONValueWithData(text, &error)) << text.substr(0, 50);
        EXPECT_TRUE(error && !error->localizedDescription()->empty());
    }
}

TEST(JSON, DoesNotWriteWhatJSONCannotHold) {
    VKTValue deep = VKTArray();
    for (int i = 0; i < VKTJSONDepthLimit; ++i)
        deep = VKTArray{std::move(deep)};
    const VKTArray values{VKTBytes{"x"}, VKTDate(), "\xC3", VKTDictionary{{"\xC3", 1}}, HUGE_VAL, NAN, deep};
    for (const VKTValue& value : values)
        EXPECT_FALSE(vkt_JSONStringWithValue(value)) << value.description().substr(0, 50);
}

TEST(JSON, PrettyForPeople) {
    const auto value = vkt_JSONValueWithData(R"({"a":[1,{}],"b":[]})");
    EXPECT_EQ(vkt_prettyJSONStringWithValue(*value), "{\n  \"a\": [\n    1,\n    {}\n  ],\n  \"b\": []\n}");
}

TEST(Services, LocalOffsetKnowsDaylightSaving) {
    const char* old = std::getenv("TZ");
    const std::string saved = old == nullptr ? "" : old;
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    using std::chrono::sys_days;
    EXPECT_EQ(vkt_localOffsetFromUTC(sys_days{std::chrono::January / 15 / 2024}), std::chrono::hours(1));
    EXPECT_EQ(vkt_localOffsetFromUTC(sys_days{std::chrono::July / 15 / 2024}), std::chrono::hours(2));
    old == nullptr ? unsetenv("TZ") : setenv("TZ", saved.c_str(), 1);
    tzset();
}

TEST(Random, StaysInRange) {
    VKTSystemRandom system;
    VKTFixedRandomSource fixed({0, 1, 5, 4'000'000'000U});
    for (VKTRandomSource* source : std::initializer_list<VKTRandomSource*>{&system, &fixed}) {
        EXPECT_EQ(source->uniform(0), 0U);
        EXPECT_EQ(source->uniform(1), 0U);
        std::set<std::uint32_t> seen;
        for (int i = 0; i < 200; ++i)
            seen.insert(source->uniform(3));
        EXPECT_EQ(seen, (std::set<std::uint32_t>{0, 1, 2}));
    }
}

using Draws = std::array<std::uint32_t, 16>;

Draws draws() {
    Draws result{};
    for (std::uint32_t& draw : result)
        draw = VKTSystemRandom().uniform(std::numeric_limits<std::uint32_t>::max());
    return result;
}

TEST(Random, AForkedChildDrawsItsOwn) {
    draws();  // some more are drawn ahead
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const pid_t child = fork();
    if (child == 0) {
        const Draws own = draws();
        _exit(write(ends[1], own.data(), sizeof own) == sizeof own ? 0 : 1);
    }
    Draws ofChild{};
    EXPECT_EQ(read(ends[0], ofChild.data(), sizeof ofChild), static_cast<ssize_t>(sizeof ofChild));
    EXPECT_NE(ofChild, draws());
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
}

TEST(Clock, SystemClockTellsTheTimeOfDay) {
    const auto difference = VKTSystemClock().now() - std::chrono::system_clock::now();
    EXPECT_LT(std::chrono::abs(difference), std::chrono::seconds(5));
}

TEST(Platform, StartsNoThreadBeforeItIsNeeded) {
    std::thread([] {}).join();  // a sanitizer may start a thread of its own with the first one
    const auto before = vkt_threadNames().size();
    {
        const VKTPlatform platform = vkt_makeDefaultPlatform();
        EXPECT_NE(platform.makeXMLEventReader("<a/>"), nullptr);
        EXPECT_EQ(vkt_threadNames().size(), before);
        platform.passbackPool->post([] {});
        EXPECT_EQ(vkt_threadNames().size(), before + 1);
    }
    EXPECT_EQ(vkt_threadNames().size(), before);
}

TEST(Platform, MainLoopBelongsToTheMainThreadWhoeverMakesIt) {
    std::shared_ptr<VKTRunLoop> loop;
    std::thread([&] {
        loop = vkt_makeDefaultPlatform().mainRunLoop;
        EXPECT_FALSE(loop->isCurrentThread());
    }).join();
    EXPECT_TRUE(loop->isCurrentThread());
}

}  // namespace

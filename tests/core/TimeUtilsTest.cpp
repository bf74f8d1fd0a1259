#include "VKTCoreKit/core/VKTTimeUtils.h"

#include <gtest/gtest.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "VKTCoreKit/core/VKTLogDefaultOutput.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

using namespace std::chrono;

namespace {

TEST(TimeUtils, TimeCodes) {
    const std::pair<const char*, double> cases[] = {
        {"1:02:03.5", 3723.5}, {"59:59:59", 215999}, {"5", 5},       {"1:5", 65},
        {"00:10.05", 10.05},   {"00:00:10.000", 10}, {"00:00:00", 0}};
    for (const auto& [text, seconds] : cases)
        EXPECT_DOUBLE_EQ(VKTTimeUtils::timeIntervalFromVASTDuration(text), seconds) << text;
    for (const char* bad :
         {"60:00:00", "00:60:00", "00:00:60", "00:10.1234", "00:10.", "00:00:10.1.1", "1.5:00", ".5", "",
          ":10", "10:", "0:0:0:0", "123", "-5", "+5", " 5", "5\n", "0x"})
        EXPECT_EQ(VKTTimeUtils::timeIntervalFromVASTDuration(bad), -1) << bad;
}

TEST(TimeUtils, HoursMinutesSecondsTexts) {
    EXPECT_DOUBLE_EQ(VKTTimeUtils::timeIntervalWithHours("1:", "", "2", "5"), 3602.5);
    EXPECT_DOUBLE_EQ(VKTTimeUtils::timeIntervalWithHours("", "", "", ""), 0);
    EXPECT_DOUBLE_EQ(VKTTimeUtils::timeIntervalWithHours("0", "0", "1", "1234"), -1);
    EXPECT_DOUBLE_EQ(VKTTimeUtils::timeIntervalWithHours("0", "0", "1", "-5"), -1);
    EXPECT_DOUBLE_EQ(VKTTimeUtils::timeIntervalWithHours("-1", "0", "1", ""), -1);
}

TEST(TimeUtils, Percentages) {
    const std::pair<const char*, double> cases[] = {{"100%", 100}, {"0%", 0}, {"007%", 7}};
    for (const auto& [text, percentage] : cases)
        EXPECT_EQ(VKTTimeUtils::percentageFromPercentVASTDuration(text), percentage) << text;
    for (const char* bad : {"101%", "50 %", "%", "50", "12.5%", "-1%", "50%%", "50%\n"})
        EXPECT_EQ(VKTTimeUtils::percentageFromPercentVASTDuration(bad), -1) << bad;
    EXPECT_DOUBLE_EQ(VKTTimeUtils::percentageFromPercentVASTDuration(std::string(500, '9') + "%"), -1);
    EXPECT_DOUBLE_EQ(VKTTimeUtils::timeIntervalFromPercentVASTDuration("25%", 30), 7.5);
    EXPECT_DOUBLE_EQ(VKTTimeUtils::timeIntervalFromPercentVASTDuration("bad", 30), -1);
}

// Every millisecond of five minutes: of the first hour, and of the last one that a time code can name.
TEST(TimeUtils, TimeCodesAreTheNearestNumbersAndNoShareIsAboveItsTotal) {
    for (const int hour : {0, 59}) {
        for (int millisecond = 0; millisecond < 300'000; ++millisecond) {
            const int seconds = millisecond / 1000;
            std::array<char, 16> text{};
            std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", hour, seconds / 60, seconds % 60,
                          millisecond % 1000);
            const double total = VKTTimeUtils::timeIntervalFromVASTDuration(text.data());
            std::snprintf(text.data(), text.size(), "%d.%03d", hour * 3600 + seconds, millisecond % 1000);
            double nearest = -1;
            std::from_chars(text.begin(), text.end(), nearest);
            ASSERT_EQ(total, nearest) << text.data();
            if (total == 0) continue;
            ASSERT_EQ(VKTTimeUtils::timeIntervalFromPercentVASTDuration("100%", total), total);
            for (const double percentage : {25.0, 50.0, 75.0})
                ASSERT_LE(VKTTimeUtils::timeIntervalFromPercentage(percentage, total), total) << text.data();
        }
    }
}

TEST(TimeUtils, AShareOfNoTotalIsNoTime) {
    constexpr double most = std::numeric_limits<double>::max();
    EXPECT_LE(VKTTimeUtils::timeIntervalFromPercentage(25, most), most);
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const double none = std::nan("");
    for (const double total : {0.0, -1.0, infinity, -infinity, none}) {
        for (const double percentage : {0.0, 25.0, 100.0})
            EXPECT_EQ(VKTTimeUtils::timeIntervalFromPercentage(percentage, total), -1) << total;
    }
    for (const double percentage : {-0.5, 100.5, infinity, none})
        EXPECT_EQ(VKTTimeUtils::timeIntervalFromPercentage(percentage, 10), -1) << percentage;
}

TEST(TimeUtils, OffsetTypes) {
    EXPECT_EQ(VKTTimeUtils::offsetTypeFromString("00:00:05"), VKTOffsetTypeTime);
    EXPECT_EQ(VKTTimeUtils::offsetTypeFromString("5%"), VKTOffsetTypePercentage);
    for (const char* text : {"", "start", "101%", "60:00:00"})
        EXPECT_EQ(VKTTimeUtils::offsetTypeFromString(text), VKTOffsetTypeUnknown) << text;
}

TEST(TimeUtils, ConsumableTimecodes) {
    EXPECT_EQ(VKTTimeUtils::consumableTimecodes({"00:10", "bad", "5", "0:00:10.0", "00:00:00", "50%"}),
              (std::vector<double>{0, 5, 10}));
    EXPECT_EQ(VKTTimeUtils::consumableTimecodes({"bad"}), std::nullopt);
}

TEST(TimeUtils, Durations) {
    const std::pair<std::int64_t, std::optional<std::string>> cases[] = {
        {-1, std::nullopt}, {0, "00:00"},         {59, "00:59"},         {3599, "59:59"},
        {3600, "01:00:00"}, {359999, "99:59:59"}, {360000, std::nullopt}};
    for (const auto& [seconds, text] : cases)
        EXPECT_EQ(VKTTimeUtils::stringFromDuration(seconds), text);
    EXPECT_EQ(VKTTimeUtils::stringFromDuration(7, 3), "007");
    EXPECT_EQ(VKTTimeUtils::stringFromDuration(1000, 3), std::nullopt);
    EXPECT_EQ(VKTTimeUtils::secondsToHoursMinutesSeconds(7384), (VKTHoursMinutesSeconds{2, 3, 4}));
}

TEST(TimeUtils, TimesInAZone) {
    const VKTDate date = sys_days(2024y / March / 5) + 7h + 8min + 9s + 123ms;
    EXPECT_EQ(VKTTimeUtils::timeFromDate(date, VKTTimeZone::fixed(-(8h))), "23:08:09");
}

TEST(TimeUtils, TheCurrentTimeIsThePlatformsInTheDevicesZone) {
    const VKTTestPlatform fakes = vkt_makeTestPlatform();
    const VKTScopedPlatform scope(fakes.platform);
    const VKTTimeZone zone(vkt_localOffsetFromUTC);
    const VKTDate now = fakes.clock->now();
    EXPECT_EQ(VKTTimeUtils::timestampForVASTMacro(), VKTTimeUtils::timestampForVASTMacroWithDate(now, zone));
    EXPECT_EQ(VKTLogDefaultOutput::generateLog("text", VKTLogLevelWarning, "Tag"),
              VKTTimeUtils::timeFromDate(now, zone) + " Tag[WARNING] text");
}

}  // namespace

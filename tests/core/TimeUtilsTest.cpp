#include "VKTCoreKit/core/VKTTimeUtils.h"

#include <gtest/gtest.h>

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
    EXPECT_DOUBLE_EQ(VKTTimeUtils::timeIntervalFromPercentage(50, 0), -1);
    EXPECT_DOUBLE_EQ(VKTTimeUtils::timeIntervalFromPercentage(100.5, 10), -1);
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

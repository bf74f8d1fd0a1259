#include "VKTCoreKit/foundation/VKTDate.h"

#include <gtest/gtest.h>

using namespace std::chrono;

namespace {

TEST(Date, TimestampsShowTheZonesClock) {
    const VKTDate date = sys_days(2024y / March / 5) + 23h + 8min + 9s + 123'999us;
    const std::pair<seconds, const char*> cases[] = {{0s, "2024-03-05T23:08:09.123+0000"},
                                                     {1h, "2024-03-06T00:08:09.123+0100"},
                                                     {-(3h + 30min), "2024-03-05T19:38:09.123-0330"},
                                                     {-30min, "2024-03-05T22:38:09.123-0030"},
                                                     {5h + 45min, "2024-03-06T04:53:09.123+0545"}};
    for (const auto& [offset, text] : cases)
        EXPECT_EQ(vkt_ISO8601StringFromDate(date, VKTTimeZone::fixed(offset)), text);
}

TEST(Date, BeforeTheEpochTheTimeOfDayStillCountsForwards) {
    const VKTDate date{-1us};
    EXPECT_EQ(vkt_ISO8601StringFromDate(date, VKTTimeZone::UTC()), "1969-12-31T23:59:59.999+0000");
}

TEST(Date, DescriptionsCutTheFractionOff) {
    const std::pair<VKTDate, const char*> cases[] = {
        {sys_days(2024y / March / 5) + 7h + 8min + 9s + 999'999us, "2024-03-05 07:08:09 +0000"},
        {VKTDate{0us}, "1970-01-01 00:00:00 +0000"},
        {VKTDate{-1us}, "1969-12-31 23:59:59 +0000"},
        {sys_days(1969y / December / 31), "1969-12-31 00:00:00 +0000"}};
    for (const auto& [date, text] : cases)
        EXPECT_EQ(vkt_descriptionOfDate(date), text);
}

TEST(Date, ZonesAreAskedForEachInstant) {
    const VKTDate change = sys_days(2024y / March / 31) + 1h;
    const VKTTimeZone zone([&](VKTDate date) { return date < change ? 1h : 2h; });
    EXPECT_EQ(vkt_timeOfDay(change - 1s, zone).hour, 1);
    EXPECT_EQ(vkt_timeOfDay(change, zone).hour, 3);
}

TEST(Date, LogTimestampsHaveTheWeeksYearAndTheDayOfTheYear) {
    const std::pair<VKTDate, const char*> cases[] = {
        {sys_days(2024y / March / 5) + 7h + 8min + 9s + 123'999us, "2024-03-65T07:03:09.123000+0000"},
        {sys_days(2022y / December / 31) + 23h + 59min + 59s,
         "2022-12-365T23:12:59.000000+0000"},                                   // Saturday
        {sys_days(2023y / January / 1), "2023-01-01T00:01:00.000000+0000"},     // Sunday
        {sys_days(2023y / December / 31), "2024-12-365T00:12:00.000000+0000"},  // Sunday
        {sys_days(2024y / December / 28), "2024-12-363T00:12:00.000000+0000"},  // Saturday
        {sys_days(2024y / December / 29), "2025-12-364T00:12:00.000000+0000"},  // Sunday
        {sys_days(2024y / December / 31), "2025-12-366T00:12:00.000000+0000"},
        {sys_days(2021y / January / 1), "2021-01-01T00:01:00.000000+0000"},
        {sys_days(2021y / April / 9) + 12h, "2021-04-99T12:04:00.000000+0000"},
        {VKTDate{-1us}, "1970-12-365T23:12:59.999000+0000"}};
    for (const auto& [date, text] : cases)
        EXPECT_EQ(vkt_logTimestampFromDate(date), text);
}

}  // namespace

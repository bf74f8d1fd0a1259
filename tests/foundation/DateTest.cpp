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

TEST(Date, ZonesAreAskedForEachInstant) {
    const VKTDate change = sys_days(2024y / March / 31) + 1h;
    const VKTTimeZone zone([&](VKTDate date) { return date < change ? 1h : 2h; });
    EXPECT_EQ(vkt_timeOfDay(change - 1s, zone).hour, 1);
    EXPECT_EQ(vkt_timeOfDay(change, zone).hour, 3);
}

}  // namespace

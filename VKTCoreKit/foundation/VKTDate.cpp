#include "VKTCoreKit/foundation/VKTDate.h"

#include <array>
#include <cstdio>
#include <cstdlib>

using namespace std::chrono;

namespace {

// The instant as the zone's clocks show it.
VKTDate localDate(VKTDate date, const VKTTimeZone& timeZone) {
    return date + timeZone.secondsFromUTC(date);
}

}  // namespace

VKTTimeZone VKTTimeZone::fixed(seconds offset) {
    return VKTTimeZone([offset](VKTDate) { return offset; });
}

VKTTimeOfDay vkt_timeOfDay(VKTDate date, const VKTTimeZone& timeZone) {
    const VKTDate local = localDate(date, timeZone);
    const hh_mm_ss time(floor<milliseconds>(local - floor<days>(local)));
    return {static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
            static_cast<int>(time.seconds().count()), static_cast<int>(time.subseconds().count())};
}

std::string vkt_ISO8601StringFromDate(VKTDate date, const VKTTimeZone& timeZone) {
    const year_month_day day(floor<days>(localDate(date, timeZone)));
    const VKTTimeOfDay time = vkt_timeOfDay(date, timeZone);
    const auto offset = duration_cast<minutes>(timeZone.secondsFromUTC(date)).count();
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03d%c%02d%02d",
                  static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                  static_cast<unsigned>(day.day()), time.hour, time.minute, time.second, time.millisecond,
                  offset < 0 ? '-' : '+', static_cast<int>(std::abs(offset) / 60),
                  static_cast<int>(std::abs(offset) % 60));
    return text.data();
}

std::string vkt_descriptionOfDate(VKTDate date) {
    const year_month_day day(floor<days>(date));
    const VKTTimeOfDay time = vkt_timeOfDay(date, VKTTimeZone::UTC());
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d +0000",
                  static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                  static_cast<unsigned>(day.day()), time.hour, time.minute, time.second);
    return text.data();
}

std::string vkt_logTimestampFromDate(VKTDate date) {
    const sys_days midnight = floor<days>(date);
    const year_month_day day(midnight);
    const year_month_day weekEnd(midnight + (Saturday - weekday(midnight)));
    const auto dayOfYear = (midnight - sys_days(day.year() / January / 1)).count() + 1;
    const auto month = static_cast<unsigned>(day.month());
    const VKTTimeOfDay time = vkt_timeOfDay(date, VKTTimeZone::UTC());
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02dT%02d:%02u:%02d.%03d000+0000",
                  static_cast<int>(weekEnd.year()), month, static_cast<int>(dayOfYear), time.hour, month,
                  time.second, time.millisecond);
    return text.data();
}

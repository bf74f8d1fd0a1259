// Dates, time zones and the fixed date patterns that the library writes.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"

/// An instant on the wall clock, microseconds since 1970-01-01T00:00:00Z without leap seconds.
using VKTDate = std::chrono::sys_time<std::chrono::microseconds>;

/// A length of time in seconds.
using VKTTimeInterval = std::chrono::duration<double>;

/// A time zone: the offset from UTC at an instant. A value; safe from any thread.
class VKT_EXPORT VKTTimeZone {
  public:
    static VKTTimeZone UTC() { return fixed(std::chrono::seconds(0)); }

    /// A zone without daylight saving; `offset` is positive east of Greenwich.
    static VKTTimeZone fixed(std::chrono::seconds offset);

    /// A zone whose offset is asked for each instant.
    explicit VKTTimeZone(std::function<std::chrono::seconds(VKTDate)> offsetAtDate)
        : offsetAtDate_(std::move(offsetAtDate)) {}

    [[nodiscard]] std::chrono::seconds secondsFromUTC(VKTDate date) const { return offsetAtDate_(date); }

  private:
    std::function<std::chrono::seconds(VKTDate)> offsetAtDate_;
};

/// The time of day at an instant in a zone.
struct VKTTimeOfDay {
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;  ///< truncated
};

VKT_EXPORT VKTTimeOfDay vkt_timeOfDay(VKTDate date, const VKTTimeZone& timeZone);

/// The pattern "yyyy-MM-dd'T'HH:mm:ss.SSSZZ" of Unicode TS 35: 2024-03-05T08:08:09.123+0100.
/// Milliseconds are truncated; UTC is written as +0000.
VKT_EXPORT std::string vkt_ISO8601StringFromDate(VKTDate date, const VKTTimeZone& timeZone);

/// A date as "%@" prints it, in UTC: 2024-03-05 07:08:09 +0000. The fraction of the second is cut off: the
/// text is never later than the date, before 1970 as well.
VKT_EXPORT std::string vkt_descriptionOfDate(VKTDate date);

/// The pattern "YYYY-MM-DD'T'HH:MM:ss.SSSSSSZ" of Unicode TS 35, in UTC: the week's year, the month, the day
/// of the year and, in the place of the minute, the month again: 2024-03-05 07:08:09.123 is
/// 2024-03-65T07:03:09.123000+0000. Log collectors expect it so. Weeks begin on Sunday, and the one with
/// 1 January belongs to the new year. Milliseconds are truncated.
VKT_EXPORT std::string vkt_logTimestampFromDate(VKTDate date);

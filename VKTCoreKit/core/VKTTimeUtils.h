// Time codes of ad documents, durations and timestamps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTExport.h"

/// What an offset text is.
enum VKTOffsetType : std::uint8_t {
    VKTOffsetTypeTime = 0,
    VKTOffsetTypePercentage = 1,
    VKTOffsetTypeUnknown = 2,
};

/// A length of time as a clock shows it.
struct VKTHoursMinutesSeconds {
    std::int64_t hours = 0;
    std::int64_t minutes = 0;
    std::int64_t seconds = 0;

    friend bool operator==(const VKTHoursMinutesSeconds&, const VKTHoursMinutesSeconds&) = default;
};

/// Pure functions, safe from any thread. Time codes are seconds; -1.0 stands for "not a time code".
class VKT_EXPORT VKTTimeUtils {
  public:
    /// Reads "HH:MM:SS.mmm"; hours, minutes and the fraction may be missing, fields may have one digit. Each
    /// of hours, minutes and seconds is below 60. -1.0 for anything else, surrounding blanks included. The
    /// number that is nearest to the text, so equal times are equal numbers.
    static double timeIntervalFromVASTDuration(std::string_view string);

    /// Reads "N%", N made of digits only and at most 100. -1.0 for anything else.
    static double percentageFromPercentVASTDuration(std::string_view string);

    /// The share of `totalTime` seconds, never above the total; 100 % is the total itself. -1.0 when the
    /// percentage is out of 0 to 100, or the total is not positive or not finite.
    static double timeIntervalFromPercentVASTDuration(std::string_view string, double totalTime);
    static double timeIntervalFromPercentage(double percentage, double totalTime);

    /// The seconds of four decimal texts, an empty one being 0. Milliseconds are a fraction: "5" is 500 ms.
    /// -1.0 when a field is out of range.
    static double timeIntervalWithHours(std::string_view hours, std::string_view minutes,
                                        std::string_view seconds, std::string_view milliseconds);

    static VKTOffsetType offsetTypeFromString(std::string_view string);

    /// The distinct times of the texts that are time codes, ascending; nothing when there is none.
    static std::optional<std::vector<double>> consumableTimecodes(const std::vector<std::string>& strings);

    static VKTHoursMinutesSeconds secondsToHoursMinutesSeconds(std::int64_t seconds);

    /// "MM:SS", from one hour on "HH:MM:SS"; nothing below zero and from 100 hours on.
    static std::optional<std::string> stringFromDuration(std::int64_t seconds);

    /// The number padded with zeros to the digits given; nothing when it is negative or longer.
    static std::optional<std::string> stringFromDuration(std::int64_t seconds,
                                                         std::uint8_t withNumberOfDigits);

    /// The time of day as "HH:mm:ss", in the device's zone unless one is given.
    static std::string timeFromDate(VKTDate date);
    static std::string timeFromDate(VKTDate date, const VKTTimeZone& calendar);

    /// The timestamp of the tracking macros, as in 2024-03-05T08:08:09.123+0100: the current time in the
    /// device's zone unless they are given.
    static std::string timestampForVASTMacro();
    static std::string timestampForVASTMacroWithDate(VKTDate date, const VKTTimeZone& timeZone);
};

#include "VKTCoreKit/core/VKTTimeUtils.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/VKTServices.h"

namespace {

constexpr double invalidTime = -1.0;
constexpr std::size_t millisecondDigits = 3;
constexpr std::int64_t millisecondsPerSecond = 1000;

bool isField(std::string_view text, std::size_t maximumLength) {
    return text.size() <= maximumLength && VKTUtils::stringIsDigitsOnly(text);
}

VKTTimeZone localTimeZone() {
    return VKTTimeZone(vkt_localOffsetFromUTC);
}

}  // namespace

double VKTTimeUtils::timeIntervalFromVASTDuration(std::string_view string) {
    const std::size_t point = string.find('.');
    std::string_view milliseconds;
    if (point != std::string_view::npos) {
        milliseconds = string.substr(point + 1);
        if (!isField(milliseconds, millisecondDigits)) return invalidTime;
    }
    const auto pieces = vkt_split(string.substr(0, point), ':');
    const bool areFields =
        std::all_of(pieces.begin(), pieces.end(), [](std::string_view piece) { return isField(piece, 2); });
    if (!areFields || pieces.size() > 3) return invalidTime;

    std::array<std::string_view, 3> fields;  // hours, minutes, seconds
    std::copy(pieces.begin(), pieces.end(), fields.end() - static_cast<std::ptrdiff_t>(pieces.size()));
    return timeIntervalWithHours(fields[0], fields[1], fields[2], milliseconds);
}

double VKTTimeUtils::percentageFromPercentVASTDuration(std::string_view string) {
    if (!string.ends_with('%')) return invalidTime;
    string.remove_suffix(1);
    if (!VKTUtils::stringIsDigitsOnly(string)) return invalidTime;
    const double percentage = vkt_doubleValue(string);
    return percentage <= 100 ? percentage : invalidTime;
}

double VKTTimeUtils::timeIntervalFromPercentVASTDuration(std::string_view string, double totalTime) {
    return timeIntervalFromPercentage(percentageFromPercentVASTDuration(string), totalTime);
}

double VKTTimeUtils::timeIntervalFromPercentage(double percentage, double totalTime) {
    const bool isValid = percentage >= 0 && percentage <= 100 && totalTime > 0 && std::isfinite(totalTime);
    if (!isValid) return invalidTime;
    if (percentage == 100) return totalTime;  // rounding would miss it
    return std::min(percentage * totalTime / 100, totalTime);
}

double VKTTimeUtils::timeIntervalWithHours(std::string_view hours, std::string_view minutes,
                                           std::string_view seconds, std::string_view milliseconds) {
    std::int64_t total = 0;
    for (const std::string_view field : {hours, minutes, seconds}) {
        const std::int64_t value = vkt_integerValue(field);
        if (value < 0 || value >= 60) return invalidTime;  // hours too
        total = total * 60 + value;
    }
    if (milliseconds.size() > millisecondDigits) return invalidTime;
    std::string padded(milliseconds);
    padded.resize(millisecondDigits, '0');
    const std::int64_t thousandths = vkt_integerValue(padded);
    if (thousandths < 0) return invalidTime;
    // One division of whole numbers is rounded once, so the nearest number to the text is what comes out.
    return static_cast<double>(total * millisecondsPerSecond + thousandths) / millisecondsPerSecond;
}

VKTOffsetType VKTTimeUtils::offsetTypeFromString(std::string_view string) {
    if (percentageFromPercentVASTDuration(string) != invalidTime) return VKTOffsetTypePercentage;
    if (timeIntervalFromVASTDuration(string) != invalidTime) return VKTOffsetTypeTime;
    return VKTOffsetTypeUnknown;
}

std::optional<std::vector<double>> VKTTimeUtils::consumableTimecodes(
    const std::vector<std::string>& strings) {
    std::vector<double> times;
    for (const std::string& string : strings) {
        const double time = timeIntervalFromVASTDuration(string);
        if (time >= 0) times.push_back(time);
    }
    if (times.empty()) return std::nullopt;
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

VKTHoursMinutesSeconds VKTTimeUtils::secondsToHoursMinutesSeconds(std::int64_t seconds) {
    const std::int64_t rest = seconds % 3600;
    return {seconds / 3600, rest / 60, rest % 60};
}

std::optional<std::string> VKTTimeUtils::stringFromDuration(std::int64_t seconds) {
    if (seconds < 0) return std::nullopt;
    const VKTHoursMinutesSeconds parts = secondsToHoursMinutesSeconds(seconds);
    const std::string text =
        *stringFromDuration(parts.minutes, 2) + ":" + *stringFromDuration(parts.seconds, 2);
    if (parts.hours == 0) return text;
    const auto hours = stringFromDuration(parts.hours, 2);
    return hours ? std::optional<std::string>(*hours + ":" + text) : std::nullopt;
}

std::optional<std::string> VKTTimeUtils::stringFromDuration(std::int64_t seconds,
                                                            std::uint8_t withNumberOfDigits) {
    const std::string text = std::to_string(seconds);
    if (seconds < 0 || text.size() > withNumberOfDigits) return std::nullopt;
    return std::string(withNumberOfDigits - text.size(), '0') + text;
}

std::string VKTTimeUtils::timeFromDate(VKTDate date) {
    return timeFromDate(date, localTimeZone());
}

std::string VKTTimeUtils::timeFromDate(VKTDate date, const VKTTimeZone& calendar) {
    const VKTTimeOfDay time = vkt_timeOfDay(date, calendar);
    return *stringFromDuration(time.hour, 2) + ":" + *stringFromDuration(time.minute, 2) + ":" +
           *stringFromDuration(time.second, 2);
}

std::string VKTTimeUtils::timestampForVASTMacro() {
    return timestampForVASTMacroWithDate(VKTPlatform::current().clock->now(), localTimeZone());
}

std::string VKTTimeUtils::timestampForVASTMacroWithDate(VKTDate date, const VKTTimeZone& timeZone) {
    return vkt_ISO8601StringFromDate(date, timeZone);
}

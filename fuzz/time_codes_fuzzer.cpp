#include <string>

#include "Fuzzing.h"
#include "VKTCoreKit/core/VKTTimeUtils.h"

namespace {

constexpr double notATime = -1.0;

bool isBetween(double value, double least, double most) {
    return value >= least && value <= most;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = inputText(data, size);
    const double time = VKTTimeUtils::timeIntervalFromVASTDuration(text);
    const double percentage = VKTTimeUtils::percentageFromPercentVASTDuration(text);
    const VKTOffsetType type = VKTTimeUtils::offsetTypeFromString(text);
    require(time == notATime || isBetween(time, 0, 60 * 3600), "a time code is below 60 hours");
    require(percentage == notATime || isBetween(percentage, 0, 100), "a percentage is one");
    require(time == notATime || percentage == notATime, "a text is a time code or a percentage, not both");
    require(time == notATime || type == VKTOffsetTypeTime, "a time code is recognised as one");
    require(percentage == notATime || type == VKTOffsetTypePercentage, "a percentage is recognised as one");

    const auto timecodes =
        VKTTimeUtils::consumableTimecodes({std::string(text), "00:00:01", std::string(text)});
    require(timecodes && timecodes->size() <= 2, "time codes are distinct");
    VKTTimeUtils::timeIntervalWithHours(text, text, text, text);
    return 0;
}

#include "server/PixelLog.h"

#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/platform/VKTServices.h"

namespace {

// One line of ASCII, whatever the client sent.
std::string printable(std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > ' ' && byte < 0x7F) {
            result += c;
        } else {
            result += {'%', digits[byte >> 4U], digits[byte & 0xFU]};
        }
    }
    return result;
}

}  // namespace

std::string localTextOfDate(VKTDate date) {
    static const VKTTimeZone zone(vkt_localOffsetFromUTC);
    return vkt_ISO8601StringFromDate(date, zone);
}

std::string timeOfDay(VKTDate date) {
    return localTextOfDate(date).substr(11, 12);
}

void PixelLog::add(std::string_view target, std::string answer) {
    const std::size_t mark = target.find('?');
    const bool hasQuery = mark != std::string_view::npos;
    const auto now = std::chrono::system_clock::now();
    Hit hit{std::chrono::time_point_cast<VKTDate::duration>(now), printable(target.substr(0, mark)),
            hasQuery ? printable(target.substr(mark + 1)) : "", std::move(answer)};
    std::string line = timeOfDay(hit.time) + ' ' + hit.path;
    if (!hit.query.empty()) line += ' ' + hit.query;
    if (hit.answer != "normal") line += " -> " + hit.answer;
    onLine_(line);
    const std::lock_guard lock(mutex_);
    if (hits_.size() == limit) hits_.pop_front();
    hits_.push_back(std::move(hit));
}

void PixelLog::clear() {
    const std::lock_guard lock(mutex_);
    hits_.clear();
}

std::string PixelLog::JSON() const {
    VKTArray report;
    {
        const std::lock_guard lock(mutex_);
        for (const Hit& hit : hits_) {
            report.emplace_back(VKTDictionary{{"time", localTextOfDate(hit.time)},
                                              {"path", hit.path},
                                              {"query", hit.query},
                                              {"answer", hit.answer}});
        }
    }
    return vkt_JSONStringWithValue(std::move(report)).value_or("[]");
}

#include "VKTCoreKit/tracking/VKTPixel.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "VKTCoreKit/core/VKTRandom.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

constexpr std::string_view keyID = "id";
constexpr std::string_view keyURL = "url";
constexpr std::string_view keyExpirationDate = "expirationDate";
constexpr std::string_view keyStatus = "status";

std::optional<std::string> textFromStatus(VKTPixelStatus status) {
    switch (status) {
        case VKTPixelStatusPending:
            return "pending";
        case VKTPixelStatusSuccess:
            return "success";
    }
    return std::nullopt;
}

std::chrono::microseconds monotonicTime(const VKTClock& clock) {
    return std::chrono::duration_cast<std::chrono::microseconds>(clock.monotonicNow());
}

// When the life that a pixel has left is over.
std::chrono::microseconds endOfLife(VKTDate expirationDate) {
    constexpr std::chrono::microseconds century =
        std::chrono::years(100);  // beyond it the sum would overflow
    const VKTClock& clock = *VKTPlatform::current().clock;
    const VKTDate now = clock.now();
    return monotonicTime(clock) + (std::clamp(expirationDate, now - century, now + century) - now);
}

std::optional<std::uint32_t> decodedID(const VKTKeyedUnarchiver& coder) {
    const auto number = coder.decodeNumber(keyID);
    if (!number || !number->isInteger()) return std::nullopt;
    const std::int64_t value = number->integerValue();
    if (value < 0 || value > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return static_cast<std::uint32_t>(value);
}

}  // namespace

std::shared_ptr<VKTPixel> VKTPixel::initWithID(std::uint32_t ID, VKTURL url, VKTDate expirationDate,
                                               VKTPixelStatus status) {
    return std::make_shared<VKTPixel>(Private(), ID, std::move(url), expirationDate, status,
                                      endOfLife(expirationDate), std::string());
}

std::shared_ptr<VKTPixel> VKTPixel::initWithUrl(VKTURL url, VKTDate expirationDate) {
    return initWithID(VKTRandom::randomUnsignedInt(), std::move(url), expirationDate, VKTPixelStatusPending);
}

std::shared_ptr<VKTPixel> VKTPixel::initWithUrl(VKTURL url, std::string origin) {
    const auto life = std::chrono::round<VKTDate::duration>(DEFAULT_EXPIRATION_INTERVAL);
    const VKTDate expirationDate = VKTPlatform::current().clock->now() + life;
    return std::make_shared<VKTPixel>(Private(), VKTRandom::randomUnsignedInt(), std::move(url),
                                      expirationDate, VKTPixelStatusPending, endOfLife(expirationDate),
                                      std::move(origin));
}

std::shared_ptr<VKTPixel> VKTPixel::initWithCoder(const VKTKeyedUnarchiver& coder) {
    const auto ID = decodedID(coder);
    auto url = coder.decodeURL(keyURL);
    const auto expirationDate = coder.decodeDate(keyExpirationDate);
    if (!ID || !url || !expirationDate) return nullptr;
    const auto status = coder.decodeNumber(keyStatus);
    return std::make_shared<VKTPixel>(Private(), *ID, std::move(*url), *expirationDate,
                                      statusFromInt(status ? status->integerValue() : 0), std::nullopt,
                                      std::string());
}

void VKTPixel::encodeWithCoder(VKTKeyedArchiver& coder) const {
    coder.encodeNumber(keyID, std::int64_t{ID_});
    coder.encodeURL(keyURL, url_);
    coder.encodeDate(keyExpirationDate, expirationDate_);
    coder.encodeNumber(keyStatus, intFromStatus(status_));
}

bool VKTPixel::isExpired() const {
    return VKTPlatform::current().clock->now() > expirationDate_;
}

bool VKTPixel::isTimeOver() const {
    return end_ ? monotonicTime(*VKTPlatform::current().clock) > *end_ : isExpired();
}

VKTPixelStatus VKTPixel::statusFromInt(std::int64_t value) {
    return static_cast<VKTPixelStatus>(value);
}

std::int64_t VKTPixel::intFromStatus(VKTPixelStatus status) {
    return status;
}

bool VKTPixel::isEqualToPixel(const VKTPixel& other) const {
    return this == &other ||
           (ID_ == other.ID_ && url_ == other.url_ && expirationDate_ == other.expirationDate_);
}

std::string VKTPixel::description() const {
    return vkt_stringWithFormat(
        "VKTPixel(url=%@, expiration=%@, status=%@)",
        {url_.absoluteString(), vkt_descriptionOfDate(expirationDate_), textFromStatus(status_)});
}

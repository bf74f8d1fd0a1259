// One tracking URL to be called before it expires.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/foundation/VKTURL.h"

/// As archived; a number that has no name is kept.
enum VKTPixelStatus : std::int64_t {
    VKTPixelStatusPending = 0,
    VKTPixelStatusSuccess = 1,
};

/// An object with identity, shared by its store, the sending worker and callers. Any thread: all but the
/// status is immutable, and the status is atomic.
class VKTPixel {
    struct Private {
        explicit Private() = default;
    };

  public:
    static constexpr const char* archiveClassName = "VKTPixel";
    static constexpr VKTTimeInterval DEFAULT_EXPIRATION_INTERVAL{86400.0};

    static std::shared_ptr<VKTPixel> initWithID(std::uint32_t ID, VKTURL url, VKTDate expirationDate,
                                                VKTPixelStatus status);

    /// Pending, with a random ID.
    static std::shared_ptr<VKTPixel> initWithUrl(VKTURL url, VKTDate expirationDate);

    /// The same, expiring 24 hours from now.
    static std::shared_ptr<VKTPixel> initWithUrl(VKTURL url);

    /// Nothing unless ID, URL and date are there; an absent status is pending.
    static std::shared_ptr<VKTPixel> initWithCoder(const VKTKeyedUnarchiver& coder);
    void encodeWithCoder(VKTKeyedArchiver& coder) const;

    /// `end` as `isTimeOver` measures it; nothing for the wall clock.
    VKTPixel(Private, std::uint32_t ID, VKTURL url, VKTDate expirationDate, VKTPixelStatus status,
             std::optional<std::chrono::microseconds> end)
        : ID_(ID), url_(std::move(url)), expirationDate_(expirationDate), end_(end), status_(status) {}

    [[nodiscard]] std::uint32_t ID() const { return ID_; }
    [[nodiscard]] const VKTURL& url() const { return url_; }  ///< macros already filled
    [[nodiscard]] VKTDate expirationDate() const { return expirationDate_; }
    [[nodiscard]] VKTPixelStatus status() const { return status_; }
    void setStatus(VKTPixelStatus status) { status_ = status; }

    /// Whether now is later than the expiration date; a pixel that expires exactly now has not expired.
    [[nodiscard]] bool isExpired() const;

    /// The same for a pixel that was restored from an archive. For one that this process has made, the life
    /// that it had left when it was made is over: a clock that is set meanwhile makes it neither shorter nor
    /// longer.
    [[nodiscard]] bool isTimeOver() const;

    static VKTPixelStatus statusFromInt(std::int64_t value);
    static std::int64_t intFromStatus(VKTPixelStatus status);

    /// The same object, or equal ID, URL and expiration date.
    [[nodiscard]] bool isEqualToPixel(const VKTPixel& other) const;
    [[nodiscard]] std::string description() const;

  private:
    const std::uint32_t ID_;
    const VKTURL url_;
    const VKTDate expirationDate_;
    const std::optional<std::chrono::microseconds> end_;  // by the monotonic clock
    std::atomic<VKTPixelStatus> status_;
};

// One tracking URL to be called before it expires.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTKeyedArchive.h"
#include "VKTCoreKit/foundation/VKTURL.h"

/// As archived; a number that has no name is kept.
enum VKTPixelStatus : std::int64_t {
    VKTPixelStatusPending = 0,
    VKTPixelStatusSuccess = 1,
};

/// An object with identity, shared by its store, the sending worker and callers. Any thread: all but the
/// status and the attempts is immutable, and those are atomic.
class VKT_EXPORT VKTPixel {
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

    /// The same, expiring 24 hours from now. `origin`: see below.
    static std::shared_ptr<VKTPixel> initWithUrl(VKTURL url, std::string origin = {});

    /// Nothing unless ID, URL and date are there; an absent status is pending.
    static std::shared_ptr<VKTPixel> initWithCoder(const VKTKeyedUnarchiver& coder);
    void encodeWithCoder(VKTKeyedArchiver& coder) const;

    /// `end` as `isTimeOver` measures it; nothing for the wall clock.
    VKTPixel(Private, std::uint32_t ID, VKTURL url, VKTDate expirationDate, VKTPixelStatus status,
             std::optional<std::chrono::microseconds> end, std::string origin)
        : ID_(ID),
          url_(std::move(url)),
          expirationDate_(expirationDate),
          end_(end),
          origin_(std::move(origin)),
          status_(status) {}

    [[nodiscard]] std::uint32_t ID() const { return ID_; }
    [[nodiscard]] const VKTURL& url() const { return url_; }  ///< macros already filled
    [[nodiscard]] VKTDate expirationDate() const { return expirationDate_; }
    [[nodiscard]] VKTPixelStatus status() const { return status_; }
    void setStatus(VKTPixelStatus status) { status_ = status; }

    /// What it was made for: the name of a tracking event, "error", or what the caller of
    /// `VKTVASTPixelManager` said. Empty when nobody said. Not archived.
    [[nodiscard]] const std::string& origin() const { return origin_; }

    /// Whether it was made from an archive, so that an earlier launch or another process has left it.
    [[nodiscard]] bool isRestored() const { return !end_; }

    /// How often it was tried in this process. Not archived.
    [[nodiscard]] std::uint32_t attempts() const { return attempts_; }
    void addAttempt() { ++attempts_; }

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
    const std::string origin_;
    std::atomic<VKTPixelStatus> status_;
    std::atomic<std::uint32_t> attempts_ = 0;
};

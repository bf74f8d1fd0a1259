// What became of the pixels of a run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "VKTCoreKit/foundation/VKTKeyedHash.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/tracking/VKTPixelManager.h"

enum PixelEnd : std::uint8_t { PixelPending, PixelDelivered, PixelExpired };

/// One pixel and its latest outcome.
struct PixelRecord {
    std::string url;
    VKTDate expirationDate;
    std::string event;  ///< what it was called for
    bool isOfEarlierRun = false;
    std::optional<int> statusCode;  ///< of the latest attempt; nothing when none was answered
    std::optional<VKTError> error;  ///< of the latest attempt
    std::uint32_t attempts = 0;
    PixelEnd end = PixelPending;

    [[nodiscard]] bool isDelivered() const { return end == PixelDelivered; }

    /// "200", "-1001", "----".
    [[nodiscard]] std::string outcome() const;

    /// ": Could not connect"; empty when no transfer has failed.
    [[nodiscard]] std::string reason() const;

    /// "success", "pending" or "expired".
    [[nodiscard]] const char* status() const;
};

/// Observes a pixel manager and keeps a record of each pixel. A pixel is known by its place, from 0, in the
/// order of addition. Any thread.
class PixelLedger : public VKTPixelObserver {
  public:
    /// Called with no lock held, on the pixel manager's worker, whenever a pixel was answered or expired.
    using OutcomeHandler = std::function<void(std::size_t place)>;

    explicit PixelLedger(OutcomeHandler onOutcome = nullptr) : onOutcome_(std::move(onOutcome)) {}

    /// The places of pixels; those that are new are recorded.
    std::vector<std::size_t> placesOf(const VKTPixels& pixels);

    [[nodiscard]] PixelRecord record(std::size_t place) const;
    [[nodiscard]] std::vector<PixelRecord> records() const;  ///< all, a copy

    void pixelAdded(const std::shared_ptr<VKTPixel>& pixel) override { placesOf({pixel}); }
    void pixelDelivered(const std::shared_ptr<VKTPixel>& pixel,
                        const VKTURLSessionResponse& response) override {
        note(*pixel, PixelDelivered, &response);
    }
    void pixelRefused(const std::shared_ptr<VKTPixel>& pixel, const VKTURLSessionResponse& response,
                      bool /*isTriedAgain*/) override {
        note(*pixel, PixelPending, &response);
    }
    void pixelExpired(const std::shared_ptr<VKTPixel>& pixel) override {
        note(*pixel, PixelExpired, nullptr);
    }

  private:
    std::size_t placeOf(const VKTPixel& pixel);  // with the lock held
    void note(const VKTPixel& pixel, PixelEnd end, const VKTURLSessionResponse* response);

    const OutcomeHandler onOutcome_;
    mutable std::mutex mutex_;
    std::vector<PixelRecord> records_;
    std::unordered_map<std::uint32_t, std::size_t, VKTKeyedHash> placesByID_;
};

/// {"url","statusCode","attempts","status"}
VKTDictionary reportOfPixel(const PixelRecord& record);

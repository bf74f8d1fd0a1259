// What became of the pixels of a run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTKeyedHash.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/tracking/VKTPixelStore.h"
#include "ground/Source.h"

/// One pixel and its latest outcome.
struct PixelRecord {
    std::string url;
    VKTDate expirationDate;
    std::string event;              ///< what it was called for; empty until it is claimed
    std::optional<int> statusCode;  ///< of the latest attempt; nothing when none was answered
    std::optional<VKTError> error;  ///< of the latest attempt
    int attempts = 0;
    bool isDelivered = false;

    /// "200", "-1001", "----".
    [[nodiscard]] std::string outcome() const;
};

/// Stands between a pixel store and its provider and sees every pixel; told of the requests, it knows their
/// outcomes. A pixel is known by its place, from 0, in the order of addition.
///
/// Any thread, but pixels are added and claimed on one thread only: that is how a pixel is ascribed to the
/// event that it was made for.
class PixelLedger : public VKTPixelStoreChangesProviderProtocol {
  public:
    /// The provider must not be null, and takes changes or keeps nothing.
    explicit PixelLedger(std::shared_ptr<VKTPixelStoreProviderProtocol> provider)
        : provider_(std::move(provider)),
          changes_(dynamic_cast<VKTPixelStoreChangesProviderProtocol*>(provider_.get())) {}

    std::optional<VKTPixels> loadPixels() override;
    bool savePixels(const VKTPixels& pixels) override { return provider_->savePixels(pixels); }
    bool saveChanges(const VKTPixels& removed, const VKTPixels& added) override;
    [[nodiscard]] bool hasLostPixels() const override {
        return changes_ != nullptr && changes_->hasLostPixels();
    }
    VKTPixels takeLatePixels() override;
    [[nodiscard]] std::string pixelStoreKey() const override { return provider_->pixelStoreKey(); }

    /// The oldest pixels that have not been claimed, `most` of them or all; they become the event's.
    std::vector<std::size_t> claim(const std::string& event, std::size_t most = SIZE_MAX);

    /// Ascribes a finished request to the pixel of that URL that is not delivered and has been tried least;
    /// nothing when there is none.
    std::optional<std::size_t> requestEnded(const RequestRecord& request);

    [[nodiscard]] PixelRecord record(std::size_t place) const;
    [[nodiscard]] std::vector<PixelRecord> records() const;  ///< all, a copy

  private:
    void addAll(const VKTPixels& pixels);

    const std::shared_ptr<VKTPixelStoreProviderProtocol> provider_;
    VKTPixelStoreChangesProviderProtocol* const changes_;  // the same, or null
    mutable std::mutex mutex_;
    std::vector<PixelRecord> records_;
    std::unordered_map<std::uint32_t, std::size_t, VKTKeyedHash> placesByID_;
    // attempts, place
    std::unordered_map<std::string, std::set<std::pair<int, std::size_t>>, VKTKeyedHash> pendingByURL_;
    std::size_t claimed_ = 0;  // so many records have been claimed
};

/// {"url","statusCode","attempts","status"}
VKTDictionary reportOfPixel(const PixelRecord& record);

// Error pixels of VAST documents.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "VKTCoreKit/tracking/VKTPixelManager.h"
#include "VKTCoreKit/vast/VKTVASTURL.h"

/// Any thread. Holds its pixel manager.
class VKTVASTPixelManager {
  public:
    /// The pixel manager must not be null.
    static std::shared_ptr<VKTVASTPixelManager> initWithPixelManager(
        std::shared_ptr<VKTPixelManager> pixelManager);

    [[nodiscard]] const std::shared_ptr<VKTPixelManager>& pixelManager() const { return pixelManager_; }

    /// Fills the [ERRORCODE] macro (VAST 4.2, 6.3) of each URL and has them called. Code -1, an error that
    /// VAST has no code for, calls nothing.
    void callVASTErrorPixels(const std::vector<VKTVASTURL>& errorPixels, std::int64_t withErrorCode) const;

  private:
    explicit VKTVASTPixelManager(std::shared_ptr<VKTPixelManager> pixelManager)
        : pixelManager_(std::move(pixelManager)) {}

    const std::shared_ptr<VKTPixelManager> pixelManager_;
};

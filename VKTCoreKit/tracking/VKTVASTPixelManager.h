// The pixels that a VAST document lists as plain URLs: impressions, click trackers, error pixels.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/tracking/VKTEventURL.h"
#include "VKTCoreKit/tracking/VKTPixelManager.h"
#include "VKTCoreKit/vast/VKTVASTURL.h"

/// Fills URLs of a document and has them called at once: each list is one change of the store and one pass.
///
/// Any thread. Holds its pixel manager.
///
/// ```cpp
/// auto pixels = VKTVASTPixelManager::initWithPixelManager(pixelManager, macros);
/// pixels->callVASTPixels(ad->impressions(), {}, "impression");  // the first picture is seen
/// pixels->callVASTErrorPixels(ad->errorPixels(), 405);          // or the media cannot be shown
/// ```
class VKT_EXPORT VKTVASTPixelManager : public std::enable_shared_from_this<VKTVASTPixelManager> {
  public:
    /// The pixel manager must not be null. The macros go into every URL, as `VKTTrackingEventManager` fills
    /// its own: give both the same.
    static std::shared_ptr<VKTVASTPixelManager> initWithPixelManager(
        std::shared_ptr<VKTPixelManager> pixelManager, VKTReplacements macros = {});

    [[nodiscard]] const std::shared_ptr<VKTPixelManager>& pixelManager() const { return pixelManager_; }
    [[nodiscard]] const VKTReplacements& macros() const { return macros_; }

    /// Impressions, click trackers, or any other URLs: fills the manager's macros, then the additional ones
    /// ("ERRORCODE", "REASON" and the like), adds a pixel for each and has them called. A URL that cannot be
    /// filled, or not within VKTEventURLLengthLimit, is called as it is.
    ///
    /// `origin`, such as "impression", goes into the pixels (`VKTPixel::origin`). Returns them, one for each
    /// URL in its order, so that a VKTPixelObserver's words can be tied to the list.
    VKTPixels callVASTPixels(const std::vector<VKTVASTURL>& pixels,
                             const VKTReplacements& additionalMacros = {},
                             const std::string& origin = {}) const;

    /// Error pixels: the same, then the [ERRORCODE] macro (VAST 4.2, 6.3) in either form of its brackets, for
    /// which the URL's percent-encoding is taken off; a URL that is none without it is called as it is before
    /// that. Code -1, an error that VAST has no code for, calls nothing. Their origin is "error".
    VKTPixels callVASTErrorPixels(const std::vector<VKTVASTURL>& errorPixels,
                                  std::int64_t withErrorCode) const;

  private:
    VKTVASTPixelManager(std::shared_ptr<VKTPixelManager> pixelManager, VKTReplacements macros)
        : pixelManager_(std::move(pixelManager)), macros_(std::move(macros)) {}

    [[nodiscard]] VKTURL filledURL(const VKTVASTURL& pixel, const VKTReplacements& additionalMacros,
                                   const std::string& origin) const;
    void call(const VKTPixels& pixels) const;

    const std::shared_ptr<VKTPixelManager> pixelManager_;
    const VKTReplacements macros_;
};

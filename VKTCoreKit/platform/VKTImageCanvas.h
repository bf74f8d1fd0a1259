// A canvas that is a picture in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTCanvas.h"

/// Draws into memory: for devices that put the picture on the screen themselves (a texture, an on-screen
/// display plane), and for people who want to look at it.
///
/// One thread at a time. The picture lives as long as the canvas.
class VKT_EXPORT VKTImageCanvas : public VKTCanvas {
  public:
    [[nodiscard]] virtual std::size_t width() const = 0;   ///< in pixels
    [[nodiscard]] virtual std::size_t height() const = 0;  ///< in pixels

    /// 0xAARRGGBB with the colours multiplied by alpha; rows from the top without gaps, `width` pixels each.
    /// The view stays good as long as the canvas; its contents follow the drawing at the next call.
    [[nodiscard]] virtual std::span<const std::uint32_t> pixels() const = 0;

    /// Makes every pixel transparent, whatever the clip is.
    virtual void clear() = 0;

    /// False when the file cannot be written.
    [[nodiscard]] virtual bool writePNG(const std::string& path) const = 0;
};

/// A transparent picture of that many pixels, `scale` pixels to a point, drawn by cairo; null for a size or
/// scale of 0 or below, a side above 32,767 pixels and a scale that is not finite. Defined by the library
/// VKTCairoCanvas, which there is when VKTCoreKit was built with cairo.
VKT_EXPORT std::unique_ptr<VKTImageCanvas> vkt_makeCairoCanvasWithSize(int width, int height,
                                                                       double scale = 1);

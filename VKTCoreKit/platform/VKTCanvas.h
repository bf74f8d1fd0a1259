// What the library's own drawing needs of a drawing surface.
#pragma once

#include <string_view>

#include "VKTCoreKit/foundation/VKTColor.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTRect.h"

/// A surface to draw on, implemented over whatever the device draws with. Coordinates and lengths are in
/// points, x to the right, y downwards, and finite; what lies outside the surface is not drawn. Colours are
/// drawn over what is there already.
///
/// One thread at a time. Nobody keeps a canvas beyond the call that it was handed to.
class VKT_EXPORT VKTCanvas {
  public:
    virtual ~VKTCanvas() = default;

    /// Puts the clip aside; `restore` brings it back, the last one first. A `restore` too many does nothing.
    virtual void save() = 0;
    virtual void restore() = 0;

    /// From here on nothing is drawn outside of what the rectangle and the clip before share.
    virtual void clipToRect(const VKTRect& rect) = 0;

    /// The radius is cut to half the shorter side: there the ends are semicircles, and a square is a disc.
    /// With radius 0 the corners are square.
    virtual void fillRoundedRect(const VKTRect& rect, double radius, const VKTColor& color) = 0;

    /// A line along a circle, half its width on either side, with ends cut straight. Angles are in radians,
    /// clockwise from the right (3 o'clock); `sweep` from 0 to 2 pi.
    virtual void strokeArc(VKTPoint centre, double radius, double startAngle, double sweep, double lineWidth,
                           const VKTColor& color) = 0;

    /// One line of UTF-8 text; `leftMiddle` is its left end at half the height of its digits. Text that is
    /// not well-formed, and of a size that the surface cannot draw, is not drawn.
    virtual void drawText(std::string_view text, VKTPoint leftMiddle, double fontSize,
                          const VKTColor& color) = 0;

    /// How far `drawText` advances; 0 for what it does not draw.
    [[nodiscard]] virtual double widthOfText(std::string_view text, double fontSize) const = 0;
};

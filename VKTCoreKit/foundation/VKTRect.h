// Points and rectangles in view coordinates: x to the right, y downwards, in points.
#pragma once

#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"

/// A place in a view, in points.
struct VKTPoint {
    double x = 0;
    double y = 0;

    friend bool operator==(const VKTPoint&, const VKTPoint&) = default;
};

/// A value; width and height are not negative. The null rectangle is "no rectangle at all": it intersects
/// nothing and adds nothing to a union, and it equals only itself. A rectangle without area is not null.
struct VKT_EXPORT VKTRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    static VKTRect null();
    [[nodiscard]] bool isNull() const;
    [[nodiscard]] double area() const { return width * height; }

    /// What both cover; null when they are apart. Rectangles that only touch share a rectangle without area.
    [[nodiscard]] VKTRect intersection(const VKTRect& other) const;

    /// The smallest rectangle that covers both.
    [[nodiscard]] VKTRect unionWith(const VKTRect& other) const;

    friend bool operator==(const VKTRect&, const VKTRect&) = default;
};

/// "{{x, y}, {width, height}}", the null rectangle's origin as "inf".
VKT_EXPORT std::string vkt_stringFromRect(const VKTRect& rect);

#include "VKTCoreKit/foundation/VKTRect.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

std::string coordinate(double value) {
    return std::isinf(value) ? "inf" : vkt_numberDescription(value);
}

}  // namespace

VKTRect VKTRect::null() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    return {infinity, infinity, 0, 0};
}

bool VKTRect::isNull() const {
    return std::isinf(x) || std::isinf(y);
}

VKTRect VKTRect::intersection(const VKTRect& other) const {
    if (isNull() || other.isNull()) return null();
    const double left = std::max(x, other.x);
    const double top = std::max(y, other.y);
    const double right = std::min(x + width, other.x + other.width);
    const double bottom = std::min(y + height, other.y + other.height);
    if (right < left || bottom < top) return null();
    return {left, top, right - left, bottom - top};
}

VKTRect VKTRect::unionWith(const VKTRect& other) const {
    if (isNull()) return other;
    if (other.isNull()) return *this;
    const double left = std::min(x, other.x);
    const double top = std::min(y, other.y);
    return {left, top, std::max(x + width, other.x + other.width) - left,
            std::max(y + height, other.y + other.height) - top};
}

std::string vkt_stringFromRect(const VKTRect& rect) {
    return "{{" + coordinate(rect.x) + ", " + coordinate(rect.y) + "}, {" + coordinate(rect.width) + ", " +
           coordinate(rect.height) + "}}";
}

#include "VKTCoreKit/tracking/VKTViewabilityStatus.h"

#include <cmath>
#include <limits>

#include "VKTCoreKit/foundation/VKTText.h"

std::string VKTViewabilityStatus::description() const {
    return vkt_stringWithFormat("VKTViewabilityStatus(viewable: %@, percentage: %f, viewableRect: %@)",
                                {viewable ? "YES" : "NO", percentage, vkt_stringFromRect(viewableRect)});
}

bool operator==(const VKTViewabilityStatus& left, const VKTViewabilityStatus& right) {
    return left.viewable == right.viewable &&
           std::abs(left.percentage - right.percentage) <= std::numeric_limits<double>::epsilon() &&
           left.viewableRect == right.viewableRect;
}

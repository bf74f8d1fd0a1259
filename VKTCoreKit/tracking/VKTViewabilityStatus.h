// What was seen of a view at one moment.
#pragma once

#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTRect.h"

struct VKTViewabilityStatus;
VKT_EXPORT bool operator==(const VKTViewabilityStatus& left, const VKTViewabilityStatus& right);

/// A value.
struct VKT_EXPORT VKTViewabilityStatus {
    /// The application is active, and the view and all its ancestors are shown, however much of it is within
    /// the window.
    bool viewable = false;

    double percentage = 0;                   ///< the share of the view's area within the window, from 0 to 1
    VKTRect viewableRect = VKTRect::null();  ///< that part in the view's coordinates; null when there is none

    [[nodiscard]] bool isViewable() const { return viewable; }
    [[nodiscard]] std::string description() const;

    /// The percentages may differ by the double-precision epsilon.
    friend bool operator==(const VKTViewabilityStatus& left, const VKTViewabilityStatus& right);
};

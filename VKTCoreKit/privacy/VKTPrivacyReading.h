// What a read of the user's signals brought.
#pragma once

#include <optional>

#include "VKTCoreKit/privacy/VKTConsentVerdict.h"

/// Nobody may take a signal that is there and cannot be read for one that is not there.
template <typename Value>
struct VKTPrivacyReading {
    std::optional<Value> value;  ///< nothing when it is missing, incomplete, of another type, or unreadable
    bool isUnreadable = false;   ///< what it is made of is damaged or locked, in part at least
    VKTConsentClause signal{};   ///< the stored signal that it comes from, or why that gave nothing
};

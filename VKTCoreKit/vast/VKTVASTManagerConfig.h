// Settings of one VAST ad request.
#pragma once

#include <cstdint>
#include <string>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTExport.h"

/// A passive record.
struct VKT_EXPORT VKTVASTManagerConfig {
    /// Total time of each wrapper download.
    VKTTimeInterval requestTimeout{5.0};

    /// Wrappers followed one after another to a main ad; a passback may have one more.
    std::int64_t maximumWrappers = 5;

    /// Take every main ad of a document that a wrapper leads to, not only its first ad.
    bool handleWrappersAdpods = false;

    /// Refuse a wrapper of the first document that has no impression.
    bool strictWrapperFirstLevelImpressionValidation = false;

    [[nodiscard]] std::string description() const;
};

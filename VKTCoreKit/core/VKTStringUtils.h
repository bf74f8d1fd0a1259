// Text prepared for scripts.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"

/// Pure functions, safe from any thread.
class VKT_EXPORT VKTStringUtils {
  public:
    /// A backslash before every single quote that has none; "" for an absent string.
    static std::string escapeUnescapedSingleQuotesForString(std::optional<std::string_view> string);
};

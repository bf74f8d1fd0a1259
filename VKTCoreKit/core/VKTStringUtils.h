// Text prepared for scripts.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Pure functions, safe from any thread.
class VKTStringUtils {
  public:
    /// A backslash before every single quote that has none; "" for an absent string.
    static std::string escapeUnescapedSingleQuotesForString(std::optional<std::string_view> string);
};

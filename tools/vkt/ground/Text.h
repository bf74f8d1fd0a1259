// Words that several rooms need.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The text in quotation marks.
std::string quoted(std::string_view text);

/// The text; of one with more than 1024 bytes those, and "…".
std::string shortened(std::string_view text);

/// "1 ad", "3 ads".
std::string countOf(std::size_t count, const std::string& noun);

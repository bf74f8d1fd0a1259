// Words that several rooms need.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// A text from outside as it may stand in one line of a terminal. A blank takes the place of each control
/// character and line separator, U+FFFD that of what is not UTF-8 and of each mark that changes the direction
/// of writing: they could break the line, move the cursor or show the text in another order.
std::string onOneLine(std::string_view text);

/// The text in quotation marks.
std::string quoted(std::string_view text);

/// "1 ad", "3 ads".
std::string countOf(std::size_t count, const std::string& noun);

#include "VKTCoreKit/core/VKTStringUtils.h"

std::string VKTStringUtils::escapeUnescapedSingleQuotesForString(std::optional<std::string_view> string) {
    std::string result;
    char previous = '\0';
    for (const char c : string.value_or("")) {
        if (c == '\'' && previous != '\\') result.push_back('\\');
        result.push_back(c);
        previous = c;
    }
    return result;
}

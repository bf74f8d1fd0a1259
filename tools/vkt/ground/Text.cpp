#include "ground/Text.h"

std::string quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

std::string shortened(std::string_view text) {
    constexpr std::size_t limit = 1024;
    return std::string(text.substr(0, limit)) + (text.size() > limit ? "…" : "");
}

std::string countOf(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

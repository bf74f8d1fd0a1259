// What the fuzz targets share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

/// Ends the process when `holds` is false, so that the input is kept.
inline void require(bool holds, const char* rule) {
    if (holds) return;
    std::fprintf(stderr, "ERROR: broken rule: %s\n", rule);
    std::abort();
}

inline std::string_view inputText(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Called by the fuzzer with each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

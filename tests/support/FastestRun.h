// How long something takes, for tests that compare two costs.
#pragma once

#include <algorithm>
#include <chrono>

/// Of three runs the one that the machine disturbed least.
template <typename Action>
std::chrono::duration<double> fastestRun(const Action& action) {
    auto fastest = std::chrono::duration<double>::max();
    for (int i = 0; i < 3; ++i) {
        const auto start = std::chrono::steady_clock::now();
        action();
        fastest = std::min<std::chrono::duration<double>>(fastest, std::chrono::steady_clock::now() - start);
    }
    return fastest;
}

/// Keys chosen against a table may cost this many times what others cost. A table that they defeat takes
/// hundreds of times as long.
inline constexpr double VKTFlatCostRatio = 20;

// The threads of this process, as the system tells them.
#pragma once

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

/// The name of each thread, as often as it has one.
inline std::multiset<std::string> vkt_threadNames() {
    std::multiset<std::string> names;
    for (const auto& each : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(each.path() / "comm"), name);
        names.insert(name);
    }
    return names;
}

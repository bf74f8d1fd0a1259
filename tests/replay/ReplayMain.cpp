// Feeds every file of the folders given to a fuzz target, which ends the process at the first broken rule.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "Fuzzing.h"

int main(int argc, char** argv) {
    std::size_t replayed = 0;
    for (const std::string& folder : std::vector<std::string>(argv + 1, argv + argc)) {
        if (!std::filesystem::exists(folder)) continue;  // nothing has broken this target yet
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            std::cout << entry.path().filename() << std::endl;
            std::ifstream stream(entry.path(), std::ios::binary);
            const std::string input{std::istreambuf_iterator<char>(stream), {}};
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
            ++replayed;
        }
    }
    return replayed == 0 ? 1 : 0;
}

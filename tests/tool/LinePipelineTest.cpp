#include "commands/LinePipeline.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>
#include <thread>

#include "tests/support/VKTStoreFolder.h"

namespace {

std::atomic<bool> isMemoryScarce{false};
const std::thread::id mainThread = std::this_thread::get_id();

}  // namespace

// While memory is scarce, no thread but the main one is given any.
void* operator new(std::size_t size) {
    void* memory = isMemoryScarce && std::this_thread::get_id() != mainThread
                       ? nullptr
                       : std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

TEST(LinePipeline, WithoutMemoryForTheAnswerEachLineHasItsAnswer) {
    const VKTStoreFolder folder;
    const std::string input = folder.folder() + "/lines";
    std::string answers;
    std::ofstream file(input);
    for (int line = 1; line <= 200; ++line) {
        file << R"({"id":1,"xml":"<VAST version=\"4.2\"/>"})" << '\n';
        answers += R"({"id":null,"error":"there is not enough memory for it","line":)" +
                   std::to_string(line) + "}\n";
    }
    file.close();
    Output out(folder.path());
    const int lines = open(input.c_str(), O_RDONLY | O_CLOEXEC);
    isMemoryScarce = true;
    const auto problem = inspectLines(lines, 4, out);
    isMemoryScarce = false;
    close(lines);
    EXPECT_EQ(problem, std::nullopt);
    EXPECT_EQ(out.finish(), std::nullopt);
    EXPECT_EQ(vkt_contentOf(folder.path()), answers);
}

}  // namespace

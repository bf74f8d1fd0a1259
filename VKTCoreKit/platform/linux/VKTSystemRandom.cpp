#include "VKTCoreKit/platform/linux/VKTSystemRandom.h"

#include <pthread.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <utility>

namespace {

// How often this process has been made by a fork: what was drawn before is its parent's too.
std::atomic<std::uint32_t> forks = 0;

bool noticesForks() {
    static const bool isNoticed = pthread_atfork(nullptr, nullptr, [] { ++forks; }) == 0;
    return isNoticed;
}

using Words = std::array<std::uint32_t, 64>;  // as much as the system gives at once

// Not with arc4random, which glibc has since 2.36 only, and musl not at all.
void fill(Words& words) {
    if (getentropy(words.data(), sizeof words) == 0) return;
    // Before Linux 3.17.
    std::ifstream device("/dev/urandom", std::ios::binary);
    if (device.read(reinterpret_cast<char*>(words.data()), sizeof words)) return;
    std::fputs(
        "VKTCoreKit: the system gives no random numbers; the process needs getrandom(2) or /dev/urandom.\n",
        stderr);
    std::abort();
}

// One thread's.
class DrawnWords {
  public:
    std::uint32_t next() {
        if (left_ == 0 || forks_ != forks || !noticesForks()) draw();
        return std::exchange(words_.at(--left_), 0);
    }

  private:
    void draw() {
        forks_ = forks;
        fill(words_);
        left_ = words_.size();
    }

    Words words_{};
    std::size_t left_ = 0;
    std::uint32_t forks_ = 0;
};

std::uint32_t nextWord() {
    thread_local DrawnWords words;
    return words.next();
}

}  // namespace

std::uint32_t VKTSystemRandom::uniform(std::uint32_t upperBound) {
    if (upperBound < 2) return 0;
    // Below it are the words that would make some remainders more likely than others.
    const std::uint32_t firstFair = (0U - upperBound) % upperBound;
    std::uint32_t word = nextWord();
    while (word < firstFair)
        word = nextWord();
    return word % upperBound;
}

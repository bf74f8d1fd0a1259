#include "VKTCoreKit/foundation/VKTKeyedHash.h"

#include <bit>
#include <chrono>
#include <cstring>
#include <exception>
#include <random>

namespace {

struct Key {
    std::uint64_t first;
    std::uint64_t second;
};

// The clocks and where this process happens to lie in memory: all there is when no descriptor is left for a
// source of random numbers.
Key surroundings() noexcept {
    const int local = 0;
    const auto address = std::bit_cast<std::uintptr_t>(&local);
    const auto code = std::bit_cast<std::uintptr_t>(&vkt_sipHash13);
    const auto wall = std::chrono::system_clock::now().time_since_epoch().count();
    const auto uptime = std::chrono::steady_clock::now().time_since_epoch().count();
    return {static_cast<std::uint64_t>(wall) ^ (static_cast<std::uint64_t>(code) << 20U),
            static_cast<std::uint64_t>(uptime) ^ (static_cast<std::uint64_t>(address) << 20U)};
}

Key drawnKey() noexcept {
    const Key weak = surroundings();
    try {
        std::random_device source;
        const auto draw = [&source] { return (std::uint64_t{source()} << 32U) | source(); };
        const std::uint64_t first = draw();
        return {weak.first ^ first, weak.second ^ draw()};
    } catch (const std::exception&) {
        return weak;
    }
}

const Key& processKey() noexcept {
    static const Key key = drawnKey();
    return key;
}

// Its lowest byte comes first, on every machine.
std::uint64_t wordAt(const char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return std::endian::native == std::endian::little ? word : __builtin_bswap64(word);
}

// The last, incomplete word: its bytes, zeros, and the length of the text in the highest byte.
std::uint64_t lastWord(std::string_view rest, std::size_t length) {
    std::uint64_t word = static_cast<std::uint64_t>(length) << 56U;
    for (std::size_t i = 0; i < rest.size(); ++i)
        word |= std::uint64_t{static_cast<unsigned char>(rest[i])} << (8 * i);
    return word;
}

class State {
  public:
    explicit State(Key key)
        : v0_(key.first ^ 0x736f6d6570736575U),
          v1_(key.second ^ 0x646f72616e646f6dU),
          v2_(key.first ^ 0x6c7967656e657261U),
          v3_(key.second ^ 0x7465646279746573U) {}

    void take(std::uint64_t word) {
        v3_ ^= word;
        mix();
        v0_ ^= word;
    }

    std::uint64_t finish() {
        v2_ ^= 0xFFU;
        for (int i = 0; i < 3; ++i)
            mix();
        return v0_ ^ v1_ ^ v2_ ^ v3_;
    }

  private:
    void mix() {
        v0_ += v1_;
        v2_ += v3_;
        v1_ = std::rotl(v1_, 13) ^ v0_;
        v3_ = std::rotl(v3_, 16) ^ v2_;
        v0_ = std::rotl(v0_, 32) + v3_;
        v2_ += v1_;
        v3_ = std::rotl(v3_, 21) ^ v0_;
        v1_ = std::rotl(v1_, 17) ^ v2_;
        v2_ = std::rotl(v2_, 32);
    }

    std::uint64_t v0_;
    std::uint64_t v1_;
    std::uint64_t v2_;
    std::uint64_t v3_;
};

std::uint64_t hash(std::string_view text, Key key) {
    State state(key);
    const std::size_t length = text.size();
    for (; text.size() >= 8; text.remove_prefix(8))
        state.take(wordAt(text.data()));
    state.take(lastWord(text, length));
    return state.finish();
}

}  // namespace

std::uint64_t vkt_sipHash13(std::string_view text, std::uint64_t firstHalf,
                            std::uint64_t secondHalf) noexcept {
    return hash(text, {firstHalf, secondHalf});
}

std::uint64_t vkt_keyedHash(std::string_view text) noexcept {
    return hash(text, processKey());
}

std::uint64_t vkt_keyedHash(std::uint64_t number) noexcept {
    State state(processKey());
    state.take(number);
    return state.finish();
}

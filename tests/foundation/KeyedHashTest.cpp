#include "VKTCoreKit/foundation/VKTKeyedHash.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTValue.h"
#include "tests/support/FastestRun.h"

namespace {

constexpr std::size_t nameLength = 192;

// Names that all have one hash under the standard library's function for texts, whatever its seed: a change
// of the highest bit in one word of its input is undone by the same change in the next, so each pair of words
// has two forms.
std::vector<std::string> collidingNames() {
    constexpr std::uint64_t factor = 0xc6a4a7935bd1e995;
    std::uint64_t inverse = 1;
    for (int i = 0; i < 6; ++i)  // Newton's method modulo 2^64
        inverse *= 2 - factor * inverse;
    const auto shifted = [](std::uint64_t word) { return word ^ (word >> 47U); };
    const auto otherForm = [&](std::uint64_t word) {
        const std::uint64_t mixed = shifted(word * factor) * factor ^ (std::uint64_t{1} << 63U);
        return shifted(mixed * inverse) * inverse;
    };
    std::vector<std::string> names(1);
    for (std::size_t at = 0; at < nameLength; at += 16) {
        std::vector<std::string> longer;
        for (const std::string& name : names) {
            for (const std::uint64_t word : {std::uint64_t{at}, otherForm(at)}) {
                std::string bytes(sizeof word, '\0');
                std::memcpy(bytes.data(), &word, sizeof word);
                longer.push_back(name + bytes + bytes);
            }
        }
        names = std::move(longer);
    }
    return names;
}

std::vector<std::string> ordinaryNames(std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        names.push_back(number + std::string(nameLength - number.size(), 'x'));
    }
    return names;
}

TEST(KeyedHash, IsSipHash13) {
    const std::pair<std::size_t, std::uint64_t> cases[] = {
        {0, 0xabac0158050fc4dc}, {1, 0xc9f49bf37d57ca93},  {7, 0xd3927d989bb11140},
        {8, 0x369095118d299a8e}, {15, 0xd320d86d2a519956}, {16, 0xcc4fdd1a7d908b66}};
    for (const auto& [length, hash] : cases) {
        std::string text;
        for (std::size_t i = 0; i < length; ++i)
            text.push_back(static_cast<char>(i));
        EXPECT_EQ(vkt_sipHash13(text, 0x0706050403020100, 0x0f0e0d0c0b0a0908), hash) << length;
    }
}

TEST(KeyedHash, SpreadsNumbersThatFollowAPattern) {
    std::set<std::uint64_t> lowBits;
    for (std::uint64_t i = 0; i < 4096; ++i)
        lowBits.insert(vkt_keyedHash(i << 32U) & 4095U);
    EXPECT_GT(lowBits.size(), 2000u);  // of random numbers: 2,589
}

// The child process runs this test from its start, with the environment of its parent.
TEST(KeyedHashDeathTest, DiffersFromOneProcessToTheNext) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string hash = std::to_string(vkt_keyedHash("name"));
    setenv("VKT_HASH_OF_PARENT", hash.c_str(), 0);
    EXPECT_EXIT(std::exit(hash == std::getenv("VKT_HASH_OF_PARENT") ? 1 : 0), testing::ExitedWithCode(0), "");
}

TEST(KeyedHash, ChosenNamesCostADictionaryNoMoreThanOthers) {
    const auto cost = [](const std::vector<std::string>& names) {
        return fastestRun([&] {
            VKTDictionary dictionary;
            for (const std::string& name : names)
                dictionary.set(name, true);
            EXPECT_EQ(dictionary.size(), names.size());
        });
    };
    const auto names = collidingNames();
    EXPECT_LT(cost(names) / cost(ordinaryNames(names.size())), VKTFlatCostRatio);
}

}  // namespace

// The contract of sources of random numbers.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <set>

#include "VKTCoreKit/platform/VKTRandomSource.h"
#include "VKTCoreKit/platform/testing/contract/VKTContractMaker.h"

using VKTRandomSourceMaker = VKTContractMaker<std::shared_ptr<VKTRandomSource>>;

class VKTRandomSourceContract : public testing::TestWithParam<VKTRandomSourceMaker> {};

TEST_P(VKTRandomSourceContract, StaysInRangeAndReachesAllOfIt) {
    const auto source = GetParam().make();
    EXPECT_EQ(source->uniform(0), 0U);
    EXPECT_EQ(source->uniform(1), 0U);
    std::set<std::uint32_t> seen;
    for (int i = 0; i < 200; ++i)
        seen.insert(source->uniform(3));
    EXPECT_EQ(seen, (std::set<std::uint32_t>{0, 1, 2}));
}

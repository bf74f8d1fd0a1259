// The contract of location services.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "VKTCoreKit/platform/VKTLocationServices.h"
#include "VKTCoreKit/platform/testing/contract/VKTContractMaker.h"

struct VKTLocationServicesSubject {
    std::shared_ptr<VKTLocationServices> services;

    /// Lets the requests under way end, by a location or an error, before it returns.
    std::function<void()> answer;
};

using VKTLocationServicesMaker = VKTContractMaker<VKTLocationServicesSubject>;

class VKTLocationServicesContract : public testing::TestWithParam<VKTLocationServicesMaker> {
  protected:
    // Lets go of its request inside the call.
    struct Listener : VKTLocationRequestDelegate {
        void locationManagerDidUpdateLocations(const VKTCoordinates& /*locations*/) override { end(); }
        void locationManagerDidFailWithError(const VKTError& /*error*/) override { end(); }
        void end() {
            ++ends;
            request.reset();
        }

        int ends = 0;
        std::unique_ptr<VKTLocationRequest> request;
    };
};

TEST_P(VKTLocationServicesContract, ARequestEndsOnceLaterAndNotWhenItIsGone) {
    const auto [services, answer] = GetParam().make();
    const auto heard = std::make_shared<Listener>();
    const auto dropped = std::make_shared<Listener>();
    heard->request = services->requestLocation(heard);
    services->requestLocation(dropped).reset();
    const auto unheard = services->requestLocation(std::make_shared<Listener>());
    EXPECT_EQ(heard->ends, 0);
    for (int i = 0; i < 2; ++i)
        answer();
    EXPECT_EQ(heard->ends, 1);
    EXPECT_EQ(dropped->ends, 0);
}

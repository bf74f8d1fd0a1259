// The contract of views.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "VKTCoreKit/platform/VKTView.h"
#include "VKTCoreKit/platform/testing/contract/VKTContractMaker.h"

/// Three views of which each stands in the one before, the first, a window, in none; nothing is scrolled.
struct VKTViewSubject {
    std::shared_ptr<VKTView> window;
    std::shared_ptr<VKTView> view;
    std::shared_ptr<VKTView> inner;
    std::function<void(bool isHidden)> setViewHidden;
};

/// Makes the views with these frames, the window at (0, 0).
using VKTViewMaker = VKTContractMaker<VKTViewSubject, const VKTRect&, const VKTRect&, const VKTRect&>;

class VKTViewContract : public testing::TestWithParam<VKTViewMaker> {
  protected:
    const VKTViewSubject subject_ = GetParam().make({0, 0, 640, 360}, {10, 20, 300, 200}, {4, 5, 60, 70});
};

TEST_P(VKTViewContract, HasItsFrameInItsSuperviewAndItsBoundsInItself) {
    EXPECT_EQ(subject_.window->bounds(), (VKTRect{0, 0, 640, 360}));
    EXPECT_EQ(subject_.view->frame(), (VKTRect{10, 20, 300, 200}));
    EXPECT_EQ(subject_.view->bounds(), (VKTRect{0, 0, 300, 200}));
    EXPECT_EQ(subject_.inner->convertPointToView({1, 1}, *subject_.window), (VKTPoint{15, 26}));
    EXPECT_EQ(subject_.window->convertPointToView({15, 26}, *subject_.inner), (VKTPoint{1, 1}));
}

TEST_P(VKTViewContract, SuperviewsListTheirSubviewsAndEndAtTheWindow) {
    EXPECT_EQ(subject_.inner->superview(), subject_.view);
    EXPECT_EQ(subject_.view->superview(), subject_.window);
    EXPECT_EQ(subject_.window->superview(), nullptr);
    EXPECT_TRUE(subject_.window->isWindow());
    EXPECT_FALSE(subject_.view->isWindow());
    EXPECT_EQ(subject_.window->subviews(), std::vector{subject_.view});
    std::vector<std::shared_ptr<VKTView>> list{subject_.window};
    subject_.view->appendSubviewsTo(list);
    EXPECT_EQ(list, (std::vector{subject_.window, subject_.inner})) << "behind what is there";
    EXPECT_TRUE(subject_.inner->subviews().empty());
}

TEST_P(VKTViewContract, IsShownUntilItIsHiddenAndAnswersForItselfAlone) {
    EXPECT_FALSE(subject_.view->isHidden());
    EXPECT_EQ(subject_.view->alpha(), 1);
    EXPECT_FALSE(subject_.view->className().empty());
    subject_.setViewHidden(true);
    EXPECT_TRUE(subject_.view->isHidden());
    EXPECT_FALSE(subject_.inner->isHidden());
    subject_.setViewHidden(false);
    EXPECT_FALSE(subject_.view->isHidden());
}

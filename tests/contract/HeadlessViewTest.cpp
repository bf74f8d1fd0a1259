#include "VKTCoreKit/platform/VKTHeadlessView.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "VKTCoreKit/platform/testing/contract/VKTViewContract.h"

namespace {

using Views = std::vector<std::shared_ptr<VKTView>>;

std::shared_ptr<VKTHeadlessView> view(const VKTRect& frame = {0, 0, 10, 10}) {
    return VKTHeadlessView::initWithFrame(frame);
}

VKTViewSubject makeSubject(const VKTRect& windowFrame, const VKTRect& frame, const VKTRect& innerFrame) {
    const auto window = VKTHeadlessView::windowWithFrame(windowFrame);
    const auto outer = view(frame);
    const auto inner = view(innerFrame);
    window->addSubview(outer);
    outer->addSubview(inner);
    return {window, outer, inner, [outer](bool isHidden) { outer->setHidden(isHidden); }};
}

INSTANTIATE_TEST_SUITE_P(Ours, VKTViewContract, testing::Values(VKTViewMaker{"headless", makeSubject}));

TEST(HeadlessView, AViewStandsInOnePlaceAndNeverInItself) {
    const auto window = VKTHeadlessView::windowWithFrame({0, 0, 100, 100});
    const auto first = view();
    const auto second = view();
    window->addSubview(first);
    window->addSubview(second);
    window->addSubview(first);
    EXPECT_EQ(window->subviews(), (Views{second, first})) << "in front, and once";
    second->addSubview(first);
    EXPECT_EQ(window->subviews(), Views{second});
    EXPECT_EQ(first->superview(), second);
    for (const auto& ancestorOrSelf : {first, second, window})
        first->addSubview(ancestorOrSelf);
    EXPECT_TRUE(first->subviews().empty());
    EXPECT_EQ(second->superview(), window);
    second->removeFromSuperview();
    second->removeFromSuperview();
    EXPECT_TRUE(window->subviews().empty());
    EXPECT_EQ(second->superview(), nullptr);
    EXPECT_TRUE(window->isWindow());
    EXPECT_FALSE(first->isWindow());
}

TEST(HeadlessView, ASuperviewOwnsItsSubviewsOnly) {
    auto parent = view();
    parent->addSubview(view());
    const auto child = parent->subviews().front();
    EXPECT_EQ(child.use_count(), 2);
    parent.reset();
    EXPECT_EQ(child->superview(), nullptr);
}

// A view of an application, which lists what hangs below it.
class OwnView final : public VKTView {
  public:
    [[nodiscard]] VKTRect frame() const override { return {20, 30, 50, 50}; }
    [[nodiscard]] VKTRect bounds() const override { return {0, 0, 50, 50}; }
    [[nodiscard]] bool isHidden() const override { return false; }
    [[nodiscard]] double alpha() const override { return 1; }
    [[nodiscard]] bool isWindow() const override { return true; }
    [[nodiscard]] std::shared_ptr<VKTView> superview() const override { return nullptr; }
    [[nodiscard]] Views subviews() const override { return listed; }

    Views listed;
};

TEST(HeadlessView, HangsBelowAViewOfTheApplicationUntilItIsPutElsewhere) {
    auto own = std::make_shared<OwnView>();
    const auto player = view({1, 2, 10, 10});
    const auto inner = view({5, 5, 2, 2});
    player->addSubview(inner);
    own->listed = {player};
    player->setSuperview(own);
    EXPECT_EQ(player->superview(), own);
    EXPECT_EQ(inner->convertPointToView({0, 0}, *own), (VKTPoint{6, 7}));
    player->setSuperview(inner);
    inner->addSubview(player);
    EXPECT_EQ(player->superview(), own) << "what stands in it is no place for it";

    const auto other = view();
    other->addSubview(player);
    EXPECT_EQ(player->superview(), other);
    player->setSuperview(own);
    EXPECT_TRUE(other->subviews().empty());
    player->removeFromSuperview();
    EXPECT_EQ(player->superview(), nullptr);
    player->setSuperview(own);
    own.reset();
    EXPECT_EQ(player->superview(), nullptr) << "held weakly";
}

TEST(HeadlessView, ConvertsPointsByOrigins) {
    const auto window = VKTHeadlessView::windowWithFrame({5, 5, 100, 100});
    const auto scrolled = view({10, 20, 50, 50});
    const auto inner = view({1, 2, 3, 4});
    const auto aside = view({30, 30, 5, 5});
    window->addSubview(scrolled);
    window->addSubview(aside);
    scrolled->addSubview(inner);
    scrolled->setBoundsOrigin({4, 8});
    const VKTPoint point{1, 1};
    EXPECT_EQ(inner->convertPointToView(point, *window), (VKTPoint{1 + 1 - 4 + 10, 1 + 2 - 8 + 20}));
    EXPECT_EQ(window->convertPointToView(point, *inner), (VKTPoint{-6, -13}));
    EXPECT_EQ(inner->convertPointToView(point, *aside), (VKTPoint{-22, -15}));
}

TEST(HeadlessApplication, TellsOfEnteringAndLeavingTheBackground) {
    const auto centre = std::make_shared<VKTNotificationCentre>();
    VKTHeadlessApplication application(centre);
    std::string heard;
    const auto entering = centre->addObserver(VKTApplicationWillEnterForegroundNotification,
                                              [&](const auto&) { heard += "enters foreground;"; });
    const auto leaving = centre->addObserver(VKTApplicationDidEnterBackgroundNotification,
                                             [&](const auto&) { heard += "in background;"; });
    EXPECT_EQ(application.applicationState(), VKTApplicationStateActive);
    for (const auto state :
         {VKTApplicationStateInactive, VKTApplicationStateBackground, VKTApplicationStateBackground,
          VKTApplicationStateInactive, VKTApplicationStateActive}) {
        application.setApplicationState(state);
        EXPECT_EQ(application.applicationState(), state);
    }
    EXPECT_EQ(heard, "in background;enters foreground;");
}

}  // namespace

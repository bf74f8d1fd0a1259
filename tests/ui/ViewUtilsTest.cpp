#include "VKTCoreKit/ui/VKTViewUtils.h"

#include <gtest/gtest.h>

#include <limits>

#include "VKTCoreKit/platform/VKTHeadlessView.h"

namespace {

using Views = std::vector<std::shared_ptr<VKTView>>;
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

// A scrolled view and a badge in front of it stand in a window; an ad stands in the scrolled one.
class ViewUtils : public testing::Test {
  protected:
    ViewUtils() {
        window->addSubview(scroller);
        window->addSubview(badge);
        scroller->addSubview(ad);
        scroller->setBoundsOrigin({0, 20});
    }

    const std::shared_ptr<VKTHeadlessView> window = VKTHeadlessView::windowWithFrame({7, 7, 100, 100});
    const std::shared_ptr<VKTHeadlessView> scroller = VKTHeadlessView::initWithFrame({10, 10, 50, 50});
    const std::shared_ptr<VKTHeadlessView> ad = VKTHeadlessView::initWithFrame({5, 25, 30, 40});
    const std::shared_ptr<VKTHeadlessView> badge = VKTHeadlessView::initWithFrame({40, 10, 20, 20});
};

TEST_F(ViewUtils, WalksAncestors) {
    EXPECT_EQ(VKTViewUtils::ancestorsOfView(*ad), (Views{scroller, window}));
    EXPECT_TRUE(VKTViewUtils::isViewInView(*ad, *window));
    EXPECT_FALSE(VKTViewUtils::isViewInView(*window, *ad));
    EXPECT_EQ(VKTViewUtils::commonAncestorOfViews(ad, badge), window);
    EXPECT_EQ(VKTViewUtils::commonAncestorOfViews(scroller, ad), scroller);
    badge->removeFromSuperview();
    EXPECT_EQ(VKTViewUtils::commonAncestorOfViews(ad, badge), nullptr);
    EXPECT_TRUE(VKTViewUtils::visibleRectOfView(*badge).isNull()) << "stands in no window";
}

TEST_F(ViewUtils, VisibleRect) {
    const auto visible = [&](const VKTRect& scrollerFrame, const VKTRect& adFrame) {
        scroller->setFrame(scrollerFrame);
        ad->setFrame(adFrame);
        return VKTViewUtils::visibleRectOfView(*ad);
    };
    EXPECT_EQ(visible({10, 10, 50, 50}, {5, 0, 30, 40}), (VKTRect{15, 10, 30, 20})) << "clipped by one";
    EXPECT_EQ(visible({-30, 10, 50, 50}, {5, 0, 30, 40}), (VKTRect{0, 10, 5, 20})) << "by the window too";
    EXPECT_EQ(visible({-45, 10, 50, 50}, {5, 25, 30, 40}), VKTRect::null()) << "outside";
    EXPECT_EQ(visible({NaN, 10, 50, 50}, {5, 25, 30, 40}), VKTRect::null());
    EXPECT_EQ(visible({10, 10, 50, 50}, {5, 25, 30, 0}), VKTRect::null()) << "without area";
    ad->setAlpha(0.01);
    EXPECT_EQ(visible({10, 10, 50, 50}, {5, 25, 30, 40}), (VKTRect{15, 15, 30, 40}));
    for (const bool isHidden : {true, false}) {
        ad->setHidden(isHidden);
        scroller->setAlpha(isHidden ? 1 : 0);
        EXPECT_TRUE(VKTViewUtils::visibleRectOfView(*ad).isNull());
    }
}

TEST_F(ViewUtils, HitOrder) {
    const auto at = [&](double x, double y) { return VKTViewUtils::viewsAtPoint(window, {x, y}); };
    EXPECT_EQ(at(42, 20), (Views{badge, ad, scroller, window})) << "in front of what stands deeper";
    EXPECT_EQ(at(40, 10), (Views{badge, scroller, window})) << "the upper left edges belong to it";
    EXPECT_EQ(at(60, 20), Views{window}) << "the right ones do not";
    const auto inFront = VKTHeadlessView::initWithFrame({0, 0, 100, 200});
    scroller->addSubview(inFront);
    EXPECT_EQ(at(15, 15), (Views{inFront, ad, scroller, window}));
    EXPECT_EQ(at(80, 80), Views{window}) << "clipped by the scroller";
    scroller->setAlpha(0);
    EXPECT_EQ(at(42, 20), (Views{badge, window}));
    EXPECT_TRUE(at(100, 50).empty());
}

}  // namespace

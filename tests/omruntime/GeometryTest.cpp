#include "VKTCoreKit/omruntime/detail/Geometry.h"

#include <gtest/gtest.h>

#include <array>
#include <bitset>
#include <cmath>
#include <functional>
#include <random>

#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

namespace OMIDKorvonet1 {

namespace {

std::shared_ptr<VKTHeadlessView> add(VKTHeadlessView& parent, const VKTRect& frame) {
    auto view = VKTHeadlessView::initWithFrame(frame);
    parent.addSubview(view);
    return view;
}

constexpr VKTRect ad = {100, 100, 200, 100};

// A window with a page, in it a box, in it the ad.
class GeometryOfAnAd : public testing::Test {
  protected:
    const Geometry& look() {
        walker_.look(ad_, true, friendly_);
        return walker_.geometry();
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    std::shared_ptr<VKTHeadlessView> window_ = VKTHeadlessView::windowWithFrame({0, 0, 1280, 720});
    std::shared_ptr<VKTHeadlessView> page_ = add(*window_, {0, 0, 1280, 720});
    std::shared_ptr<VKTHeadlessView> box_ = add(*page_, {50, 50, 400, 400});
    std::shared_ptr<VKTHeadlessView> ad_ = add(*box_, {50, 50, 200, 100});
    std::vector<FriendlyObstruction> friendly_;
    GeometryWalker walker_;
};

TEST_F(GeometryOfAnAd, WhereItIsAndHowMuchIsSeen) {
    constexpr int clipped = GeometryReasonClipped, obstructed = GeometryReasonObstructed,
                  hidden = GeometryReasonHidden, notFound = GeometryReasonNotFound;
    const auto check = [&](const char* name, const std::function<void()>& change, double percentage,
                           int reasons, VKTRect adView = ad, VKTRect onScreen = ad) {
        window_ = VKTHeadlessView::windowWithFrame({0, 0, 1280, 720});
        page_ = add(*window_, {0, 0, 1280, 720});
        box_ = add(*page_, {50, 50, 400, 400});
        ad_ = add(*box_, {50, 50, 200, 100});
        test_.application->setApplicationState(VKTApplicationStateActive);
        change();
        const Geometry& geometry = look();
        EXPECT_NEAR(geometry.percentageInView, percentage, 1e-9) << name;
        EXPECT_EQ(geometry.reasons, reasons) << name;
        EXPECT_TRUE(std::isfinite(geometry.viewportWidth)) << name;
        EXPECT_EQ(geometry.adView, adView) << name << vkt_stringFromRect(geometry.adView);
        EXPECT_EQ(geometry.onScreen, onScreen) << name << vkt_stringFromRect(geometry.onScreen);
    };
    // What is done to a view of the fixture, later.
    const auto move = [](auto& view, VKTRect frame) { return [=, &view] { view->setFrame(frame); }; };
    const auto scroll = [](auto& view, VKTPoint by) { return [=, &view] { view->setBoundsOrigin(by); }; };
    const auto cover = [](auto& parent, VKTRect frame) { return [=, &parent] { add(*parent, frame); }; };
    const auto each = [](auto... changes) { return [=] { (changes(), ...); }; };
    const auto at = [](double x, double y) { return VKTRect{x, y, 200, 100}; };
    const auto hideInPage = [&] {
        const auto view = add(*page_, {0, 0, 900, 900});
        view->setHidden(true);
        add(*view, {0, 0, 900, 900});
        add(*page_, {0, 0, 900, 900})->setAlpha(0);
        add(*add(*page_, {0, 0, 50, 50}), {0, 0, 900, 900});
    };
    const auto hide = [&] { page_->setHidden(true); };
    const auto fade = [&] { box_->setAlpha(0); };
    const auto loseFocus = [&] { window_->setFocus(false); };
    const auto leaveWindow = [&] { page_->removeFromSuperview(); };
    const auto destroy = [&] { page_.reset(), box_.reset(), ad_->removeFromSuperview(), ad_.reset(); };
    const auto leave = [&] { test_.application->setApplicationState(VKTApplicationStateBackground); };
    const auto bringToFront = [&] { box_->addSubview(ad_); };
    check("one in it, one beside", each(cover(ad_, {0, 0, 200, 100}), cover(box_, {250, 0, 9, 9})), 100, 0);
    check("clipped by its box", move(box_, {50, 50, 100, 400}), 25, clipped, ad, {100, 100, 50, 100});
    check("clipped by the window", move(box_, {1130, 50, 400, 400}), 50, clipped, at(1180, 100),
          {1180, 100, 100, 100});
    check("larger than its box and its window",
          each(move(box_, {-50, -50, 2000, 2000}), move(ad_, {50, 50, 2560, 1440})), 25, clipped,
          {0, 0, 2560, 1440}, {0, 0, 1280, 720});
    check("out of sight", move(box_, {-500, 50, 400, 400}), 0, clipped, at(-450, 100), {});
    check("scrolled", each(scroll(page_, {10, 0}), scroll(box_, {-20, 30}), scroll(ad_, {7, 7})), 100, 0,
          at(110, 70), at(110, 70));
    check("in a scrolled window", scroll(window_, {40, 0}), 100, 0, at(60, 100), at(60, 100));
    check("a hidden ancestor", hide, 0, hidden);
    check("a transparent ancestor", fade, 0, hidden);
    check("no area", move(ad_, {50, 50, 0, 9}), 0, hidden, {100, 100, 0, 9}, {100, 100, 0, 9});
    check("in the background", leave, 0, GeometryReasonBackgrounded);
    check("without focus", loseFocus, 0, GeometryReasonNoWindowFocus);
    check("out of the window", leaveWindow, 0, notFound, {}, {});
    check("in a window without end", move(window_, {0, 0, INFINITY, 720}), 0, notFound, {}, {});
    check("nowhere", move(ad_, {NAN, 0, 1, 1}), 0, notFound, {}, {});
    check("destroyed", destroy, 0, notFound, {}, {});
    check("obstructed by half", cover(page_, {100, 100, 100, 500}), 50, obstructed);
    check("by two that overlap", each(cover(window_, at(0, 100)), cover(box_, {100, 50, 100, 100})), 25,
          obstructed);
    check("wholly", cover(window_, {0, 0, 1280, 720}), 0, obstructed);
    check("not from behind", each(cover(box_, {0, 0, 400, 400}), bringToFront), 100, 0);
    check("not by what is hidden, or in it, or clipped away", hideInPage, 100, 0);
    check("clipped, and half of the rest obstructed",
          each(move(box_, {50, 50, 150, 400}), cover(window_, {0, 0, 1000, 150})), 25, clipped | obstructed,
          ad, {100, 100, 100, 100});
}

// A player that declares the whole page of its controls has the ad in it, and whatever else.
TEST_F(GeometryOfAnAd, NothingInAFriendlyAncestorObstructs) {
    const auto banner = add(*add(*page_, {0, 0, 500, 500}), {100, 100, 50, 100});
    const auto outside = add(*window_, {250, 100, 50, 100});
    struct Case {
        const char* name;
        std::shared_ptr<VKTHeadlessView> friendly;
        double percentage;
        std::size_t obstructionCount;
    };
    const Case cases[] = {{"nobody", nullptr, 0, 3},
                          {"the ad", ad_, 0, 3},
                          {"the box below what is in front", box_, 0, 3},
                          {"the page", page_, 75, 1},
                          {"the window", window_, 100, 0}};
    for (const Case& each : cases) {
        friendly_.clear();
        if (each.friendly) friendly_ = {{each.friendly, FriendlyObstructionPurposeOther, "page"}};
        EXPECT_NEAR(look().percentageInView, each.percentage, 1e-9) << each.name;
        EXPECT_EQ(look().obstructionCount, each.obstructionCount) << each.name;
        EXPECT_EQ((look().reasons & GeometryReasonObstructed) != 0, each.percentage < 100) << each.name;
    }
}

TEST_F(GeometryOfAnAd, ListsObstructionsAndForgivesFriendlyOnes) {
    const auto controls = add(*page_, {100, 100, 50, 100});
    controls->setClassName("Controls");
    add(*controls, {0, 0, 50, 50})->setClassName("Button");
    const auto close = add(*page_, {250, 50, 100, 100});
    close->setClassName("Close");
    friendly_ = {{controls, FriendlyObstructionPurposeMediaControls, "the controls"}};
    const Geometry& geometry = look();
    EXPECT_NEAR(geometry.percentageInView, 87.5, 1e-9);
    ASSERT_EQ(geometry.obstructionCount, 2U);
    const Obstruction friendly{
        {100, 100, 50, 100}, "Controls", FriendlyObstructionPurposeMediaControls, "the controls"};
    EXPECT_EQ(geometry.obstructions[0], friendly);
    EXPECT_EQ(geometry.obstructions[1], (Obstruction{{250, 100, 50, 50}, "Close", std::nullopt, ""}));

    EXPECT_FALSE(walker_.look(ad_, true, friendly_)) << "nothing has changed";
    friendly_.clear();
    EXPECT_TRUE(walker_.look(ad_, true, friendly_));
    EXPECT_NEAR(walker_.geometry().percentageInView, 62.5, 1e-9);
    close->setClassName("Other");
    EXPECT_TRUE(walker_.look(ad_, true, friendly_));
    EXPECT_TRUE(walker_.look(nullptr, false, friendly_));
    EXPECT_EQ(walker_.geometry().reasons, GeometryReasonNoAdView);

    for (int i = 0; i < 1000; ++i)
        add(*page_, {100, 100, 1, 1});
    EXPECT_EQ(look().obstructionCount, ListedObstructionLimit);
}

TEST(CoveredArea, CountsOverlapsOnce) {
    // Rectangles on a grid, also such as touch, repeat or have no area, against a count of the grid's cells.
    constexpr std::size_t side = 24;
    CoveredArea covered;
    std::minstd_rand draw;
    const auto below = [&](std::size_t bound) { return draw() % bound; };
    for (std::size_t count = 0; count < 200; ++count) {
        std::array<std::bitset<side>, side> cells{};
        std::vector<VKTRect> rects;
        for (std::size_t i = 0; i < count % 40; ++i) {
            const auto x = below(side), y = below(side), width = below(side - x), height = below(side - y);
            rects.push_back({double(x) / 2, double(y) * 3, double(width) / 2, double(height) * 3});
            for (std::size_t cell = 0; cell < width * height; ++cell)
                cells[x + cell % width].set(y + cell / width);
        }
        std::size_t expected = 0;
        for (const auto& column : cells)
            expected += column.count();
        EXPECT_DOUBLE_EQ(covered.of(rects), 1.5 * double(expected)) << count;
    }
}

}  // namespace

}  // namespace OMIDKorvonet1

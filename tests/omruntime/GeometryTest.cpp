#include "VKTCoreKit/omruntime/Geometry.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>

#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "tests/omruntime/AllocationCount.h"

namespace OMIDKorvonet1 {

namespace {

std::shared_ptr<VKTHeadlessView> add(VKTHeadlessView& parent, const VKTRect& frame) {
    auto view = VKTHeadlessView::initWithFrame(frame);
    parent.addSubview(view);
    return view;
}

// A window with a page, in it a box, in it the ad: at (100, 100) in the window, 200 x 100.
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
    static constexpr VKTRect ad = {100, 100, 200, 100};
    constexpr int clipped = GeometryReasonClipped;
    constexpr int obstructed = GeometryReasonObstructed;
    struct Case {
        const char* name;
        std::function<void()> change;
        double percentage;
        int reasons;
        VKTRect adView = ad;
        VKTRect onScreen = ad;
    };
    // What is done to a view of the fixture, later.
    const auto move = [](auto& view, VKTRect frame) { return [=, &view] { view->setFrame(frame); }; };
    const auto scroll = [](auto& view, VKTPoint by) { return [=, &view] { view->setBoundsOrigin(by); }; };
    const auto cover = [](auto& parent, VKTRect frame) { return [=, &parent] { add(*parent, frame); }; };
    const auto each = [](auto... changes) { return [=] { (changes(), ...); }; };
    const auto hideInPage = [&] {
        const auto hidden = add(*page_, {0, 0, 900, 900});
        hidden->setHidden(true);
        add(*hidden, {0, 0, 900, 900});
        add(*page_, {0, 0, 900, 900})->setAlpha(0);
        add(*add(*page_, {0, 0, 50, 50}), {0, 0, 900, 900});
    };
    const auto destroy = [&] { page_.reset(), box_.reset(), ad_->removeFromSuperview(), ad_.reset(); };
    const auto leave = [&] { test_.application->setApplicationState(VKTApplicationStateBackground); };
    const auto bringToFront = [&] { box_->addSubview(ad_); };
    const std::vector<Case> cases = {
        {"in full", each(), 100, 0},
        {"what is in it and beside it", each(cover(ad_, {0, 0, 200, 100}), cover(box_, {250, 0, 9, 9})), 100,
         0},
        {"clipped by its box", move(box_, {50, 50, 100, 400}), 25, clipped, ad, {100, 100, 50, 100}},
        {"clipped by the window",
         move(box_, {1130, 50, 400, 400}),
         50,
         clipped,
         {1180, 100, 200, 100},
         {1180, 100, 100, 100}},
        {"out of sight", move(box_, {-500, 50, 400, 400}), 0, clipped, {-450, 100, 200, 100}, {}},
        {"scrolled",
         each(scroll(page_, {10, 0}), scroll(box_, {-20, 30}), scroll(ad_, {7, 7})),
         100,
         0,
         {110, 70, 200, 100},
         {110, 70, 200, 100}},
        {"in a window that is scrolled",
         scroll(window_, {40, 0}),
         100,
         0,
         {60, 100, 200, 100},
         {60, 100, 200, 100}},
        {"a hidden ancestor", [&] { page_->setHidden(true); }, 0, GeometryReasonHidden},
        {"transparent", [&] { ad_->setAlpha(0); }, 0, GeometryReasonHidden},
        {"no area",
         move(ad_, {50, 50, 0, 100}),
         0,
         GeometryReasonHidden,
         {100, 100, 0, 100},
         {100, 100, 0, 100}},
        {"in the background", leave, 0, GeometryReasonBackgrounded},
        {"without focus", [&] { window_->setFocus(false); }, 0, GeometryReasonNoWindowFocus},
        {"out of the window", [&] { page_->removeFromSuperview(); }, 0, GeometryReasonNotFound, {}, {}},
        {"in a window without end", move(window_, {0, 0, INFINITY, 720}), 0, GeometryReasonNotFound, {}, {}},
        {"nowhere", move(ad_, {NAN, 0, 1, 1}), 0, GeometryReasonNotFound, {}, {}},
        {"destroyed", destroy, 0, GeometryReasonNotFound, {}, {}},
        {"obstructed by half", cover(page_, {100, 100, 100, 500}), 50, obstructed},
        {"by two that overlap", each(cover(window_, {100, 100, 100, 100}), cover(box_, {100, 50, 100, 100})),
         25, obstructed},
        {"wholly", cover(window_, {0, 0, 1280, 720}), 0, obstructed},
        {"not from behind", each(cover(box_, {0, 0, 400, 400}), bringToFront), 100, 0},
        {"not by what is hidden, or in it, or clipped away", hideInPage, 100, 0},
        {"clipped, and half of the rest obstructed",
         each(move(box_, {50, 50, 150, 400}), cover(window_, {0, 0, 1000, 150})),
         25,
         clipped | obstructed,
         ad,
         {100, 100, 100, 100}}};
    for (const Case& row : cases) {
        window_ = VKTHeadlessView::windowWithFrame({0, 0, 1280, 720});
        page_ = add(*window_, {0, 0, 1280, 720});
        box_ = add(*page_, {50, 50, 400, 400});
        ad_ = add(*box_, {50, 50, 200, 100});
        test_.application->setApplicationState(VKTApplicationStateActive);
        row.change();
        const Geometry& geometry = look();
        EXPECT_NEAR(geometry.percentageInView, row.percentage, 1e-9) << row.name;
        EXPECT_EQ(geometry.reasons, row.reasons) << row.name;
        EXPECT_TRUE(std::isfinite(geometry.viewportWidth)) << row.name;
        EXPECT_EQ(geometry.adView, row.adView) << row.name << vkt_stringFromRect(geometry.adView);
        EXPECT_EQ(geometry.onScreen, row.onScreen) << row.name << vkt_stringFromRect(geometry.onScreen);
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
    const std::vector<Obstruction> listed(
        geometry.obstructions.begin(),
        geometry.obstructions.begin() + std::ptrdiff_t(geometry.obstructionCount));
    EXPECT_EQ(listed,
              (std::vector<Obstruction>{
                  {{100, 100, 50, 100}, "Controls", FriendlyObstructionPurposeMediaControls, "the controls"},
                  {{250, 100, 50, 50}, "Close", std::nullopt, ""}}));

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

TEST_F(GeometryOfAnAd, ALookThatFindsNothingNewAsksForNoMemory) {
    auto parent = page_;
    for (int i = 0; i < 1000; ++i) {
        const auto view = add(*parent, {i * 0.1, 1, 300, 120});
        parent = i % 10 == 0 ? view : page_;
        view->setClassName("A class name that is too long for a short string");
    }
    EXPECT_GT(look().percentageInView, 0);
    EXPECT_NE(look().reasons & GeometryReasonObstructed, 0);
    const std::size_t before = allocationCount();
    EXPECT_FALSE(walker_.look(ad_, true, friendly_));
    EXPECT_EQ(allocationCount() - before, 0U);
}

TEST(CoveredArea, CountsOverlapsOnce) {
    // Rectangles on a grid, also such as touch, repeat or have no area, against a count of the grid's cells.
    constexpr std::size_t side = 24;
    CoveredArea covered;
    std::uint32_t draw = 7;
    const auto below = [&](std::uint32_t bound) {
        draw = draw * 1664525 + 1013904223;
        return (draw >> 16) % bound;
    };
    for (std::size_t count = 0; count < 200; ++count) {
        std::array<std::array<bool, side>, side> cells{};
        std::vector<VKTRect> rects;
        for (std::size_t i = 0; i < count % 40; ++i) {
            const std::uint32_t x = below(side), y = below(side), width = below(side - x),
                                height = below(side - y);
            rects.push_back({x * 0.5, y * 3.0, width * 0.5, height * 3.0});
            for (std::uint32_t column = x; column < x + width; ++column)
                std::fill_n(cells[column].begin() + y, height, true);
        }
        double expected = 0;
        for (const auto& column : cells)
            expected += 1.5 * double(std::count(column.begin(), column.end(), true));
        EXPECT_DOUBLE_EQ(covered.of(rects), expected) << count;
    }
}

}  // namespace

}  // namespace OMIDKorvonet1

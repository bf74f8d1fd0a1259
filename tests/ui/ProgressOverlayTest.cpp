#include "VKTCoreKit/ui/VKTProgressOverlay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <tuple>

#include "VKTCoreKit/platform/VKTImageCanvas.h"

#ifdef VKT_HAS_CAIRO_CANVAS
#include <cairo.h>

#include "VKTCoreKit/platform/linux/cairo/VKTCairoCanvas.h"

// The font library keeps what it finds out at its first use; the leak checker takes that for lost.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig";
}
#endif

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

VKTProgressOverlay overlay(VKTProgressStyle style, double time, double duration) {
    style.progressColor = {0, 1, 0, 1};
    style.trackColor = {0, 0, 1, 1};
    style.backdropColor = {1, 0, 0, 1};
    VKTProgressOverlay result;
    result.setStyle(style);
    result.setDuration(duration);
    result.setTime(time);
    return result;
}

TEST(ProgressOverlay, ProgressAndTimes) {
    const std::tuple<double, double, double, const char*, const char*> table[] = {
        {7.5, 30, 0.25, "0:23", "0:30"},
        {29.9, 30, 29.9 / 30, "0:01", "0:30"},
        {31, 30, 1, "0:00", "0:30"},
        {-2, 59.1, 0, "1:00", "1:00"},
        {NaN, 3600, 0, "1:00:00", "1:00:00"},
        {0.9, 36061.9, 0.9 / 36061.9, "10:01:01", "10:01:02"},
        {5, 0, 0, "", ""},
        {5, NaN, 0, "", ""},
        {0, 1e300, 0, "99:59:59", "99:59:59"}};
    for (const auto& [time, duration, progress, remaining, total] : table) {
        const auto tested = overlay({}, time, duration);
        EXPECT_DOUBLE_EQ(tested.progress(), progress) << time << " of " << duration;
        EXPECT_EQ(tested.remainingTimeText(), remaining) << time << " of " << duration;
        EXPECT_EQ(tested.totalTimeText(), total) << time << " of " << duration;
    }
}

#ifdef VKT_HAS_CAIRO_CANVAS

constexpr std::uint32_t green = 0xFF00FF00;
constexpr std::uint32_t blue = 0xFF0000FF;

std::uint32_t pixelAt(const VKTImageCanvas& canvas, double x, double y) {
    return canvas.pixels()[static_cast<std::size_t>(y) * canvas.width() + static_cast<std::size_t>(x)];
}

VKTRect drawnRect(const VKTImageCanvas& canvas) {
    VKTRect drawn = VKTRect::null();
    for (double y = 0; y < static_cast<double>(canvas.height()); ++y)
        for (double x = 0; x < static_cast<double>(canvas.width()); ++x)
            if (pixelAt(canvas, x, y) != 0) drawn = drawn.unionWith({x, y, 1, 1});
    return drawn;
}

TEST(ProgressOverlayPicture, RingIsFilledClockwiseFromTheTop) {
    const auto canvas = vkt_makeCairoCanvasWithSize(640, 360);
    for (const double share : {0.25, 0.5, 1.0}) {
        canvas->clear();
        overlay({}, 40 * share, 40).draw(*canvas, {0, 0, 640, 360});
        for (const double turn : {share - 0.02, share + 0.02}) {
            const double angle = 2 * std::numbers::pi * turn;
            EXPECT_EQ(pixelAt(*canvas, 556 + 33 * std::sin(angle), 84 - 33 * std::cos(angle)),
                      turn < share || share == 1 ? green : blue)
                << turn;
        }
        EXPECT_EQ(pixelAt(*canvas, 556, 84 - 26), 0xFFFF0000) << "the disc";
        EXPECT_EQ(drawnRect(*canvas), (VKTRect{640 - 48 - 72, 48, 72, 72}));
    }
}

TEST(ProgressOverlayPicture, BarEndsWhereTheProgressEnds) {
    for (const int scale : {1, 2}) {
        const auto canvas = vkt_makeCairoCanvasWithSize(640 * scale, 360 * scale, scale);
        overlay({.indicator = VKTProgressIndicatorBar, .showsRemainingTime = false}, 10, 40)
            .draw(*canvas, {0, 0, 640, 360});
        const double end = 48 + 544 * 0.25;
        EXPECT_EQ(pixelAt(*canvas, (end - 0.5) * scale, 309 * scale), green);
        EXPECT_EQ(pixelAt(*canvas, (end + 0.5) * scale, 309 * scale), blue);
        EXPECT_EQ(drawnRect(*canvas), (VKTRect{48.0 * scale, 306.0 * scale, 544.0 * scale, 6.0 * scale}));
    }
}

// Whatever the style is: within the place that is told, never further from the edges than promised.
TEST(ProgressOverlayPicture, ExtremeStylesStayInPlace) {
    const auto canvas = vkt_makeCairoCanvasWithSize(640, 480);
    for (const double extreme : {NaN, -5.0, 1e-300, 3.0, 30.0, 1e9}) {
        for (const auto indicator : {VKTProgressIndicatorRound, VKTProgressIndicatorBar}) {
            const VKTProgressStyle style{.indicator = indicator,
                                         .offset = extreme,
                                         .lineWidth = extreme,
                                         .fontSize = extreme,
                                         .showsTotalTime = true};
            const auto tested = overlay(style, 3600, 4000);
            canvas->clear();
            for (const double x : {0.0, NaN})
                tested.draw(*canvas, {x, 0, 640, 480});
            const VKTRect place = tested.indicatorRect({0, 0, 640, 480});
            const VKTRect drawn = drawnRect(*canvas);
            EXPECT_EQ(drawn.isNull(), place.isNull() || place.height < 1e-9) << extreme;
            const VKTRect both = place.unionWith(drawn);
            // A glyph's edge may touch one pixel more in each direction, as the font at hand has it.
            EXPECT_NEAR(both.width + both.height, place.width + place.height, 2) << extreme;
            EXPECT_TRUE(place.isNull() || place.x + place.width >= 640 - VKTProgressMaxOffset) << extreme;
        }
    }
}

// As on a picture of the library's own, and with nothing left behind for what the application draws next.
TEST(ContextCanvas, DrawsOnAContextOfTheApplications) {
    const auto expected = vkt_makeCairoCanvasWithSize(320, 180);
    overlay({}, 10, 40).draw(*expected, {0, 0, 320, 180});
    std::vector<std::uint32_t> pixels(std::size_t{320} * 180);
    cairo_surface_t* surface = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(pixels.data()), CAIRO_FORMAT_ARGB32, 320, 180, 320 * 4);
    cairo_t* context = cairo_create(surface);
    cairo_set_source_rgb(context, 0, 0, 1);
    const auto canvas = vkt_makeCairoCanvasOnContext(context);
    overlay({}, 10, 40).draw(*canvas, {0, 0, 320, 180});
    cairo_surface_flush(surface);
    EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), expected->pixels().begin()));
    {
        const auto interrupted = vkt_makeCairoCanvasOnContext(context);
        interrupted->save();
        interrupted->clipToRect({0, 0, 5, 5});
        interrupted->fillRoundedRect({0, 0, 5, 5}, 0, {0, 1, 0, 1});
    }
    cairo_paint(context);
    cairo_surface_flush(surface);
    EXPECT_EQ(std::count(pixels.begin(), pixels.end(), 0xFF0000FF), 320 * 180);
    cairo_destroy(context);
    cairo_surface_destroy(surface);
}

TEST(ImageCanvas, SurvivesMisuse) {
    EXPECT_FALSE(vkt_makeCairoCanvasWithSize(0, 5) || vkt_makeCairoCanvasWithSize(5, 5, NaN));
    const auto canvas = vkt_makeCairoCanvasWithSize(100, 40);
    canvas->restore();
    canvas->drawText("\xFF", {0, 20}, 20, {});
    canvas->drawText("0", {0, 20}, 1e9, {});
    EXPECT_TRUE(drawnRect(*canvas).isNull());
    canvas->drawText("0:08", {30, 20}, 20, {});
    EXPECT_NEAR(drawnRect(*canvas).y + drawnRect(*canvas).height / 2, 20, 1.1) << "still draws, and centred";
}

#else

TEST(ProgressOverlayPicture, NeedsCairo) {
    GTEST_SKIP() << "built without cairo (VKT_WITH_CAIRO): no pictures to look at";
}

#endif

}  // namespace

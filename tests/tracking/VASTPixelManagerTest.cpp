#include "VKTCoreKit/tracking/VKTVASTPixelManager.h"

#include "VKTCoreKit/tracking/VKTVideoTrackingEventManager.h"
#include "tests/tracking/TrackingFixture.h"

namespace {

class VASTPixelManager : public TrackingFixture {
  protected:
    static std::vector<VKTVASTURL> pixelsOf(const Texts& texts) {
        std::vector<VKTVASTURL> pixels;
        for (const std::string& text : texts)
            pixels.push_back(*VKTVASTURL::initWithString(text));
        return pixels;
    }

    const VKTReplacements macros_{{"CB", "1"}, {"LONG", std::string(VKTEventURLLengthLimit / 2, '-')}};
    const std::shared_ptr<VKTVASTPixelManager> pixels_ =
        VKTVASTPixelManager::initWithPixelManager(pixelManager, macros_);
};

TEST_F(VASTPixelManager, AnAdWithoutEventsHasItsImpressionsSentAtOnce) {
    const auto tracking = managerOf<VKTVideoTrackingEventManager>({}, macros_);
    pixels_->callVASTPixels(pixelsOf({"http://h/a?c=[CB]", "http://h/b"}));
    tracking->trackVideoEvent(VKTVideoEventCreativeView, {});
    tracking->trackVideoEvent(VKTVideoEventLoaded, {});
    tracking->playbackProgressedToTime(0, {});
    EXPECT_EQ(saves, 1U);
    EXPECT_EQ(sent(), (Texts{"1", "http://h/a?c=1", "http://h/b"}));
    pixels_->callVASTPixels({});
    EXPECT_EQ(sent(), (Texts{"0"}));
}

TEST_F(VASTPixelManager, FillsItsMacrosBeforeTheCallsWithinTheLimit) {
    struct Row {
        std::string name, pixel, called;
    };
    const Row rows[] = {
        {"manager's own", "http://h/[CB]%5BCB%5D", "http://h/11"},
        {"of the call", "http://h/[REASON]?[X]", "http://h/2?%5BX%5D"},
        {"too long", "http://h/[CB][LONG][LONG]", "http://h/%5BCB%5D%5BLONG%5D%5BLONG%5D"},
        {"not a URL then", "http://h/[CB][BLANK]", "http://h/%5BCB%5D%5BBLANK%5D"},
    };
    for (const Row& row : rows) {
        pixels_->callVASTPixels(pixelsOf({row.pixel}), {{"CB", "no"}, {"REASON", "2"}, {"BLANK", " "}});
        EXPECT_EQ(sent(), (Texts{"1", row.called})) << row.name;
    }
}

TEST_F(VASTPixelManager, ErrorPixelsCarryTheirCode) {
    const auto urls =
        pixelsOf({"http://h/e?c=[ERRORCODE]&d=%5BERRORCODE%5D&e=[CB]", "http://h/ERRORCODE%2B"});
    EXPECT_EQ(loggedBy([&] { pixels_->callVASTErrorPixels(urls, -1); }),
              " Error pixels cannot be called for error code: -1\n");
    EXPECT_EQ(loggedBy([&] { pixels_->callVASTErrorPixels({}, 303); }),
              " No error pixels to call for error code: 303\n");
    EXPECT_EQ(sent(), (Texts{"0"}));
    pixels_->callVASTErrorPixels(urls, 303);
    EXPECT_EQ(saves, 1U);
    EXPECT_EQ(sent(), (Texts{"1", "http://h/e?c=303&d=303&e=1", "http://h/ERRORCODE+"}));
    VKTVASTPixelManager::initWithPixelManager(pixelManager)->callVASTErrorPixels(urls, 303);
    EXPECT_EQ(sent(), (Texts{"1", "http://h/e?c=303&d=303&e=[CB]", "http://h/ERRORCODE+"}));
}

}  // namespace

#include <gtest/gtest.h>

#include "VKTCoreKit/vast/VKTVASTCreativeCompanion.h"
#include "VKTCoreKit/vast/VKTVASTCreativeLinear.h"
#include "VKTCoreKit/vast/VKTVASTCreativeNonLinear.h"
#include "tests/vast/TestNodes.h"

namespace {

using Linear = VKTVASTCreativeLinear;

std::string textOf(const std::optional<VKTVASTURL>& url) {
    return url ? url->url().absoluteString() : "(none)";
}

// Click-through, then click tracking, then tracking events.
Texts clicksAndEventsOf(const VKTVASTCreative& creative) {
    Texts texts{textOf(creative.clickThrough())};
    for (const auto& more : {textsOf(creative.clickTracking()), eventTextsOf(creative.trackingEvents())}) {
        texts.insert(texts.end(), more.begin(), more.end());
    }
    return texts;
}

template <typename Creative>
std::shared_ptr<Creative> creativeOf(std::string_view xml, bool isWrapper = false) {
    return Creative::initWithDictionary(nodeOf(xml), nullptr, vkt_ignoreVASTErrors, isWrapper);
}

Texts mediaFileURLsOf(const Linear& linear) {
    Texts urls;
    for (const auto& file : linear.mediaFiles())
        urls.push_back(textOf(file->url));
    return urls;
}

// In a wrapper too, where an icon still has to be complete.
TEST(Linear, EverythingIsRead) {
    const auto linear = creativeOf<Linear>(
        "<Linear skipoffset='25%'><Icons><Icon program='a'><StaticResource>http://i1</StaticResource></Icon>"
        "<Icon a='1'/></Icons><Icons><Icon><StaticResource>http://i2</StaticResource></Icon></Icons>"
        "<TrackingEvents><Tracking event='start'>http://t</Tracking></TrackingEvents>"
        "<AdParameters> p=1 </AdParameters><Duration>00:00:15</Duration><Duration>00:00:16</Duration>"
        "<MediaFiles><MediaFile type='video/mp4'>http://m</MediaFile></MediaFiles>"
        "<VideoClicks><ClickThrough>http://c|1</ClickThrough><ClickThrough>http://c2</ClickThrough>"
        "<ClickTracking>http://k1</ClickTracking><ClickTracking>http://k:x</ClickTracking>"
        "<ClickTracking>http://k2</ClickTracking></VideoClicks></Linear>",
        true);
    ASSERT_TRUE(linear);
    EXPECT_EQ(std::tie(linear->skipOffset(), linear->duration(), linear->adParameters()),
              std::make_tuple("25%", "00:00:15", "p=1"));
    EXPECT_EQ(mediaFileURLsOf(*linear), Texts{"http://m"});
    EXPECT_EQ(clicksAndEventsOf(*linear),
              (Texts{"http://c%7C1", "http://k1", "http://k2", "start http://t"}));
    ASSERT_EQ(linear->icons().size(), 1U);
    EXPECT_EQ(linear->icons()[0]->program(), "a");
}

TEST(Linear, MissingMediaFilesAreSilentWithoutAnErrorOutput) {
    RecordedErrors errors;
    const auto node = nodeOf("<Linear><Duration>1</Duration></Linear>");
    EXPECT_FALSE(Linear::initWithDictionary(node, nullptr, errors.handler(), false));
    EXPECT_EQ(errors.lines, Texts{});
}

TEST(MediaFile, WhichAreKept) {
    // Attributes and text of the element, whether it is kept as a media file, and as an interactive one.
    const std::tuple<const char*, bool, bool> cases[] = {
        {"type='video/mp4'>http://m", true, false},
        {"type='ViDeO/3gPP'>http://m", true, false},
        {"type='video/m4v'>http://m", true, false},
        {"type='application/vnd.apple.mpegURL'>http://m", true, false},
        {"type='application/x-mpegurl'>http://m", true, false},
        {"type='video/mpegurl'>http://m", true, false},
        {"type='video/webm'>http://m", false, false},
        {"type=' video/mp4'>http://m", false, false},
        {"delivery='progressive'>http://m", false, false},
        {"type='video/mp4'>", false, false},
        {"type='video/mp4'>http://m:x", false, false},
        {"type='application/javascript' apiFramework='vpaid'>http://m", true, true},
        {"type='application/x-JavaScript' apiFramework='VPAID'>http://m", true, true},
        {"type='application/javascript' apiFramework='SIMID'>http://m", false, false},
        {"type='application/javascript'>http://m", false, false},
        {"type='video/mp4' apiFramework='VPAID'>http://m", true, false},
    };
    for (const auto& [content, isKept, isKeptAsInteractive] : cases) {
        for (const bool interactive : {false, true}) {
            const std::string name = interactive ? "InteractiveCreativeFile" : "MediaFile";
            const auto linear = creativeOf<Linear>("<Linear><MediaFiles><" + name + " " + content + "</" +
                                                   name + "></MediaFiles></Linear>");
            ASSERT_TRUE(linear) << content;
            EXPECT_EQ(linear->mediaFiles().size(), (interactive ? isKeptAsInteractive : isKept) ? 1U : 0U)
                << content;
        }
    }
    const auto linear = creativeOf<Linear>(
        "<Linear><MediaFiles><InteractiveCreativeFile type='application/javascript' apiFramework='VPAID'>"
        "http://i</InteractiveCreativeFile><MediaFile type='video/mp4' bitrate='6000'>http://1</MediaFile>"
        "<MediaFile type='video/mp4' bitrate='5000'>http://2</MediaFile></MediaFiles></Linear>");
    EXPECT_EQ(mediaFileURLsOf(*linear), (Texts{"http://1", "http://2", "http://i"}));
    EXPECT_EQ(textOf(linear->mostAppropriateMediaFile()->url), "http://2");
    EXPECT_EQ(Linear::initEmptyCreative()->mostAppropriateMediaFile(), nullptr);
}

TEST(MediaFile, Attributes) {
    const auto numbersOf = [](const VKTVASTMediaFile& file) {
        return std::make_tuple(file.bitrate, file.minBitrate, file.maxBitrate, file.width, file.height,
                               file.fileSize, file.scalable, file.maintainAspectRatio);
    };
    const auto bare = VKTVASTMediaFile::initWithDictionary(nodeOf("<M type='video/mp4'>http://m</M>"));
    EXPECT_EQ(numbersOf(*bare), std::make_tuple(-1, 0, 0, -1, -1, -1, false, false));
    EXPECT_FALSE(bare->id || bare->delivery || bare->codec || bare->apiFramework);
    const auto full = VKTVASTMediaFile::initWithDictionary(
        nodeOf("<M id='i' delivery='d' type='video/mp4' scalable='yes' maintainAspectRatio='1' codec='c' "
               "apiFramework='' bitrate='1.5k' minBitrate='2' maxBitrate='3' width='x' height=' 5px' "
               "fileSize='6e1'>http://m</M>"));
    EXPECT_EQ(numbersOf(*full), std::make_tuple(1.5F, 2, 3, 0, 5, 60, true, true));
    EXPECT_EQ(std::tie(full->id, full->delivery, full->codec, full->apiFramework),
              std::make_tuple("i", "d", "c", ""));
}

// Each kind finds its own in one element with the contents of all of them.
TEST(Creative, EverythingIsRead) {
    const std::string xml =
        "<C id='i' program='p' duration='d' offset='o' apiFramework='f' adSlotID='s' width='1.5' "
        "height='2px' "
        "xPosition='left' yPosition='7' minSuggestedDuration='00:05' expandedWidth='3' expandedHeight='4' "
        "assetWidth='5' assetHeight='6' scalable='true' maintainAspectRatio='0'>"
        "<NonLinearClickTracking>http://n1</NonLinearClickTracking><NonLinearClickTracking>http://n2"
        "</NonLinearClickTracking><NonLinearClickThrough>http://n</NonLinearClickThrough>"
        "<CompanionClickTracking>http://c1</CompanionClickTracking><CompanionClickThrough>http://c"
        "</CompanionClickThrough><IconClicks><IconClickTracking>http://i1</IconClickTracking>"
        "<IconClickThrough>http://i</IconClickThrough></IconClicks><IconClickThrough>http://no"
        "</IconClickThrough><AdParameters>p</AdParameters><HTMLResource>&lt;b&gt;</HTMLResource>"
        "<TrackingEvents><Tracking event='start'>http://t</Tracking></TrackingEvents></C>";

    const auto nonLinear = creativeOf<VKTVASTCreativeNonLinear>(xml);
    EXPECT_EQ(std::make_tuple(nonLinear->id(), nonLinear->minSuggestedDuration(), nonLinear->apiFramework(),
                              nonLinear->adParameters(), nonLinear->scalable(),
                              nonLinear->maintainAspectRatio(), nonLinear->width(), nonLinear->height(),
                              nonLinear->expandedWidth(), nonLinear->expandedHeight()),
              std::make_tuple("i", "00:05", "f", "p", true, false, 1.5F, 2, 3, 4));
    EXPECT_EQ(clicksAndEventsOf(*nonLinear), (Texts{"http://n", "http://n1", "http://n2"}));

    const auto companion = creativeOf<VKTVASTCreativeCompanion>(xml);
    EXPECT_EQ(
        std::make_tuple(companion->id(), companion->adSlotID(), companion->adParameters(), companion->width(),
                        companion->height(), companion->assetWidth(), companion->assetHeight()),
        std::make_tuple("i", "s", "p", 1.5F, 2, 5, 6));
    EXPECT_EQ(clicksAndEventsOf(*companion), (Texts{"http://c", "http://c1", "start http://t"}));

    const auto icon = creativeOf<VKTVASTCreativeIcon>(xml);
    EXPECT_EQ(std::make_tuple(icon->program(), icon->duration(), icon->offset(), icon->apiFramework(),
                              icon->width(), icon->height(), icon->xPosition(), icon->yPosition()),
              std::make_tuple("p", "d", "o", "f", 1.5F, 2, 0, 7));
    EXPECT_EQ(textOf(icon->htmlResource()), "%3Cb%3E");
    EXPECT_EQ(clicksAndEventsOf(*icon), (Texts{"http://i", "http://i1", "start http://t"}));
}

template <typename Creative>
class ResourceTest : public testing::Test {};
using ResourceKinds = testing::Types<VKTVASTCreativeIcon, VKTVASTCreativeCompanion, VKTVASTCreativeNonLinear>;
TYPED_TEST_SUITE(ResourceTest, ResourceKinds);

TYPED_TEST(ResourceTest, OnlyTheFirstKindIsStored) {
    const std::string html = "<HTMLResource>http://h</HTMLResource>";
    const std::string iframe = "<IFrameResource>http://i</IFrameResource>";
    const std::string still = "<StaticResource>http://s</StaticResource>";
    const std::pair<std::string, Texts> cases[] = {
        {html + iframe + still, {"http://s", "(none)", "(none)"}},
        {html + iframe, {"(none)", "http://i", "(none)"}},
        {html + "<StaticResource/>", {"(none)", "(none)", "http://h"}},
        // A text that reads as no URL is a resource all the same, but not a valid one.
        {html + "<StaticResource>http://h:x</StaticResource>", {"(none)", "(none)", "(none)"}},
    };
    for (const auto& [resources, expected] : cases) {
        const auto creative = creativeOf<TypeParam>("<C>" + resources + "</C>");
        ASSERT_TRUE(creative) << resources;
        EXPECT_EQ((Texts{textOf(creative->staticResource()), textOf(creative->iFrameResource()),
                         textOf(creative->htmlResource())}),
                  expected);
        EXPECT_EQ(creative->isValidForWrapper(false), expected != Texts(3, "(none)"));
    }
    std::optional<VKTError> error;
    RecordedErrors errors;
    const auto without = TypeParam::initWithDictionary(nodeOf("<C a='1'/>"), &error, errors.handler(), true);
    EXPECT_EQ(errors.lines, Texts{});
    if constexpr (std::is_same_v<TypeParam, VKTVASTCreativeNonLinear>) {
        EXPECT_FALSE(without);
        EXPECT_FALSE(TypeParam::initWithDictionary(nodeOf("<C a='1'/>"), nullptr, {}, false));
        EXPECT_EQ(error, VKTVASTError::VAST_VALIDATION_ERROR_NONLINEAR_MISSING_RESOURCE().error());
    } else {
        EXPECT_TRUE(without->isValidForWrapper(true) && !without->isValidForWrapper(false));
    }
}

TEST(Creative, UniversalAdIdsAreKeptOnceUpToTheLimit) {
    const auto creative = VKTVASTCreative::initEmptyCreative();
    EXPECT_FALSE(creative->isValidForWrapper(true));
    creative->addUniversalAdIds({{"r", "1"}, {"r", "2"}, {"r", "1"}});
    creative->addUniversalAdIds({{"r", "2"}, {"s", "1"}});
    EXPECT_EQ(creative->universalAdIds(),
              (std::vector<VKTVASTUniversalAdId>{{"r", "1"}, {"r", "2"}, {"s", "1"}}));
    for (std::size_t i = 0; i <= VKTVASTUniversalAdIdLimit; ++i)
        creative->addUniversalAdIds({{"m", std::to_string(i)}});
    EXPECT_EQ(creative->universalAdIds().size(), VKTVASTUniversalAdIdLimit);
}

TEST(Creative, SharedTrackingIsBounded) {
    const auto event = VKTVASTTrackingEvent::initWithName("start", std::nullopt, urlOf("http://h/"));
    const auto last = VKTVASTTrackingEvent::initWithName("mute", std::nullopt, urlOf("http://h/"));
    const auto creative = VKTVASTCreative::initEmptyCreative();
    creative->addTrackingEvents(VKTVASTCreative::TrackingEvents(VKTVASTMergedTrackingEventLimit - 1, event));
    creative->addSharedTrackingEvents({last, event});
    ASSERT_EQ(creative->trackingEvents().size(), VKTVASTMergedTrackingEventLimit);
    EXPECT_EQ(creative->trackingEvents().back(), last);
    // What the creative's own element says is kept whatever its length.
    creative->addTrackingEvents({event});
    creative->addSharedTrackingEvents({last});
    EXPECT_EQ(creative->trackingEvents().size(), VKTVASTMergedTrackingEventLimit + 1);
}

}  // namespace

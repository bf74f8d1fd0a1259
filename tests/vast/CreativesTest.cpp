#include <gtest/gtest.h>

#include "VKTCoreKit/vast/VKTVASTCreativeCompanion.h"
#include "VKTCoreKit/vast/VKTVASTCreativeLinear.h"
#include "VKTCoreKit/vast/VKTVASTCreativeNonLinear.h"
#include "tests/vast/TestNodes.h"

namespace {

using Linear = VKTVASTCreativeLinear;

constexpr const char* duration = "VAST_VALIDATION_ERROR_LINEAR_MISSING_DURATION";
constexpr const char* media = "VAST_VALIDATION_ERROR_LINEAR_MISSING_MEDIAFILES";

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
        "<Icon program='none'/><Icon program='b'><HTMLResource>http://i2</HTMLResource></Icon></Icons>"
        "<Icons><Icon><StaticResource>http://i3</StaticResource></Icon></Icons>"
        "<TrackingEvents><Tracking event='start'>http://t</Tracking></TrackingEvents>"
        "<AdParameters> p=1 </AdParameters><Duration>00:00:15</Duration><Duration>00:00:16</Duration>"
        "<MediaFiles><MediaFile type='video/mp4'>http://m</MediaFile></MediaFiles>"
        "<VideoClicks><ClickThrough>http://c|1</ClickThrough><ClickThrough>http://c2</ClickThrough>"
        "<ClickTracking>http://k1</ClickTracking><ClickTracking>http://k:x</ClickTracking>"
        "<ClickTracking>http://k2</ClickTracking></VideoClicks></Linear>",
        true);
    ASSERT_TRUE(linear);
    EXPECT_EQ(linear->skipOffset(), "25%");
    EXPECT_EQ(linear->duration(), "00:00:15");
    EXPECT_EQ(linear->adParameters(), "p=1");
    EXPECT_EQ(mediaFileURLsOf(*linear), Texts{"http://m"});
    EXPECT_EQ(clicksAndEventsOf(*linear),
              (Texts{"http://c%7C1", "http://k1", "http://k2", "start http://t"}));
    ASSERT_EQ(linear->icons().size(), 2U);
    EXPECT_EQ(linear->icons()[0]->program(), "a");
    EXPECT_EQ(linear->icons()[1]->program(), "b");
}

TEST(Linear, WhatIsReported) {
    struct Case {
        std::string content;
        bool isWrapper;
        bool isBuilt;
        Texts withErrorOutput;
        Texts withoutErrorOutput;
    };
    const std::string timed = "<Duration>1</Duration>";
    const Case cases[] = {
        {"<Duration> </Duration><MediaFiles/>", false, false, {duration, media}, {duration}},
        {"<Duration> </Duration><MediaFiles/>", true, true, {duration}, {duration}},
        {timed, false, false, {media}, {}},
        {timed + "<MediaFiles><MediaFile/></MediaFiles>", false, true, {media}, {}},
        {timed + "<MediaFiles><MediaFile/></MediaFiles>", true, true, {}, {}},
        {timed + "<MediaFiles><MediaFile type='video/mp4'>http://m</MediaFile></MediaFiles>",
         false,
         true,
         {},
         {}},
    };
    for (const Case& row : cases) {
        RecordedErrors with;
        RecordedErrors without;
        std::optional<VKTError> error;
        const auto node = nodeOf("<Linear>" + row.content + "</Linear>");
        const auto linear = Linear::initWithDictionary(node, &error, with.handler(), row.isWrapper);
        const auto silent = Linear::initWithDictionary(node, nullptr, without.handler(), row.isWrapper);
        EXPECT_EQ(linear != nullptr, row.isBuilt) << row.content;
        EXPECT_EQ(silent != nullptr, row.isBuilt) << row.content;
        EXPECT_EQ(with.lines, row.withErrorOutput) << row.content;
        EXPECT_EQ(without.lines, row.withoutErrorOutput) << row.content;
        const bool isBlocked = !with.lines.empty() && with.lines.back() == media;
        EXPECT_EQ(error ? error->code() : 0, isBlocked ? 401 : 0) << row.content;
        if (!linear) continue;
        EXPECT_TRUE(linear->isValidForWrapper(true));
        EXPECT_EQ(linear->isValidForWrapper(false), !linear->mediaFiles().empty()) << row.content;
    }
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
    const auto bare = VKTVASTMediaFile::initWithDictionary(nodeOf("<M type='video/mp4'>http://m</M>"));
    EXPECT_EQ(std::make_tuple(bare->bitrate, bare->minBitrate, bare->maxBitrate, bare->width, bare->height,
                              bare->fileSize, bare->scalable, bare->maintainAspectRatio),
              std::make_tuple(-1, 0, 0, -1, -1, -1, false, false));
    EXPECT_FALSE(bare->id || bare->delivery || bare->codec || bare->apiFramework);
    const auto full = VKTVASTMediaFile::initWithDictionary(
        nodeOf("<M id='i' delivery='d' type='video/mp4' scalable='yes' maintainAspectRatio='1' codec='c' "
               "apiFramework='' bitrate='1.5k' minBitrate='2' maxBitrate='3' width='x' height=' 5px' "
               "fileSize='6e1'>http://m</M>"));
    EXPECT_EQ(std::make_tuple(full->bitrate, full->minBitrate, full->maxBitrate, full->width, full->height,
                              full->fileSize, full->scalable, full->maintainAspectRatio),
              std::make_tuple(1.5F, 2, 3, 0, 5, 60, true, true));
    EXPECT_EQ(std::tie(full->id, full->delivery, full->codec, full->apiFramework),
              std::make_tuple("i", "d", "c", ""));
}

TEST(NonLinear, IsReadWithoutTrackingEvents) {
    const auto creative = creativeOf<VKTVASTCreativeNonLinear>(
        "<NonLinear id='i' minSuggestedDuration='00:05' apiFramework='f' scalable='true' "
        "maintainAspectRatio='0' width='1.5' height='2px' expandedWidth='3' expandedHeight='4'>"
        "<StaticResource>http://r</StaticResource><AdParameters>p</AdParameters>"
        "<TrackingEvents><Tracking event='start'>http://t</Tracking></TrackingEvents>"
        "<NonLinearClickTracking>http://k1</NonLinearClickTracking>"
        "<NonLinearClickTracking>http://k2</NonLinearClickTracking>"
        "<NonLinearClickThrough>http://c</NonLinearClickThrough></NonLinear>");
    ASSERT_TRUE(creative);
    EXPECT_EQ(std::tie(creative->id(), creative->minSuggestedDuration(), creative->apiFramework(),
                       creative->adParameters()),
              std::make_tuple("i", "00:05", "f", "p"));
    EXPECT_TRUE(creative->scalable());
    EXPECT_FALSE(creative->maintainAspectRatio());
    EXPECT_EQ(std::make_tuple(creative->width(), creative->height(), creative->expandedWidth(),
                              creative->expandedHeight()),
              std::make_tuple(1.5F, 2, 3, 4));
    EXPECT_EQ(clicksAndEventsOf(*creative), (Texts{"http://c", "http://k1", "http://k2"}));
}

TEST(NonLinear, NeedsAResourceAndFailsSilently) {
    const auto node = nodeOf("<NonLinear id='i'><StaticResource creativeType='image/png'/></NonLinear>");
    std::optional<VKTError> error;
    RecordedErrors errors;
    EXPECT_FALSE(VKTVASTCreativeNonLinear::initWithDictionary(node, &error, errors.handler(), true));
    EXPECT_EQ(error, VKTVASTError::VAST_VALIDATION_ERROR_NONLINEAR_MISSING_RESOURCE().error());
    EXPECT_FALSE(VKTVASTCreativeNonLinear::initWithDictionary(node, nullptr, errors.handler(), false));
    EXPECT_TRUE(errors.lines.empty());
    // A text that reads as no URL is a resource all the same, but not a valid one.
    const auto creative = creativeOf<VKTVASTCreativeNonLinear>(
        "<NonLinear><StaticResource>http://h:x</StaticResource><HTMLResource>b</HTMLResource></NonLinear>");
    ASSERT_TRUE(creative);
    EXPECT_EQ(textOf(creative->htmlResource()), "(none)");
    EXPECT_FALSE(creative->isValidForWrapper(false));
}

TEST(Companion, IsReadWithTrackingEvents) {
    const auto creative = creativeOf<VKTVASTCreativeCompanion>(
        "<Companion id='i' adSlotID='s' height='2' assetWidth='3' assetHeight='4'>"
        "<AdParameters>p</AdParameters>"
        "<CompanionClickTracking>http://k</CompanionClickTracking>"
        "<CompanionClickThrough>http://c</CompanionClickThrough>"
        "<TrackingEvents><Tracking event='creativeView'>http://t</Tracking></TrackingEvents></Companion>");
    EXPECT_EQ(std::tie(creative->id(), creative->adSlotID(), creative->adParameters()),
              std::make_tuple("i", "s", "p"));
    EXPECT_EQ(std::make_tuple(creative->width(), creative->height(), creative->assetWidth(),
                              creative->assetHeight()),
              std::make_tuple(0, 2, 3, 4));
    EXPECT_EQ(clicksAndEventsOf(*creative), (Texts{"http://c", "http://k", "creativeView http://t"}));
}

TEST(Icon, IsReadWithClicksOfItsContainer) {
    const auto icon = creativeOf<VKTVASTCreativeIcon>(
        "<Icon program='p' duration='d' offset='o' apiFramework='f' width='1' height='2' xPosition='left' "
        "yPosition='7'><IconClicks><IconClickTracking>http://k</IconClickTracking>"
        "<IconClickThrough>http://c</IconClickThrough></IconClicks><IconClickThrough>http://no"
        "</IconClickThrough><HTMLResource>&lt;b&gt;</HTMLResource>"
        "<TrackingEvents><Tracking event='click'>http://t</Tracking></TrackingEvents></Icon>");
    EXPECT_EQ(std::tie(icon->program(), icon->duration(), icon->offset(), icon->apiFramework()),
              std::make_tuple("p", "d", "o", "f"));
    EXPECT_EQ(std::make_tuple(icon->width(), icon->height(), icon->xPosition(), icon->yPosition()),
              std::make_tuple(1, 2, 0, 7));
    EXPECT_EQ(textOf(icon->htmlResource()), "%3Cb%3E");
    EXPECT_EQ(clicksAndEventsOf(*icon), (Texts{"http://c", "http://k", "click http://t"}));
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
    };
    for (const auto& [resources, expected] : cases) {
        const auto creative = creativeOf<TypeParam>("<C>" + resources + "</C>");
        ASSERT_TRUE(creative) << resources;
        EXPECT_EQ((Texts{textOf(creative->staticResource()), textOf(creative->iFrameResource()),
                         textOf(creative->htmlResource())}),
                  expected);
        EXPECT_TRUE(creative->isValidForWrapper(false));
    }
    const auto without = creativeOf<TypeParam>("<C a='1'/>");
    EXPECT_EQ(without == nullptr, (std::is_same_v<TypeParam, VKTVASTCreativeNonLinear>));
    if (without) {
        EXPECT_FALSE(without->isValidForWrapper(false));
        EXPECT_TRUE(without->isValidForWrapper(true));
    }
}

TEST(Creative, UniversalAdIdsAreKeptOnceUpToTheLimit) {
    const auto creative = VKTVASTCreative::initEmptyCreative();
    EXPECT_FALSE(creative->isValidForWrapper(true));
    creative->addUniversalAdIds({{"r", "1"}, {"r", "2"}, {"r", "1"}});
    creative->addUniversalAdIds({{"r", "2"}, {"s", "1"}});
    EXPECT_EQ(creative->universalAdIds(),
              (std::vector<VKTVASTUniversalAdId>{{"r", "1"}, {"r", "2"}, {"s", "1"}}));
    std::vector<VKTVASTUniversalAdId> many;
    for (int i = 0; i < 1000; ++i)
        many.push_back({"m", std::to_string(i)});
    creative->addUniversalAdIds(many);
    ASSERT_EQ(creative->universalAdIds().size(), VKTVASTUniversalAdIdLimit);
    EXPECT_EQ(creative->universalAdIds()[3].value, "0");
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

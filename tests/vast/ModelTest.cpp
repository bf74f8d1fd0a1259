#include "VKTCoreKit/vast/VKTVASTModel.h"

#include <gtest/gtest.h>

#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"
#include "tests/vast/TestNodes.h"

namespace {

const std::string names = "<AdSystem>s</AdSystem><AdTitle>t</AdTitle>";
const std::string pixel = "<Error>http://e</Error>";
const std::string video = "<MediaFiles><MediaFile type='video/mp4'>http://m</MediaFile></MediaFiles>";
const std::string linear = "<Linear><Duration>1</Duration>" + video + "</Linear>";
const std::string banner =
    "<CompanionAds><Companion><StaticResource>http://r</StaticResource></Companion></CompanionAds>";
const std::string overlay = "<NonLinear><StaticResource>http://r</StaticResource></NonLinear>";

std::string creativesOf(const std::string& content) {
    return "<Creatives><Creative>" + content + "</Creative></Creatives>";
}
std::string trackingOf(const std::string& url) {
    return "<TrackingEvents><Tracking event='start'>" + url + "</Tracking></TrackingEvents>";
}
std::string inlineAd(const std::string& content) {
    return "<Ad><InLine>" + content + "</InLine></Ad>";
}
std::string wrapperAd(const std::string& content, const std::string& attributes = "") {
    return "<Ad" + attributes + "><Wrapper>" + content + "</Wrapper></Ad>";
}

std::shared_ptr<VKTVASTModel> modelOf(const std::string& ads) {
    return VKTVASTModel::initWithDictionary(nodeOf("<VAST version='4.2'>" + ads + "</VAST>"));
}
std::shared_ptr<VKTVASTAd> adOf(const std::string& ad) {
    return modelOf(ad)->firstAd();
}

Texts idsOf(const VKTVASTModel::Ads& ads) {
    Texts ids;
    for (const auto& ad : ads)
        ids.push_back(ad->adID().value_or("-"));
    return ids;
}

TEST(Model, NeedsAVersion) {
    for (const char* version : {"2.0", "3.0", "4.0", "4.1", "4.2"})
        EXPECT_TRUE(VKTVASTModel::initWithVersion(version, {}, {})->versionIsSupported()) << version;
    for (const char* version : {"4", "3.0.1", "1.0", "4.3", " 4.2", ""})
        EXPECT_FALSE(VKTVASTModel::initWithVersion(version, {}, {})->versionIsSupported()) << version;

    RecordedErrors errors;
    std::optional<VKTError> error;
    const auto node = nodeOf("<VAST>" + pixel + "<Error/><Error>http://f</Error></VAST>");
    EXPECT_FALSE(VKTVASTModel::initWithDictionary(node, &error, errors.handler()));
    EXPECT_EQ(errors.lines, Texts{"VAST_VALIDATION_ERROR_MISSING_VERSION http://e http://f"});
    EXPECT_EQ(error, VKTVASTError::VAST_VALIDATION_ERROR_MISSING_VERSION().error());
    EXPECT_EQ(VKTVASTModel::initWithDictionary(nodeOf("<VAST version=''>x</VAST>"))->version(), "");

    // The document's own pixels are read when it has no ad, however empty that is.
    EXPECT_EQ(textsOf(modelOf(pixel)->errorPixels()), Texts{"http://e"});
    EXPECT_TRUE(modelOf(pixel + "<Ad/>")->errorPixels().empty());
}

TEST(Model, WhatHandlersHear) {
    const std::string creatives = "VAST_VALIDATION_ERROR_MISSING_CREATIVES";
    const std::string noSystem = "VAST_VALIDATION_ERROR_MISSING_ADSYSTEM";
    const std::string noTitle = "VAST_VALIDATION_ERROR_MISSING_ADTITLE";
    const std::string noDuration = "VAST_VALIDATION_ERROR_LINEAR_MISSING_DURATION";
    const std::string noMedia = "VAST_VALIDATION_ERROR_LINEAR_MISSING_MEDIAFILES";
    const std::string e = " http://e";
    const std::string badWrapper = "XML_PARSING_ERROR_WRAPPER";
    const std::string unplayable =
        "<Linear><Duration>1</Duration><MediaFiles><MediaFile/></MediaFiles></Linear>";
    const std::string untimed = "<Linear>" + video + "</Linear>";
    const std::string mute = "<Linear><Duration>1</Duration></Linear>";
    const std::string overlays = "<NonLinearAds>" + overlay + "</NonLinearAds>";
    const std::string brokenOverlay = "<NonLinearAds><NonLinear id='1'/></NonLinearAds>";
    const std::string muteThenLinear =
        "<Creatives><Creative>" + mute + "</Creative><Creative>" + linear + "</Creative></Creatives>";
    const std::string wrapperOfNothing = "<Ad><Wrapper/></Ad>";
    // Ads, what is heard, the code in the error output or 0, "valid" or "invalid" for each ad that was built.
    const std::tuple<std::string, Texts, std::int64_t, Texts> cases[] = {
        {"<Ad id='1'/>", {}, 0, {}},
        {"<Ad><InLine/><Wrapper>x</Wrapper></Ad>", {"XML_PARSING_ERROR"}, 100, {}},
        {wrapperOfNothing, {badWrapper}, 303, {}},
        {inlineAd(pixel + creativesOf(linear)), {noSystem + e, noTitle + e}, 0, {"valid"}},
        {wrapperAd(pixel), {noSystem, noTitle}, 0, {"valid"}},
        {inlineAd(names + pixel), {creatives + e}, 101, {"invalid"}},
        {inlineAd(names + "<Creatives x='1'/>"), {}, 0, {"invalid"}},
        {inlineAd(names + "<Creatives><Creative/></Creatives>"), {creatives}, 101, {"invalid"}},
        {inlineAd(names + pixel + creativesOf(banner)), {creatives + e}, 101, {"invalid"}},
        {inlineAd(names + pixel + creativesOf(mute)), {noMedia + e}, 401, {"invalid"}},
        {inlineAd(names + creativesOf(unplayable)), {noMedia}, 401, {"invalid"}},
        {wrapperAd(names + creativesOf(unplayable)), {}, 0, {"valid"}},
        {inlineAd(names + creativesOf(brokenOverlay)), {creatives}, 101, {"invalid"}},
        {inlineAd(names + pixel + creativesOf(untimed)), {noDuration + e}, 0, {"valid"}},
        {wrapperAd(names + pixel + creativesOf("<Linear a='1'/>")), {noDuration}, 0, {"valid"}},
        {inlineAd(names + creativesOf(untimed + overlays)), {}, 0, {"valid"}},
        {inlineAd(names + muteThenLinear), {}, 401, {"valid"}},
        {inlineAd(names + creativesOf(linear + brokenOverlay)), {}, 101, {"valid"}},
        {inlineAd(names) + wrapperOfNothing, {creatives, badWrapper}, 303, {"invalid"}},
    };
    for (const auto& [ads, heard, code, expected] : cases) {
        const auto node = nodeOf("<VAST version='4.2'>" + ads + "</VAST>");
        RecordedErrors errors;
        std::optional<VKTError> error;
        const auto model = VKTVASTModel::initWithDictionary(node, &error, errors.handler());
        EXPECT_EQ(errors.lines, heard) << ads;
        EXPECT_EQ(error ? error->code() : 0, code) << ads;
        Texts validities;
        for (const auto& ad : model->ads())
            validities.push_back(ad->isValid() ? "valid" : "invalid");
        EXPECT_EQ(validities, expected) << ads;
    }
}

TEST(Model, AdsReadAloneNameTheirErrorPixelsOnlyForMissingCreatives) {
    // Without an error output an unusable creative is silent, but the ad is as invalid.
    const std::pair<const char*, Texts> cases[] = {
        {"", {"VAST_VALIDATION_ERROR_MISSING_CREATIVES http://e"}},
        {"<Creatives><Creative x='1'/></Creatives>", {}},
    };
    for (const auto& [creatives, heard] : cases) {
        RecordedErrors errors;
        const auto node = nodeOf(inlineAd(names + pixel + creatives));
        const auto ad = VKTVASTAdInline::initWithDictionary(node, nullptr, errors.handler());
        EXPECT_EQ(errors.lines, heard);
        EXPECT_TRUE(ad->hasTriggeredAParsingError());
    }
}

TEST(Model, Sequences) {
    const std::pair<const char*, const char*> cases[] = {
        {"2", "2"},          {"0", "2147483647"}, {"abc", "2147483647"},
        {" ", "2147483647"}, {"-1", "-1"},        {"3x", "3x"}};
    for (const auto& [written, expected] : cases) {
        const auto ad = adOf(wrapperAd("x", " sequence='" + std::string(written) + "'"));
        EXPECT_EQ(ad->adSequence(), expected);
        EXPECT_TRUE(ad->hasSequence());
    }
    EXPECT_FALSE(adOf(wrapperAd("x", " sequence=''"))->hasSequence());
}

TEST(Model, MainAndPassbackAds) {
    const auto ad = [](const char* kind, const char* id, const char* sequence) {
        return "<Ad id='" + std::string(id) + "' sequence='" + sequence + "'><" + kind + ">x</" + kind +
               "></Ad>";
    };
    const auto in = [&](const char* id, const char* sequence = "") { return ad("InLine", id, sequence); };
    const auto wrap = [&](const char* id, const char* sequence = "") { return ad("Wrapper", id, sequence); };
    const std::tuple<std::string, Texts, Texts> cases[] = {
        {"", {}, {}},
        {wrap("a") + wrap("b"), {"a"}, {"b"}},
        {wrap("a") + in("b") + in("c"), {"b"}, {"b", "c"}},
        {in("a", "2") + wrap("b", "1") + in("c"), {"b", "a"}, {"c"}},
        {in("a", "10") + in("b", "x") + in("c", "9") + in("d", "010") + in("e", "0"),
         {"c", "a", "d", "b", "e"},
         {}},
        {in("a") + in("b", "1") + wrap("c"), {"b"}, {"a", "c"}},
    };
    for (const auto& [ads, mainAds, passbackAds] : cases) {
        const auto model = modelOf(ads);
        EXPECT_EQ(idsOf(model->mainAds()), mainAds) << ads;
        EXPECT_EQ(idsOf(model->passbackAds()), passbackAds) << ads;
    }
    std::string manyEqual;
    Texts inDocumentOrder;
    for (int i = 0; i < 40; ++i) {
        inDocumentOrder.push_back(std::to_string(i));
        manyEqual += in(inDocumentOrder.back().c_str(), i % 2 == 0 ? "1" : "01");
    }
    EXPECT_EQ(idsOf(modelOf(manyEqual)->mainAds()), inDocumentOrder);
    const auto model = modelOf(in("a") + wrap("b", "1") + "<Ad id='none'/>" + wrap("c", "1"));
    const auto& ads = model->ads();
    EXPECT_EQ(model->sequencedAdsCount(), 2U);
    EXPECT_EQ(model->wrapperCount(), 2U);
    EXPECT_EQ(model->adAfter(nullptr), ads[0]);
    EXPECT_EQ(model->adAfter(ads[1]), ads[2]);
    EXPECT_EQ(model->adAfter(ads[2]), nullptr);
    EXPECT_EQ(model->adAfter(adOf(in("a"))), nullptr);
    EXPECT_TRUE(model->isOwnerOf(*ads[2]));
    EXPECT_FALSE(model->isOwnerOf(*adOf(in("a"))));
    EXPECT_TRUE(ads[0]->consume());
    EXPECT_FALSE(ads[0]->consume());
}

TEST(Ad, EverythingIsRead) {
    const std::string script =
        "<Verification><JavaScriptResource>http://v</JavaScriptResource></Verification>";
    const std::string legacy =
        "<Extension type='AdVerifications'><AdVerifications>" + script + "</AdVerifications></Extension>";
    const auto ad = adOf(wrapperAd(
        "<VASTAdTagURI>http://next|</VASTAdTagURI><Extensions>" + legacy +
            "<Extension><KorvoMetrics><KorvoMetric name='viewcount'>http://x</KorvoMetric></KorvoMetrics>"
            "</Extension><Extension type='adVerifications'><AdVerifications>" +
            script +
            "</AdVerifications></Extension></Extensions><ViewableImpression>"
            "<ViewUndetermined>http://u/[M]</ViewUndetermined><NotViewable>http://n</NotViewable>"
            "<Viewable>http://1</Viewable><Viewable/><Viewable>http://2</Viewable></ViewableImpression>"
            "<Impression>http://i1</Impression><Impression>http://i:x</Impression>"
            "<Impression>http://i2</Impression>" +
            pixel + names,
        " id='7'"));
    EXPECT_EQ(std::tie(ad->adID(), ad->adSystem(), ad->adTitle()), std::make_tuple("7", "s", "t"));
    EXPECT_EQ(textsOf(ad->impressions()), (Texts{"http://i1", "http://i2"}));
    EXPECT_EQ(textsOf(ad->errorPixels()), Texts{"http://e"});
    EXPECT_EQ(eventTextsOf(ad->viewabilityEvents()),
              (Texts{"viewable http://1", "viewable http://2", "notviewable http://n",
                     "viewundetermined http://u/%5BM%5D", "viewable http://x"}));
    EXPECT_EQ(ad->adVerifications().size(), 1U);
    EXPECT_EQ(ad->nextActionURL(), urlOf("http://next%7C"));
    EXPECT_TRUE(ad->isWrapper() && ad->isValid() && !ad->isInline());
    EXPECT_FALSE(adOf(wrapperAd("x"))->nextActionURL());

    // The ad's own verifications silence the legacy form, even when none of them builds.
    const std::string extensions = "<Extensions>" + legacy + "</Extensions>";
    const auto countOf = [&](const std::string& own) {
        return adOf(inlineAd("<AdVerifications>" + own + "</AdVerifications>" + extensions))
            ->adVerifications()
            .size();
    };
    EXPECT_EQ(countOf(script + script), 2U);
    EXPECT_EQ(countOf("<Verification vendor='v'/>"), 0U);
    EXPECT_EQ(countOf("<Verification/>"), 1U);
}

TEST(Ad, CreativesOfEachKind) {
    const std::string ids =
        "<UniversalAdId idRegistry='r'>1</UniversalAdId><UniversalAdId idRegistry='r'>2</UniversalAdId>";
    const std::string companions =
        "<CompanionAds><Companion id='no'/><Companion><StaticResource>http://r</StaticResource></Companion>"
        "</CompanionAds>";
    const std::string twoOverlays =
        "<NonLinearAds>" + overlay + overlay + trackingOf("http://o1") + "</NonLinearAds>";
    const std::string oneOverlay = "<NonLinearAds>" + overlay + trackingOf("http://o2") + "</NonLinearAds>";
    const auto ad = adOf(inlineAd("<Creatives><Creative>" + ids + linear + linear + twoOverlays + companions +
                                  "</Creative><Creative>" + banner + oneOverlay + "</Creative></Creatives>"));
    ASSERT_EQ(ad->linearCreatives().size(), 1U);
    EXPECT_EQ(ad->linearCreatives()[0]->universalAdIds().size(), 2U);
    EXPECT_EQ(ad->companionCreatives().size(), 1U);
    ASSERT_EQ(ad->nonLinearCreatives().size(), 2U);
    EXPECT_EQ(eventTextsOf(ad->nonLinearCreatives()[0]->trackingEvents()),
              (Texts{"start http://o1", "start http://o2"}));
    EXPECT_EQ(eventTextsOf(ad->nonLinearCreatives()[1]->trackingEvents()), Texts{"start http://o2"});

    std::string many;
    for (std::size_t i = 0; i <= VKTVASTCreativeLimit; ++i)
        many += "<Creative>" + linear + "</Creative>";
    EXPECT_EQ(adOf(inlineAd("<Creatives>" + many + "</Creatives>"))->linearCreatives().size(),
              VKTVASTCreativeLimit);
}

// An ad with one of everything that merging takes, its URLs told apart by `host`.
std::string contentWith(const std::string& host) {
    const std::string url = "http://" + host;
    return "<Error>" + url + "</Error><Impression>" + url + "</Impression><ViewableImpression><Viewable>" +
           url + "</Viewable></ViewableImpression><AdVerifications><Verification><JavaScriptResource>" + url +
           "</JavaScriptResource></Verification></AdVerifications><Extensions><Extension><sort rank='" +
           host + "'/></Extension><Extension><KorvoMetrics><KorvoMetric name='viewcount'>" + url +
           "</KorvoMetric></KorvoMetrics></Extension></Extensions>" +
           creativesOf("<Linear>" + video + trackingOf(url) + "<VideoClicks><ClickThrough>" + url +
                       "</ClickThrough><ClickTracking>" + url + "</ClickTracking></VideoClicks></Linear>");
}

TEST(Merge, AWrapperIsAppended) {
    const auto ad = adOf(inlineAd(contentWith("own")));
    const auto wrapper = adOf(wrapperAd(contentWith("wrap")));
    wrapper->merge(*adOf(wrapperAd("x")));
    ad->merge(*wrapper);
    EXPECT_EQ(ad->wrapperDepth(), 2);
    const Texts both{"http://own", "http://wrap"};
    EXPECT_EQ(textsOf(ad->errorPixels()), both);
    EXPECT_EQ(textsOf(ad->impressions()), both);
    EXPECT_EQ(eventTextsOf(ad->viewabilityEvents()), (Texts{"viewable http://own", "viewable http://own",
                                                            "viewable http://wrap", "viewable http://wrap"}));
    ASSERT_EQ(ad->linearCreatives().size(), 1U);
    const auto& creative = *ad->linearCreatives()[0];
    EXPECT_EQ(eventTextsOf(creative.trackingEvents()), (Texts{"start http://own", "start http://wrap"}));
    EXPECT_EQ(textsOf(creative.clickTracking()), both);
    EXPECT_EQ(creative.clickThrough()->url(), urlOf("http://own"));
    EXPECT_EQ(ad->adVerifications().size(), 2U);
    EXPECT_EQ(ad->extensions(), wrapper->extensions());
    EXPECT_EQ(ad->extensions()->sortRank, "wrap");
    EXPECT_EQ(eventTextsOf(ad->extensions()->metrics),
              (Texts{"viewcount http://wrap", "viewcount http://own"}));

    const auto alone = adOf(inlineAd(contentWith("own")));
    alone->merge(*adOf(wrapperAd("<Extensions><Extension><sort rank='1'/></Extension></Extensions>")));
    EXPECT_EQ(alone->extensions()->sortRank, "own");
}

TEST(Merge, HoldersTakeWhatTheAdHasNoCreativeFor) {
    const std::string first = "<Creative><Linear>" + trackingOf("http://1") + "</Linear></Creative>";
    const std::string second = "<Creative><Linear>" + trackingOf("http://2") + "</Linear></Creative>";
    const auto ad = adOf(inlineAd("<Creatives x='1'/>"));
    EXPECT_FALSE(ad->isValid());
    ad->merge(*adOf(wrapperAd("<Creatives>" + first + second + "</Creatives>")));
    ASSERT_EQ(ad->linearCreatives().size(), 1U);
    const auto& holder = *ad->linearCreatives()[0];
    EXPECT_EQ(eventTextsOf(holder.trackingEvents()), (Texts{"start http://1", "start http://2"}));
    EXPECT_TRUE(holder.isValidForWrapper(true) && !holder.isValidForWrapper(false));
    EXPECT_EQ(ad->companionCreatives().size(), 1U);
    EXPECT_EQ(ad->nonLinearCreatives().size(), 1U);
    EXPECT_TRUE(ad->isValid());
}

TEST(Ad, APlainAdHasOnlyItsAttributes) {
    const auto ad = VKTVASTAd::initWithDictionary(
        nodeOf("<Ad id='7' sequence='x'><InLine>" + names + pixel + creativesOf(linear) + "</InLine></Ad>"));
    EXPECT_EQ(std::tie(ad->adID(), ad->adSequence()), std::make_tuple("7", "2147483647"));
    EXPECT_TRUE(ad->errorPixels().empty() && ad->linearCreatives().empty() && !ad->adTitle());
    EXPECT_TRUE(ad->isValid() && !ad->isInline() && !ad->isWrapper() && !ad->nextActionURL());
    std::optional<VKTError> error;
    EXPECT_TRUE(VKTVASTAd::initWithDictionary({}, &error, {}));
    EXPECT_FALSE(error);
}

TEST(Model, EmptyHandlersAndNullAdsAreHarmless) {
    const std::string broken = "<Creatives><Creative><Linear a='1'/></Creative></Creatives>";
    for (const std::string& ad : {std::string(), inlineAd(""), inlineAd(names), inlineAd(names + broken),
                                  wrapperAd(""), wrapperAd("<Error/>")}) {
        std::optional<VKTError> error;
        const auto node = nodeOf("<VAST version='4.2' a='1'>" + ad + "</VAST>");
        EXPECT_TRUE(VKTVASTModel::initWithDictionary(node, &error, VKTVASTErrorHandler())) << ad;
    }
    EXPECT_FALSE(VKTVASTModel::initWithDictionary({}, nullptr, VKTVASTErrorHandler()));

    const auto ad = VKTVASTAd::initWithDictionary({});
    const auto model = VKTVASTModel::initWithVersion("2.0", {nullptr, ad, nullptr}, {});
    EXPECT_EQ(model->ads(), VKTVASTModel::Ads{ad});
    EXPECT_EQ(model->mainAds(), VKTVASTModel::Ads{ad});

    const auto creative = VKTVASTCreative::initEmptyCreative();
    creative->addTrackingEvents({nullptr});
    creative->addSharedTrackingEvents({nullptr});
    EXPECT_TRUE(creative->trackingEvents().empty());
    using Selector = VKTVASTMediaFileSelector;
    EXPECT_EQ(Selector::initWithMinBitrate(0, 1, {nullptr, nullptr}).mediaFile(), nullptr);
}

}  // namespace

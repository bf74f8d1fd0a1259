#include "VKTCoreKit/vast/VKTVASTModel.h"

#include <gtest/gtest.h>

#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"
#include "tests/support/VKTRecordedLog.h"
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
std::string inlineAd(const std::string& content, const std::string& attributes = "") {
    return "<Ad" + attributes + "><InLine>" + content + "</InLine></Ad>";
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

TEST(Ad, EachVendorIsToBeMeasuredOnceWhereverItStands) {
    const auto verification = [](const std::string& vendor, const std::string& URL) {
        return "<Verification" + (vendor.empty() ? "" : " vendor='" + vendor + "'") +
               "><JavaScriptResource>" + URL + "</JavaScriptResource></Verification>";
    };
    const auto own = [](const std::string& content) {
        return "<AdVerifications>" + content + "</AdVerifications>";
    };
    const auto extension = [](const std::string& type, const std::string& content) {
        return "<Extensions><Extension type='" + type + "'><AdVerifications>" + content +
               "</AdVerifications></Extension></Extensions>";
    };
    const auto measured = [](const std::shared_ptr<VKTVASTAd>& ad) {
        std::string text;
        for (const auto& each : ad->allAdVerifications())
            text += each.vendor.value_or("none") + "=" +
                    (each.resources[0].url ? each.resources[0].url->absoluteString() : "") + " ";
        return text;
    };
    const std::string a = verification("a", "http://a");
    const std::string b = verification("b", "http://b");
    struct Case {
        const char* name;
        std::string content;
        const char* measured;
    };
    const Case cases[] = {
        {"in both", own(a) + extension("AdVerifications", a), "a=http://a "},
        {"one more in an extension", own(a) + extension("AdVerifications", a + b), "a=http://a b=http://b "},
        {"in extensions alone", extension("AdVerifications", a + b), "a=http://a b=http://b "},
        {"in an extension of another type", own(b) + extension("x", a), "b=http://b a=http://a "},
        {"for older players", own(a) + extension("x", verification("a", "http://old")), "a=http://a "},
        {"without a vendor",
         own(a) + extension("x", verification("", "http://a") + verification("", "http://c")),
         "a=http://a none=http://c "},
        {"own script unreadable", own(verification("a", "http://h:x")) + extension("x", a),
         "a= a=http://a "}};
    for (const Case& each : cases)
        EXPECT_EQ(measured(adOf(inlineAd(each.content))), each.measured) << each.name;

    const auto ad = adOf(inlineAd(extension("x", a)));
    ad->merge(*adOf(wrapperAd(own(b) + extension("x", verification("c", "http://c")))));
    ad->merge(
        *adOf(wrapperAd("<Extensions><Extension><KorvoMetrics><KorvoMetric name='viewcount'>http://m"
                        "</KorvoMetric></KorvoMetrics></Extension></Extensions>")));
    EXPECT_EQ(measured(ad), "b=http://b a=http://a c=http://c ") << "merged";
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

// The budget is spent in the order of merging.
TEST(Merge, KeepsWhatTheBudgetAllowsAndSaysOnceWhatItDropped) {
    const std::string others = "1 tracking events, 1 click trackers, 1 metrics, 1 verifications";
    const std::string all = "1 error pixels, 1 impressions, 2 viewability events, " + others;
    struct Case {
        std::size_t items;
        std::string dropped;
    };
    const Case cases[] = {
        {9, all},  // of the next ad
        {8, "1 verifications"},
        {6, "1 metrics, 1 verifications"},
        {4, others},
        {3, "1 viewability events, " + others},
        {0, all},
    };
    for (const auto& [items, dropped] : cases) {
        SCOPED_TRACE(items);
        VKTRecordedLog log;
        const auto wrapper = adOf(wrapperAd(contentWith("wrap"), " id='w'"));
        const auto ad = adOf(inlineAd(contentWith("own"), " id='a'"));
        VKTVASTMergeBudget budget(items);
        ad->merge(*wrapper, budget);
        adOf(inlineAd(contentWith("next"), " id='b'"))->merge(*wrapper, budget);
        const Texts lines = log.take();
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_NE(lines[0].find(std::string("when wrapper w was merged into ad ") + (items == 9 ? "b" : "a")),
                  std::string::npos)
            << lines[0];
        EXPECT_NE(lines[0].find(" is reached, and " + dropped + " were dropped"), std::string::npos)
            << lines[0];
        EXPECT_EQ(ad->adVerifications().size(), items == 9 ? 2U : 1U);
    }
}

TEST(Merge, KeepsTheFirstOfWhatDoesNotFit) {
    const auto wrapper =
        adOf(wrapperAd("<Impression>http://1</Impression><Impression>http://2</Impression><Impression>http://"
                       "3</Impression>"));
    const auto ad = adOf(inlineAd(names));
    VKTVASTMergeBudget budget(2);
    ad->merge(*wrapper, budget);
    EXPECT_EQ(textsOf(ad->impressions()), (Texts{"http://1", "http://2"}));
    EXPECT_EQ(budget.itemsLeft(), 0U);
}

// A verification with `count` resources and a parameter text of that length.
std::shared_ptr<VKTVASTAd> wrapperWithVerification(std::size_t count, std::size_t length) {
    std::string content =
        "<Verification><VerificationParameters>" + std::string(length, 'p') + "</VerificationParameters>";
    for (std::size_t i = 0; i < count; ++i)
        content += "<JavaScriptResource>//j</JavaScriptResource>";
    return adOf(wrapperAd("<AdVerifications>" + content + "</Verification></AdVerifications>"));
}

TEST(Merge, CopiedTextsAndResourcesCostItemsToo) {
    const std::tuple<std::size_t, std::size_t, std::size_t> cases[] = {
        {1, 100, 2}, {1, 1280, 12}, {30, 0, 31}};
    for (const auto& [resources, textLength, cost] : cases) {
        VKTVASTMergeBudget budget(1000);
        adOf(inlineAd(names))->merge(*wrapperWithVerification(resources, textLength), budget);
        EXPECT_EQ(budget.itemsLeft(), 1000 - cost);
    }
}

TEST(Merge, EveryCreativeGetsTheTrackingOfEveryWrapperCreative) {
    const auto twoOfEachKind = [](const std::string& host) {
        std::string creatives;
        for (const char* number : {"1", "2"}) {
            const std::string events = trackingOf("http://" + host + number);
            creatives += "<Creative><Linear>" + video + events +
                         "</Linear><CompanionAds><Companion><StaticResource>http://r</StaticResource>" +
                         events + "</Companion></CompanionAds></Creative>";
        }
        return "<Creatives>" + creatives + "</Creatives>";
    };
    const auto ad = adOf(inlineAd(twoOfEachKind("own")));
    ad->merge(*adOf(wrapperAd(twoOfEachKind("wrap"))));
    const auto expectAll = [](const auto& creatives) {
        ASSERT_EQ(creatives.size(), 2U);
        for (const std::size_t i : {0U, 1U}) {
            EXPECT_EQ(eventTextsOf(creatives[i]->trackingEvents()),
                      (Texts{"start http://own" + std::to_string(i + 1), "start http://wrap1",
                             "start http://wrap2"}));
        }
    };
    expectAll(ad->linearCreatives());
    expectAll(ad->companionCreatives());
}

TEST(Ad, EveryLinearHasTheUniversalAdIdsOfItsCreative) {
    const auto creative = [](const std::string& id) {
        return "<Creative><UniversalAdId idRegistry='r'>" + id + "</UniversalAdId>" + linear + "</Creative>";
    };
    const std::string creatives = "<Creatives>" + creative("1") + creative("2") + "</Creatives>";
    for (const std::string& xml : {inlineAd(creatives), wrapperAd(creatives)}) {
        const auto ad = adOf(xml);
        ASSERT_EQ(ad->linearCreatives().size(), 2U) << xml;
        for (const std::size_t i : {0U, 1U}) {
            const auto& ids = ad->linearCreatives()[i]->universalAdIds();
            EXPECT_EQ(ids, (std::vector<VKTVASTUniversalAdId>{{"r", std::to_string(i + 1)}})) << xml;
        }
    }
}

TEST(Delivery, AnAdNoLongerChangesWithThoseBelowItsWrapper) {
    const auto wrapper = adOf(wrapperAd(contentWith("wrap")));
    const auto delivered = adOf(inlineAd(contentWith("own")));
    const auto next = adOf(inlineAd(contentWith("next")));
    delivered->merge(*wrapper);
    const auto ownEvent = delivered->linearCreatives()[0]->trackingEvents()[0];
    const auto ownMetric = delivered->extensions()->metrics[1];
    VKTVASTMergeBudget budget;
    delivered->prepareForDelivery(budget);

    next->merge(*wrapper);
    for (const auto& event : next->linearCreatives()[0]->trackingEvents())
        event->setEventOffset(5);
    for (const auto& metric : next->extensions()->metrics)
        metric->setEventOffset(5);

    const auto& events = delivered->linearCreatives()[0]->trackingEvents();
    EXPECT_EQ(eventTextsOf(events), (Texts{"start http://own", "start http://wrap"}));
    EXPECT_EQ(events[1]->eventOffset(), -1);
    const auto& extension = *delivered->extensions();
    EXPECT_EQ(extension.sortRank, "wrap");
    EXPECT_EQ(eventTextsOf(extension.metrics), (Texts{"viewcount http://wrap", "viewcount http://own"}));
    EXPECT_EQ(extension.metrics[0]->eventOffset(), -1);
    EXPECT_EQ(extension.metrics[1]->eventOffset(), -1);
    EXPECT_NE(extension.metrics[1], ownMetric);
    EXPECT_EQ(delivered->viewabilityEvents().back(), wrapper->viewabilityEvents().back());
    EXPECT_EQ(budget.itemsLeft(), VKTVASTMergeBudgetLimit - 3);  // the extension and two metrics
    EXPECT_NE(events[0], ownEvent);                              // held here too
}

TEST(Delivery, TwoCreativesOfOneAdHaveOffsetsOfTheirOwn) {
    const std::string two = "<Creative>" + linear + "</Creative><Creative>" + linear + "</Creative>";
    const auto ad = adOf(inlineAd("<Creatives>" + two + "</Creatives>"));
    {
        // Both elements' events are those of the wrapper's first overlay, so the holder has the event twice.
        const std::string overlays = "<NonLinearAds>" + overlay + trackingOf("http://1") + "</NonLinearAds>";
        const auto wrapper = adOf(wrapperAd("<Creatives><Creative><NonLinearAds>" + overlay +
                                            "</NonLinearAds></Creative><Creative>" + overlays +
                                            "</Creative><Creative><Linear>" + trackingOf("http://2") +
                                            "</Linear></Creative></Creatives>"));
        ad->merge(*wrapper);
    }
    VKTVASTMergeBudget budget;
    ad->prepareForDelivery(budget);
    const auto& linears = ad->linearCreatives();
    linears[0]->trackingEvents()[0]->setEventOffset(5);
    EXPECT_EQ(linears[1]->trackingEvents()[0]->eventOffset(), -1);
    // What is one event within a creative stays one: it is consumed once.
    const auto& holder = ad->nonLinearCreatives()[0]->trackingEvents();
    ASSERT_EQ(holder.size(), 2U);
    EXPECT_EQ(holder[0], holder[1]);
}

TEST(Delivery, TheCopyOfAnExtensionIsPaidFor) {
    const auto ad = adOf(inlineAd(contentWith("own")));
    const auto wrapper = adOf(wrapperAd(contentWith("wrap")));
    wrapper->extensions()->customScript = std::string(1280, 's');
    ad->merge(*wrapper);
    VKTRecordedLog log;
    struct Case {
        std::size_t items;
        std::size_t metrics;
    };
    for (const auto& [items, metrics] : {Case{13, 2}, Case{12, 1}, Case{10, 0}}) {
        const auto copy = adOf(inlineAd(names));
        copy->merge(*wrapper);
        VKTVASTMergeBudget budget(items);
        copy->prepareForDelivery(budget);
        const Texts lines = log.take();
        EXPECT_EQ(lines.size(), items < 13 ? 1U : 0U);
        ASSERT_EQ(copy->extensions() == nullptr, items < 11);
        if (items >= 11) {
            EXPECT_EQ(copy->extensions()->metrics.size(), metrics);
        }
    }
}

// Every overlay so far takes the events of each later element: a square, were it not for the limit.
TEST(Model, OverlaysOfOneDocumentShareABoundedNumberOfEvents) {
    constexpr std::size_t count = 130;
    std::string creatives;
    for (std::size_t i = 1; i < count; ++i)
        creatives += "<Creative><NonLinearAds>" + overlay + "</NonLinearAds></Creative>";
    std::string events;
    for (std::size_t i = 0; i < count; ++i)
        events += "<Tracking event='start'>http://h</Tracking>";
    creatives += "<Creative><NonLinearAds>" + overlay + "<TrackingEvents>" + events +
                 "</TrackingEvents></NonLinearAds></Creative>";
    const std::string ad = inlineAd("<Creatives>" + creatives + "</Creatives>");
    VKTRecordedLog log;
    const auto model = modelOf(ad + ad);
    std::size_t total = 0;
    for (const auto& built : model->ads()) {
        EXPECT_EQ(built->nonLinearCreatives().back()->trackingEvents().size(), count);
        for (const auto& nonLinear : built->nonLinearCreatives())
            total += nonLinear->trackingEvents().size();
    }
    EXPECT_EQ(total, VKTVASTDocumentSharedEventLimit + 2 * count);
    EXPECT_EQ(log.take().size(), 1U);
}

}  // namespace

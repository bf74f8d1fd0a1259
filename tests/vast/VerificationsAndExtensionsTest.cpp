#include <gtest/gtest.h>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTAdExtension.h"
#include "tests/vast/TestNodes.h"

namespace {

using Extension = VKTVASTAdExtension;
using Verification = VKTVASTAdVerification;

std::shared_ptr<Extension> extensionOf(const std::string& elements) {
    return Extension::initWithDictionary(nodeOf("<Extensions>" + elements + "</Extensions>"));
}

std::string textOf(const std::optional<VKTURL>& url) {
    return url ? url->absoluteString() : "(none)";
}

TEST(AdExtension, OneKindPerElementAndTheLastValueWins) {
    EXPECT_FALSE(Extension::initWithDictionary(nodeOf("<Extensions a='1'/>")));
    EXPECT_EQ(extensionOf("<Extension/>")->instanceCount, 1);
    const auto extension = extensionOf(
        "<Extension><sort rank='2'/><offset isForced='1' skipoffset='5%'/></Extension>"
        "<Extension><instanceCount>4x</instanceCount><customisedScript>s</customisedScript></Extension>"
        "<Extension><instanceCount>3</instanceCount><KorvoMetrics><KorvoMetric name='viewcount'>http://no"
        "</KorvoMetric></KorvoMetrics></Extension>"
        "<Extension><KorvoMetrics><KorvoMetric name='viewcount'>http://1</KorvoMetric>"
        "<KorvoMetric name='start'>http://no</KorvoMetric></KorvoMetrics></Extension>"
        "<Extension><KorvoMetrics><KorvoMetric name='viewcount'>http://2</KorvoMetric></KorvoMetrics>"
        "</Extension>");
    EXPECT_EQ(std::tie(extension->offsetIsForced, extension->skipOffset, extension->customScript),
              std::make_tuple(true, "5%", "s"));
    EXPECT_FALSE(extension->sortRank);
    EXPECT_EQ(extension->instanceCount, 3);
    EXPECT_EQ(eventTextsOf(extension->metrics), (Texts{"viewcount http://1", "viewcount http://2"}));
    const auto later = extensionOf(
        "<Extension><offset isForced='1' skipoffset='5%'/></Extension>"
        "<Extension><offset isForced='true'/></Extension>"
        "<Extension><sort rank='2'/></Extension><Extension><sort other='1'/></Extension>");
    EXPECT_EQ(std::tie(later->offsetIsForced, later->skipOffset, later->sortRank),
              std::make_tuple(false, "5%", "2"));
}

// Elements, with "=property" where that has another name.
const std::string_view numberMacros =
    "sessionID statDomainID networkID templateID advertiserID campaignID insertionID siteID formatID "
    "adBreakType instances videoPlayerWidth videoPlayerHeight";
const std::string_view textMacros =
    "pageID target baseUrl=baseURL referrer=referer ip=clientIP contentID contentProviderID";
const std::string_view RTBMacros =
    "AdvertiserId=rtbAdvertiserID DspId=rtbDspID BuyerId=rtbBuyerID DealId=rtbDealID AuctionId=rtbAuctionID "
    "PublisherId=rtbPublisherID BidLogTimeTicks=rtbBidLogTimeTicks EnvironmentType=rtbEnvironmentType "
    "ImpressionHash=rtbImpressionHash";

// Each macro's text is a number of its own: 100 and more.
std::string elementsOf(std::string_view macros) {
    std::string xml;
    int number = 100;
    for (const std::string_view macro : vkt_split(macros, ' ')) {
        const std::string element(vkt_split(macro, '=').front());
        xml += "<" + element + ">" + std::to_string(number++) + "</" + element + ">";
    }
    return xml;
}

std::shared_ptr<Extension> extensionWithEverything() {
    auto extension =
        extensionOf("<Extension><KorvoMacros>" + elementsOf(numberMacros) + elementsOf(textMacros) +
                    "</KorvoMacros><RtbMacros>" + elementsOf(RTBMacros) + "</RtbMacros></Extension>");
    extension->offsetIsForced = true;
    extension->skipOffset = "5%";
    extension->sortRank = "";
    extension->customScript = "s";
    extension->instanceCount = 9;
    extension->metrics.push_back(VKTVASTTrackingEvent::initWithName("viewcount", "1", urlOf("http://m")));
    extension->adVerifications.push_back({urlOf("http://v"), "vendor", std::nullopt});
    return extension;
}

TEST(AdExtension, Macros) {
    const auto archived = VKTKeyedArchiver::archived(extensionWithEverything());
    for (const std::string_view macros : {numberMacros, textMacros, RTBMacros}) {
        int number = 100;
        for (const std::string_view macro : vkt_split(macros, ' ')) {
            const VKTValue* value = archived.find(vkt_split(macro, '=').back());
            ASSERT_NE(value, nullptr) << macro;
            EXPECT_EQ(value->asString() == nullptr, macros == numberMacros) << macro;
            EXPECT_EQ(value->description(), std::to_string(number++)) << macro;
        }
    }
    const auto odd = extensionOf(
        "<Extension><KorvoMacros><siteID>12.5</siteID><pageID>-12.5</pageID></KorvoMacros></Extension>"
        "<Extension><RtbMacros><DspId>1</DspId></RtbMacros></Extension>");
    EXPECT_FALSE(odd->siteID);
    EXPECT_EQ(odd->pageID, "-12.5");
    EXPECT_FALSE(odd->rtbDspID);
}

TEST(AdExtension, EveryPropertyTakesPartInEqualityAndInTheArchive) {
    const auto full = extensionWithEverything();
    const VKTDictionary archived = VKTKeyedArchiver::archived(full);
    EXPECT_EQ(archived.size(), 36U);
    EXPECT_EQ(*Extension::initWithCoder(VKTKeyedUnarchiver(archived)), *full);
    for (const auto& entry : archived) {
        VKTDictionary changed = archived;
        changed.remove(entry.key);
        EXPECT_FALSE(*Extension::initWithCoder(VKTKeyedUnarchiver(changed)) == *full) << entry.key;
    }
    EXPECT_EQ(*vkt_unarchivedObject<Extension>(vkt_archivedData(*Extension::init())), *Extension::init());
}

TEST(LegacyVerifications, TheLastUsableScriptWins) {
    const auto extension = extensionOf(
        "<Extension><AdVerifications><Verification vendor='v'><JavascriptResource>http://2"
        "</JavascriptResource><JavaScriptResource>http://1</JavaScriptResource><VerificationParameters>p"
        "</VerificationParameters></Verification><Verification><JavaScriptResource>http://1/[M]"
        "</JavaScriptResource><JavaScriptResource>http://[M]</JavaScriptResource><JavascriptResource a='1'/>"
        "<VerificationParameters a='1'/></Verification><Verification vendor='v'><ExecutableResource>http://1"
        "</ExecutableResource></Verification></AdVerifications></Extension>");
    using Script = VKTVASTAdExtensionAdVerification;
    const std::vector<Script> expected{{urlOf("http://2"), "v", "p"},
                                       {urlOf("http://1/%5BM%5D"), std::nullopt, std::nullopt}};
    EXPECT_EQ(extension->adVerifications, expected);
    for (const Script& script : expected)
        EXPECT_EQ(vkt_unarchivedObject<Script>(vkt_archivedData(script)), script);

    VKTDictionary byHand = nodeOf("<V><JavascriptResource>http://1</JavascriptResource></V>");
    byHand.set("VerificationParameters", VKTArray{"plain text"});
    extension->processVerifications({byHand});
    EXPECT_EQ(extension->adVerifications.back().verificationParameters, "plain text");
}

TEST(AdVerification, IsReadInTheOrderOfItsResources) {
    const auto verification = Verification::initWithDictionary(nodeOf(
        "<Verification vendor='v'><ExecutableResource apiFramework='e' type='t' browserOptional='1'>"
        "http://4</ExecutableResource><JavascriptResource>http://3</JavascriptResource>"
        "<JavaScriptResource apiFramework='omid' browserOptional='true' type='t'>http://1/[M]"
        "</JavaScriptResource><JavaScriptResource a='1'/><JavaScriptResource>http://h:x</JavaScriptResource>"
        "<VerificationParameters>p</VerificationParameters><TrackingEvents>"
        "<Tracking event='verificationNotExecuted'>http://t?[REASON]</Tracking>"
        "<Tracking event='start'>http://no</Tracking><Tracking event='verificationNotExecuted'/>"
        "</TrackingEvents></Verification>"));
    ASSERT_TRUE(verification);
    EXPECT_EQ(std::tie(verification->vendor, verification->verificationParameters),
              std::make_tuple("v", "p"));
    EXPECT_EQ(eventTextsOf(verification->trackingEvents),
              Texts{"verificationNotExecuted http://t?%5BREASON%5D"});
    Texts resources;
    for (const auto& resource : verification->resources) {
        resources.push_back(textOf(resource.url) + " " + resource.apiFramework.value_or("-") + " " +
                            resource.executableType.value_or("-") +
                            (resource.browserOptional ? " optional" : ""));
    }
    EXPECT_EQ(resources,
              (Texts{"http://1/%5BM%5D omid - optional", "(none) - -", "http://3 - -", "http://4 e t"}));

    const auto back = vkt_unarchivedObject<Verification>(vkt_archivedData(*verification));
    EXPECT_EQ(back, verification);
    EXPECT_TRUE(back->trackingEvents[0]->isEventConsumable());
    EXPECT_FALSE(VKTVASTAdVerificationEvent::isEventConsumableFromName("start"));
}

TEST(AdVerification, NullEventsCountAsNone) {
    const auto verification = Verification::initWithVendor("v", {}, {nullptr}, {});
    EXPECT_EQ(verification.trackingEvents.size(), 0U);
    Extension withNull, without;
    withNull.metrics = {nullptr};  // an embedder's own
    EXPECT_FALSE(withNull == without);
    EXPECT_EQ(VKTKeyedArchiver::archived(withNull), VKTKeyedArchiver::archived(without));
}

TEST(AdVerification, NeedsAResource) {
    EXPECT_FALSE(Verification::initWithDictionary(nodeOf("<V vendor='v'><JavaScriptResource a='1'/></V>")));
    const auto made = Verification::initWithOMIDJavascriptResourceURL(urlOf("http://s"), "v", std::nullopt);
    const auto script = VKTVASTAdVerificationResource::initWithType(0, urlOf("http://s"), "omid", true, {});
    EXPECT_EQ(made, Verification::initWithVendor("v", {script}, {}, std::nullopt));
}

}  // namespace

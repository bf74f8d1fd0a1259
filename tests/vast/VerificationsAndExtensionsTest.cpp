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

TEST(AdExtension, NeedsAListOfExtensions) {
    EXPECT_FALSE(Extension::initWithDictionary(nodeOf("<Extensions a='1'/>")));
    const auto empty = extensionOf("<Extension/>");
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->instanceCount, 1);
    EXPECT_EQ(Extension::init()->instanceCount, 0);
    EXPECT_FALSE(*empty == *Extension::init());
}

TEST(AdExtension, OneKindPerElementAndTheLastValueWins) {
    const std::string metric = "<KorvoMetric name='viewcount'>http://";
    const auto extension = extensionOf(
        "<Extension><sort rank='2'/><offset isForced='1' skipoffset='5%'/></Extension>"
        "<Extension><instanceCount>4x</instanceCount><customisedScript>s</customisedScript></Extension>"
        "<Extension><instanceCount>3</instanceCount><KorvoMetrics>" +
        metric +
        "no</KorvoMetric></KorvoMetrics>"
        "</Extension><Extension><KorvoMetrics>" +
        metric +
        "1</KorvoMetric><KorvoMetric name='start'>http://no"
        "</KorvoMetric></KorvoMetrics></Extension><Extension><KorvoMetrics>" +
        metric + "2</KorvoMetric></KorvoMetrics></Extension>");
    EXPECT_TRUE(extension->offsetIsForced);
    EXPECT_EQ(extension->skipOffset, "5%");
    EXPECT_FALSE(extension->sortRank);
    EXPECT_EQ(extension->customScript, "s");
    EXPECT_EQ(extension->instanceCount, 3);
    EXPECT_EQ(eventTextsOf(extension->metrics), (Texts{"viewcount http://1", "viewcount http://2"}));
    extension->processExtensions(
        *nodeOf("<E><Extension><offset isForced='true'/></Extension>"
                "<Extension><sort rank='2'/></Extension><Extension><sort other='1'/></Extension></E>")
             .find("Extension")
             ->asArray());
    EXPECT_FALSE(extension->offsetIsForced);
    EXPECT_EQ(extension->skipOffset, "5%");
    EXPECT_EQ(extension->sortRank, "2");
}

// Element and property, from texts such as "pageID ip=clientIP".
using Macros = std::vector<std::pair<std::string, std::string>>;
Macros macrosOf(std::string_view text) {
    Macros macros;
    for (const std::string_view piece : vkt_split(text, ' ')) {
        const auto names = vkt_split(piece, '=');
        macros.emplace_back(names.front(), names.back());
    }
    return macros;
}

const Macros numberMacros = macrosOf(
    "sessionID statDomainID networkID templateID advertiserID campaignID insertionID siteID formatID "
    "adBreakType instances videoPlayerWidth videoPlayerHeight");
const Macros textMacros =
    macrosOf("pageID target baseUrl=baseURL referrer=referer ip=clientIP contentID contentProviderID");
const Macros RTBMacros = macrosOf(
    "AdvertiserId=rtbAdvertiserID DspId=rtbDspID BuyerId=rtbBuyerID DealId=rtbDealID AuctionId=rtbAuctionID "
    "PublisherId=rtbPublisherID BidLogTimeTicks=rtbBidLogTimeTicks EnvironmentType=rtbEnvironmentType "
    "ImpressionHash=rtbImpressionHash");

// Each macro's text is a number of its own: the position behind a 1.
std::string elementsOf(const Macros& macros) {
    std::string xml;
    for (std::size_t i = 0; i < macros.size(); ++i) {
        xml += "<" + macros[i].first + ">1" + std::to_string(i) + "</" + macros[i].first + ">";
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
    for (const Macros* macros : {&numberMacros, &textMacros, &RTBMacros}) {
        for (std::size_t i = 0; i < macros->size(); ++i) {
            const VKTValue* value = archived.find((*macros)[i].second);
            ASSERT_NE(value, nullptr) << (*macros)[i].second;
            EXPECT_EQ(value->asString() == nullptr, macros == &numberMacros) << (*macros)[i].second;
            EXPECT_EQ(value->description(), "1" + std::to_string(i)) << (*macros)[i].second;
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
    // Attributes and children of the element; script, vendor and parameters expected.
    const auto absent = std::optional<std::string>();
    const std::tuple<const char*, const char*, std::optional<std::string>, std::optional<std::string>>
        cases[] = {
            {" vendor='v'><JavascriptResource>http://2</JavascriptResource><JavaScriptResource>http://1"
             "</JavaScriptResource><VerificationParameters>p</VerificationParameters>",
             "http://2", "v", "p"},
            {"><JavaScriptResource>http://1/[M]</JavaScriptResource><JavaScriptResource>http://[M]"
             "</JavaScriptResource><JavascriptResource a='1'/><VerificationParameters a='1'/>",
             "http://1/%5BM%5D", absent, absent},
            {" vendor='v'><ExecutableResource>http://1</ExecutableResource>", nullptr, absent, absent},
        };
    for (const auto& [content, url, vendor, parameters] : cases) {
        const auto extension =
            extensionOf("<Extension><AdVerifications><Verification" + std::string(content) +
                        "</Verification></AdVerifications></Extension>");
        ASSERT_EQ(extension->adVerifications.size(), url == nullptr ? 0U : 1U) << content;
        if (url == nullptr) continue;
        const VKTVASTAdExtensionAdVerification script{urlOf(url), vendor, parameters};
        EXPECT_TRUE(extension->adVerifications[0].isEqualToScript(script)) << content;
        EXPECT_EQ(vkt_unarchivedObject<VKTVASTAdExtensionAdVerification>(vkt_archivedData(script)), script);
    }
}

TEST(AdVerification, IsReadInTheOrderOfItsResources) {
    const auto verification = Verification::initWithDictionary(
        nodeOf("<Verification vendor='v'><ExecutableResource apiFramework='e' type='t' "
               "browserOptional='true'>http://4"
               "</ExecutableResource><JavascriptResource>http://3</JavascriptResource>"
               "<JavaScriptResource apiFramework='omid' browserOptional='true' "
               "type='t'>http://1/[M]</JavaScriptResource>"
               "<JavaScriptResource a='1'/><JavaScriptResource>http://h:x</JavaScriptResource>"
               "<VerificationParameters>p</VerificationParameters><TrackingEvents>"
               "<Tracking event='verificationNotExecuted'>http://t?[REASON]</Tracking>"
               "<Tracking event='start'>http://no</Tracking><Tracking event='verificationNotExecuted'/>"
               "</TrackingEvents></Verification>"));
    ASSERT_TRUE(verification);
    EXPECT_EQ(verification->vendor, "v");
    EXPECT_EQ(verification->verificationParameters, "p");
    EXPECT_EQ(eventTextsOf(verification->trackingEvents),
              Texts{"verificationNotExecuted http://t?%5BREASON%5D"});
    Texts resources;
    for (const auto& resource : verification->resources) {
        resources.push_back(textOf(resource.url) + " " + resource.apiFramework.value_or("-") + " " +
                            resource.executableType.value_or("-") +
                            (resource.browserOptional ? " optional" : ""));
        EXPECT_EQ(resource.type, 0);
    }
    EXPECT_EQ(resources,
              (Texts{"http://1/%5BM%5D omid - optional", "(none) - -", "http://3 - -", "http://4 e t"}));

    const auto back = vkt_unarchivedObject<Verification>(vkt_archivedData(*verification));
    EXPECT_EQ(back, verification);
    EXPECT_TRUE(back->trackingEvents[0]->isEventConsumable());
    EXPECT_FALSE(VKTVASTAdVerificationEvent::isEventConsumableFromName("start"));
}

TEST(AdVerification, NeedsAResource) {
    EXPECT_FALSE(Verification::initWithDictionary(
        nodeOf("<Verification vendor='v'><JavaScriptResource a='1'/><TrackingEvents><Tracking "
               "event='verificationNotExecuted'>http://t</Tracking></TrackingEvents></Verification>")));
    const auto made = Verification::initWithOMIDJavascriptResourceURL(urlOf("http://s"), "v", std::nullopt);
    const auto script = VKTVASTAdVerificationResource::initWithType(0, urlOf("http://s"), "omid", true, {});
    EXPECT_EQ(made, Verification::initWithVendor("v", {script}, {}, std::nullopt));
}

}  // namespace

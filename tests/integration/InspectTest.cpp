// "vkt inspect" and "vkt xml", run as a user runs them.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "tests/integration/ToolRun.h"
#include "tests/support/VKTLoopbackServer.h"

namespace {

using Texts = std::vector<std::string>;
using Pairs = std::vector<std::pair<std::string, std::string>>;

std::string dataFile(const std::string& name) {
    return std::string(VKT_SOURCE_DIR) + "/tests/data/inspect/" + name;
}

Pairs droppedOf(const VKTDictionary& report) {
    Pairs dropped;
    for (const VKTDictionary& entry : entriesOf(report, "dropped"))
        dropped.emplace_back(*valueOf(entry, "path").asString(), *valueOf(entry, "reason").asString());
    return dropped;
}

// The verdict and the reason of each media file, from the text for people.
Pairs mediaVerdictsOf(const std::string& text) {
    Pairs verdicts;
    const auto lines = vkt_split(text, '\n');
    for (std::size_t i = 0; i + 2 < lines.size(); ++i) {
        const std::string_view line = vkt_trimmed(lines[i]);
        for (const char* verdict : {"kept ", "chosen ", "refused "}) {
            if (line.starts_with(verdict)) {
                verdicts.emplace_back(vkt_trimmed(verdict), vkt_trimmed(lines[i + 2]));
            }
        }
    }
    return verdicts;
}

const std::string notRead = "element not read by this library";

}  // namespace

// The list is complete: what is kept must not stand in it.
TEST(Inspect, TellsEverythingDroppedWithPlaceAndReason) {
    const Outcome outcome = runTool("inspect --json " + dataFile("everything.xml"));
    EXPECT_EQ(outcome.status, 0);
    const std::string first = "/VAST/Ad[1]/InLine/";
    const std::string creative = first + "Creatives/Creative[1]/";
    const std::string linear = creative + "Linear/";
    const std::string other = first + "Creatives/Creative[2]/";
    const std::string third = "/VAST/Ad[3]/InLine/";
    const std::string verification = first + "AdVerifications/Verification[1]/";
    const std::string extension = first + "Extensions/Extension";
    const std::string laterExtension = third + "Extensions/Extension";
    const std::string noWebM = "type \"video/webm\" is not playable";
    const Pairs expected{
        {first + "AdSystem[1]", "it is empty"},
        {first + "AdSystem[3]", "only the first AdSystem is read"},
        {first + "Impression[2]", "it is empty"},
        {first + "Impression[3]", "its text is split by child elements"},
        {first + "ViewableImpression/Viewable[2]", "it has no text"},
        {linear + "MediaFiles/MediaFile[1]", "it is empty"},
        {linear + "MediaFiles/MediaFile[6]", noWebM},
        {linear + "MediaFiles/MediaFile[7]", "JavaScript is played with apiFramework \"VPAID\" only"},
        {linear + "MediaFiles/MediaFile[8]", "it has no type"},
        {linear + "MediaFiles/InteractiveCreativeFile[1]", "an interactive file must be VPAID JavaScript"},
        {linear + "MediaFiles/Mezzanine", notRead},
        {linear + "TrackingEvents/Tracking[2]", "event name \"Start\" must be written \"start\""},
        {linear + "TrackingEvents/Tracking[3]",
         "event name \"firstquartile\" must be written \"firstQuartile\""},
        {linear + "TrackingEvents/Tracking[4]", "event name \"acceptInvitation\" is not accepted"},
        {linear + "TrackingEvents/Tracking[5]", "it has no event attribute"},
        {linear + "TrackingEvents/Tracking[6]", "its text is not a URL"},
        {linear + "VideoClicks/ClickThrough[2]", "only the first ClickThrough is read"},
        {linear + "VideoClicks/CustomClick", notRead},
        {linear + "Icons/Icon[1]/HTMLResource",
         "one resource is read: StaticResource before IFrameResource before HTMLResource"},
        {linear + "Icons/Icon[1]/IconViewTracking", notRead},
        {linear + "Icons/Icon[2]", "it has no usable resource"},
        {creative + "UniversalAdId[2]", "it repeats an earlier one"},
        {creative + "UniversalAdId[3]", "its value is \"unknown\""},
        {creative + "UniversalAdId[4]", "it has no idRegistry"},
        {other + "UniversalAdId", "only a linear creative keeps universal ad ids"},
        {other + "CompanionAds/Companion[1]/StaticResource", "it is empty"},
        {other + "CompanionAds/Companion[1]/AltText", notRead},
        {other + "CompanionAds/Companion[2]", "only the first Companion is read"},
        {other + "NonLinearAds/NonLinear", "it has no usable resource"},
        {other + "NonLinearAds/TrackingEvents", "the ad has no non-linear creative to carry it"},
        {first + "Creatives/Creative[3]/Linear", "it has no playable media file"},
        {first + "Creatives/Creative[3]/Linear/MediaFiles/MediaFile", noWebM},
        {verification + "TrackingEvents/Tracking[2]",
         "event name \"start\" is not accepted: verifications know verificationNotExecuted only"},
        {verification + "ExecutableResource", "its text is not a URL; the resource is kept without one"},
        {first + "AdVerifications/Verification[2]", "it has no resource"},
        {extension + "[1]/sort", "an Extension is read for one kind of content, here: offset"},
        {extension + "[2]/RtbMacros", "RtbMacros are read only beside KorvoMacros"},
        {extension + "[3]/KorvoMacros/siteID", "its text is not a whole number"},
        {extension + "[4]/KorvoMetrics/KorvoMetric[2]",
         "metric \"other\" is not accepted: the only one is viewcount"},
        {extension + "[5]/AdVerifications/Verification/FlashResource", notRead},
        {extension + "[6]/text()", "no text is read here"},
        {extension + "[6]/Country", notRead},
        {first + "Category", notRead},
        {"/VAST/Ad[1]/Wrapper", "the InLine beside it is read instead"},
        {"/VAST/Ad[2]/Wrapper/Creatives/Creative/Linear/MediaFiles/MediaFile", noWebM},
        {third + "Creatives/Creative/NonLinearAds/NonLinear/NonLinearClickThrough", "it is empty"},
        {laterExtension + "[1]/sort", "a later Extension overwrites it"},
        {laterExtension + "[3]/KorvoMacros/pageID", "a later Extension overwrites it"},
        {laterExtension + "[6]/AdVerifications/Verification[1]/JavaScriptResource[1]",
         "only the last script is read"},
        {laterExtension + "[6]/AdVerifications/Verification[1]/TrackingEvents", notRead},
        {laterExtension + "[6]/AdVerifications/Verification[2]", "it has no script"},
        {"/VAST/Ad[4]/InLine/Creatives", "it is empty"},
        {"/VAST/Ad[5]", "its InLine is empty"},
        {"/VAST/Ad[6]", "it has neither InLine nor Wrapper"},
        {"/VAST/Error", "the document's Error is read only when there is no Ad"},
    };
    EXPECT_EQ(droppedOf(parsed(outcome.out)), expected);
}

TEST(Inspect, ReportsAdsWithTheirKindsAndUses) {
    const std::tuple<const char*, Texts, VKTArray, VKTArray> cases[] = {
        {"everything.xml",
         {"inline inline valid", "wrapper wrapper valid", "extensions inline valid", "invalid inline"},
         {0},
         {1, 2, 3}},
        {"pod.xml", {"above inline valid", "below inline valid", "sizes inline valid"}, {1, 0}, {2}},
    };
    for (const auto& [file, expected, mainAds, passbackAds] : cases) {
        SCOPED_TRACE(file);
        const VKTDictionary report = parsed(runTool("inspect --json " + dataFile(file)).out);
        Texts names;
        for (const auto& [name, value] : report)
            names.push_back(name);
        EXPECT_EQ(names, (Texts{"source", "version", "ads", "mainAds", "passbackAds", "documentErrorPixels",
                                "dropped", "errors", "requests", "end"}));
        Texts ads;
        for (const VKTDictionary& ad : entriesOf(report, "ads")) {
            ads.push_back(*valueOf(ad, "adID").asString() + " " + *valueOf(ad, "kind").asString() +
                          (*valueOf(ad, "valid").asBool() ? " valid" : ""));
        }
        EXPECT_EQ(ads, expected);
        EXPECT_EQ(valueOf(report, "mainAds"), VKTValue(mainAds));
        EXPECT_EQ(valueOf(report, "passbackAds"), VKTValue(passbackAds));
        EXPECT_TRUE(valueOf(report, "end").isNull());
    }
}

TEST(Inspect, TellsWhyEachMediaFileIsKeptOrChosen) {
    const Outcome outcome = runTool("inspect " + dataFile("pod.xml"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    const Pairs expected{
        {"kept", "its bitrate is further above 5000 kbit/s"},
        {"kept", "the chosen one has the same bitrate and comes last"},
        {"chosen", "lowest known bitrate: all are above 5000 kbit/s"},
        {"kept", "its bitrate is unknown and another one's is known"},
        {"kept", "its bitrate is above 5000 kbit/s"},
        {"chosen", "highest bitrate up to 5000 kbit/s"},
        {"kept", "the chosen one has the same bitrate and comes first"},
        {"kept", "the chosen one has a higher bitrate"},
        {"kept", "the chosen one has a larger picture"},
        {"chosen", "largest picture: no bitrate is known"},
        {"kept", "the chosen one has as large a picture and comes first"},
    };
    EXPECT_EQ(mediaVerdictsOf(outcome.out), expected);
}

TEST(Inspect, DropsCreativesBeyondTheLimit) {
    std::string document = "<VAST version=\"3.0\"><Ad><InLine><Creatives>";
    for (int i = 0; i < 257; ++i)
        document +=
            "<Creative><Linear><MediaFiles><MediaFile type=\"video/mp4\">http://m</MediaFile>"
            "</MediaFiles></Linear></Creative>";
    document += "</Creatives></InLine></Ad></VAST>";
    const Pairs expected{
        {"/VAST/Ad/InLine/Creatives/Creative[257]/Linear", "beyond the limit of 256 creatives of its kind"}};
    EXPECT_EQ(droppedOf(parsed(runTool("inspect --json -", document).out)), expected);
}

TEST(Inspect, EndsEveryDocumentWithoutAdsInAStatus) {
    const std::tuple<const char*, Pairs, VKTArray> cases[] = {
        {"", {}, {}},
        {"<VAST version=\"3.0\"><Ad>", {}, {}},
        {"<html><body>no</body></html>", {{"/html", "it has no version attribute"}}, {}},
        {"<VAST version=\"1.0\"><Ad/></VAST>", {{"/VAST", "version \"1.0\" is not supported"}}, {}},
        {"<VAST version=\"3.0\"><Error>http://ads.test/no-ad</Error><Error/></VAST>",
         {{"/VAST/Error[2]", "it is empty"}},
         {"http://ads.test/no-ad"}},
    };
    for (const auto& [document, dropped, documentErrorPixels] : cases) {
        SCOPED_TRACE(document);
        const Outcome outcome = runTool("inspect --json -", document);
        EXPECT_EQ(outcome.status, 1);
        const VKTDictionary report = parsed(outcome.out);
        EXPECT_EQ(droppedOf(report), dropped);
        EXPECT_EQ(valueOf(report, "documentErrorPixels"), VKTValue(documentErrorPixels));
        EXPECT_NE(valueOf(report, "end").asDictionary(), nullptr);
    }
}

TEST(Inspect, DownloadsADocumentAndFollowsNothing) {
    VKTLoopbackServer server;
    server.serve("/wrapper", "<VAST version=\"4.0\"><Ad><Wrapper><VASTAdTagURI>" + server.url("/next") +
                                 "</VASTAdTagURI><Unknown/></Wrapper></Ad></VAST>");
    const Outcome outcome = runTool("inspect --json " + server.url("/wrapper"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(server.requests().size(), 1U);
    const VKTDictionary report = parsed(outcome.out);
    EXPECT_EQ(droppedOf(report), (Pairs{{"/VAST/Ad/Wrapper/Unknown", notRead}}));
    const auto requests = entriesOf(report, "requests");
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(valueOf(requests[0], "statusCode"), VKTValue(200));
    EXPECT_EQ(runTool("inspect --json " + server.url("/missing")).status, 1);
    const Outcome unread = runTool("inspect --json http://127.0.0.1:1/");
    EXPECT_EQ(unread.status, 3);
    EXPECT_NE(unread.err.find("cannot read http://127.0.0.1:1/"), std::string::npos) << unread.err;
}

TEST(XMLCommand, PrintsTheDictionaryOrOneErrorLine) {
    const Outcome outcome = runTool("xml -", "<a b=\"1\"><c> t </c><c/></a>");
    EXPECT_EQ(outcome.status, 0);
    const VKTDictionary expected{
        {"__name", "a"}, {"_b", "1"}, {"c", VKTArray{VKTDictionary{{"__text", "t"}}}}};
    EXPECT_EQ(parsed(outcome.out), expected);

    const Outcome malformed = runTool("xml -", "<a>\n<b></a>");
    EXPECT_EQ(malformed.status, 1);
    EXPECT_EQ(malformed.err, "vkt: -: mismatched tag at line 2, column 6\n");

    const Outcome unread = runTool("xml " + dataFile("no-such-file.xml"));
    EXPECT_EQ(unread.status, 3);
    EXPECT_EQ(unread.err,
              "vkt: cannot read " + dataFile("no-such-file.xml") + ": No such file or directory\n");
    EXPECT_EQ(malformed.out + unread.out, "");
}

// "vkt inspect" and "vkt xml", run as a user runs them.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "tests/integration/ToolRun.h"
#include "tests/support/VKTLoopbackServer.h"
#include "tests/support/VKTTestPaths.h"

namespace {

using Texts = std::vector<std::string>;

std::string dataFile(const std::string& name) {
    return std::string(VKTTestPaths::sourceFolder) + "/tests/data/inspect/" + name;
}

// "PATH: REASON" of each.
Texts droppedOf(const VKTDictionary& report) {
    Texts dropped;
    for (const VKTDictionary& entry : entriesOf(report, "dropped"))
        dropped.push_back(*valueOf(entry, "path").asString() + ": " + *valueOf(entry, "reason").asString());
    return dropped;
}

// "VERDICT: REASON" of each media file, from the text for people.
Texts mediaVerdictsOf(const std::string& text) {
    Texts verdicts;
    const auto lines = vkt_split(text, '\n');
    for (std::size_t i = 0; i + 2 < lines.size(); ++i) {
        const std::string verdict(vkt_split(vkt_trimmed(lines[i]), ' ').front());
        if (verdict == "kept" || verdict == "chosen" || verdict == "refused") {
            verdicts.push_back(verdict + ": " + std::string(vkt_trimmed(lines[i + 2])));
        }
    }
    return verdicts;
}

}  // namespace

// The list beside the document is complete: what is kept must not stand in it.
TEST(Inspect, TellsEverythingDroppedWithPlaceAndReason) {
    const Outcome outcome = runTool("inspect --json " + dataFile("everything.xml"));
    EXPECT_EQ(outcome.status, 0);
    std::ifstream file(dataFile("everything.dropped.txt"));
    Texts expected;
    for (std::string line; std::getline(file, line);)
        expected.push_back(line);
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
        EXPECT_EQ(
            keysOf(report),
            "source version ads mainAds passbackAds documentErrorPixels dropped errors requests end document "
            "droppedCount needingAttention needingAttentionCount");
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
    const Texts expected{
        "kept: its bitrate is further above 5000 kbit/s",
        "kept: the chosen one has the same bitrate and comes after it",
        "chosen: lowest known bitrate: all are above 5000 kbit/s",
        "kept: its bitrate is unknown and another one's is known",
        "kept: its bitrate is above 5000 kbit/s",
        "chosen: highest bitrate up to 5000 kbit/s",
        "kept: the chosen one has the same bitrate and comes before it",
        "kept: the chosen one has a higher bitrate",
        "kept: the chosen one has a larger picture",
        "chosen: largest picture: no bitrate is known",
        "kept: the chosen one has a picture of the same size and comes before it",
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
    EXPECT_EQ(
        droppedOf(parsed(runTool("inspect --json -", document).out)),
        Texts{"/VAST/Ad/InLine/Creatives/Creative[257]/Linear: beyond the limit of 256 creatives of its "
              "kind"});
}

TEST(Inspect, EndsEveryDocumentWithoutAdsInAStatus) {
    const std::tuple<const char*, Texts, VKTArray> cases[] = {
        {"", {}, {}},
        {"<VAST version=\"3.0\"><Ad>", {}, {}},
        {"<html><body>no</body></html>", {"/html: it has no version attribute"}, {}},
        {"<VAST version=\"1.0\"><Ad/></VAST>", {"/VAST: version \"1.0\" is not supported"}, {}},
        {"<VAST version=\"3.0\"><Error>http://ads.test/no-ad</Error><Error/></VAST>",
         {"/VAST/Error[2]: it is empty"},
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
    EXPECT_EQ(droppedOf(report), Texts{"/VAST/Ad/Wrapper/Unknown: element not read by this library"});
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

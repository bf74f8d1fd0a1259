// "vkt resolve" against real sockets: every bad answer ends in time, in its VAST error and pixels.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "server/VKTRawServer.h"
#include "tests/integration/ToolRun.h"
#include "tests/support/VASTTexts.h"
#include "tests/support/VKTLoopbackServer.h"

namespace {

using Texts = std::vector<std::string>;

// The document given stands on the standard input.
Outcome resolve(const std::string& arguments, const std::string& document = "") {
    return runTool("resolve " + arguments, document);
}

// "NAME pixel pixel" of each reported error.
Texts errorsOf(const VKTDictionary& report) {
    Texts errors;
    for (const VKTDictionary& error : entriesOf(report, "errors")) {
        std::string line = *valueOf(error, "name").asString();
        for (const VKTValue& pixel : *valueOf(error, "errorURLs").asArray())
            line += " " + *pixel.asString();
        errors.push_back(line);
    }
    return errors;
}

std::string lastLineOf(const std::string& text) {
    return std::string(vkt_split(vkt_trimmed(text), '\n').back());
}

}  // namespace

TEST(Resolve, EndsEveryBadDocumentInItsErrorAndTheReadersWords) {
    std::string deep = "<VAST version=\"3.0\">";
    for (int i = 0; i < 1'000'000; ++i)
        deep += "<a>";
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"empty", "", "the standard input, which leads to no ad: it is empty."},
        {"HTML", "<!DOCTYPE html><title>x</title><p>no<br>",
         "junk after document element at line 1, column 32"},
        {"truncated", "<VAST version=\"3.0\">\n<Ad>", "no element found at line 2, column 5"},
        {"wrong encoding", "<?xml version=\"1.0\" encoding=\"UTF-16\"?><VAST version=\"3.0\"/>",
         "encoding specified in XML declaration is incorrect at line 1, column 31"},
        {"not UTF-8", vast("\xE9"), "(it is not UTF-8 text)"},
        {"text after the root", vast("") + "text", "junk after document element at line 1, column 28"},
        {"entities", "<!DOCTYPE VAST [<!ENTITY a \"b\">]>" + vast("&a;"),
         "entity declaration at line 1, column"},
        {"deep", deep, "elements nested too deep at line 1, column 1554"},
        {"NUL", vast(std::string(2, '\0')), "not well-formed (invalid token) at line 1, column 21"},
    };
    for (const auto& [name, document, words] : cases) {
        SCOPED_TRACE(name);
        const Outcome outcome = resolve("--json -", document);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(errorsOf(parsed(outcome.out)), Texts{"XML_PARSING_ERROR"});
        EXPECT_NE(outcome.err.find(words), std::string::npos) << outcome.err;
        EXPECT_EQ(lastLineOf(outcome.err), "vkt: no ad is playable");
    }
    const Outcome marked = resolve("-", "\xEF\xBB\xBF" + vast(inlineAd()));
    EXPECT_EQ(marked.status, 0);
    EXPECT_EQ(marked.err, "");
}

TEST(Resolve, EndsEveryBadWrapperInTimeWithItsPixels) {
    VKTLoopbackServer server;
    const std::string itself = server.url("/self");
    server.serve("/self", vast(wrapperTo(itself)));
    server.serve("/broken", "<VAST");
    server.serve("/empty", vast("<Error>http://ads.test/root</Error>"));
    const std::string header = "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n";
    const VKTRawServer silent({{}, VKTRawAnswer::Hang, {}});
    const VKTRawServer cut({{header + vast(inlineAd())}, VKTRawAnswer::Close, {}});
    const std::string fetch = "VAST_WRAPPER_ERROR_FETCH http://ads.test/e";
    const std::string late = "VAST_WRAPPER_ERROR_FETCH_TIMEOUT http://ads.test/e";
    std::string allPixels = "VAST_WRAPPER_ERROR_LIMIT_REACHED";
    for (int i = 0; i < 6; ++i)
        allPixels += " http://ads.test/e";
    const std::pair<std::string, std::string> cases[] = {
        {itself, allPixels},
        {VKTRawServer::refusingURL(), fetch},
        {silent.url(), late},
        {cut.url(), fetch},
        {"file:///etc/hostname", fetch},
        {server.url("/broken"), "XML_PARSING_ERROR_WRAPPER http://ads.test/e"},
        {server.url("/missing"), "XML_PARSING_ERROR_WRAPPER http://ads.test/e"},
        {server.url("/empty"), "VAST_WRAPPER_ERROR_NOT_VAST_RESPONSE http://ads.test/root http://ads.test/e"},
    };
    for (const auto& [url, error] : cases) {
        SCOPED_TRACE(url);
        const auto begin = std::chrono::steady_clock::now();
        // Only what is meant to be late runs into its time-out, however busy the machine is.
        const std::string timeout = error == late ? "1" : "20";
        const Outcome outcome = resolve("--json --request-timeout " + timeout + " -", vast(wrapperTo(url)));
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(errorsOf(parsed(outcome.out)), Texts{error});
        EXPECT_NE(outcome.err.find("Error pixels to call: http://ads.test/"), std::string::npos)
            << outcome.err;
    }
}

TEST(Resolve, KeepsTheBudgetWhateverTheNumberOfRequests) {
    const VKTRawServer silent({{}, VKTRawAnswer::Hang, {}});
    std::string ads;
    for (int i = 0; i < 20; ++i)
        ads += wrapperTo(silent.url(), "sequence=\"1\"");
    const auto begin = std::chrono::steady_clock::now();
    const Outcome outcome = resolve("--timeout 1 --request-timeout 0.6 -", vast(ads));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("no time was given. Error pixels to call: http://ads.test/e (1"),
              std::string::npos)
        << outcome.err;
    EXPECT_EQ(lastLineOf(outcome.err), "vkt: the time budget of 1 s ran out");
}

// 5,000 error pixels of a wrapper for each of 20 problems: 4,096 with one problem, 65,536 in all, 64 in a
// line.
TEST(Resolve, BoundsTheErrorPixelsThatProblemsRepeat) {
    VKTLoopbackServer server;
    std::string ads;
    for (int i = 0; i < 20; ++i)
        ads += "<Ad><InLine><AdSystem>s</AdSystem><AdTitle>t</AdTitle></InLine></Ad>";
    server.serve("/pod", vast(ads));
    std::string pixels;
    for (int i = 0; i < 5000; ++i)
        pixels += "<Error>http://ads.test/" + std::to_string(i) + "</Error>";
    const Outcome outcome =
        resolve("--json -", vast("<Ad><Wrapper><AdSystem>s</AdSystem><AdTitle>t</AdTitle>" + pixels +
                                 "<VASTAdTagURI>" + server.url("/pod") + "</VASTAdTagURI></Wrapper></Ad>"));
    std::vector<std::size_t> counts;
    for (const VKTDictionary& error : entriesOf(parsed(outcome.out), "errors"))
        counts.push_back(valueOf(error, "errorURLs").asArray()->size());
    std::vector<std::size_t> expected(20, 0);
    std::fill_n(expected.begin(), 16, 4096);
    EXPECT_EQ(counts, expected);
    EXPECT_EQ(outcome.err.substr(0, outcome.err.find('\n')),
              "vkt: the problems come with more than 65536 error pixels; the further ones are left out here");
    EXPECT_NE(outcome.err.find(" http://ads.test/63 and 4032 more (16 times)\n"), std::string::npos);
}

TEST(Resolve, ReportsEveryFieldAndFillsMacros) {
    VKTLoopbackServer server;
    server.serve(
        "/next",
        vast(inlineAd("a",
                      "<Extensions><Extension><sort rank=\"2\"/></Extension></Extensions><AdVerifications>"
                      "<Verification vendor=\"v\"><JavaScriptResource>http://ads.test/j</JavaScriptResource>"
                      "</Verification></AdVerifications>")));
    const Outcome outcome =
        resolve("--json --macro OWN=mine --macro APPBUNDLE=other -",
                vast(wrapperTo(server.url("/next?o=[OWN]&b=[APPBUNDLE]&v=[VERIFICATIONVENDORS]"))));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests().front().target, "/next?o=mine&b=other&v=-2");
    const VKTDictionary report = parsed(outcome.out);
    EXPECT_EQ(keysOf(report), "source version ads errors requests end document notRequested");
    EXPECT_EQ(keysOf(valueOf(report, "requests")),
              "url statusCode errorCode milliseconds root version ads problem faultLine faultColumn");
    EXPECT_EQ(keysOf(valueOf(report, "end")), "domain code description");
    EXPECT_EQ(keysOf(valueOf(report, "ads")),
              "adID adSequence adSystem adTitle wrapperDepth impressions errorPixels viewabilityEvents "
              "linearCreatives nonLinearCreatives companionCreatives adVerifications extension problem");
    const VKTDictionary& ad = *valueOf(report, "ads").asArray()->front().asDictionary();
    EXPECT_EQ(valueOf(ad, "wrapperDepth"), VKTValue(1));
    EXPECT_EQ(keysOf(valueOf(ad, "adVerifications")),
              "vendor verificationParameters resources trackingEvents");
    EXPECT_EQ(valueOf(*valueOf(ad, "extension").asDictionary(), "sortRank"), VKTValue("2"));
    const VKTDictionary& linear = *valueOf(ad, "linearCreatives").asArray()->front().asDictionary();
    EXPECT_EQ(keysOf(linear),
              "duration skipOffset adParameters clickThrough clickTracking universalAdIds trackingEvents "
              "mediaFiles mostAppropriateMediaFile icons");
    EXPECT_EQ(keysOf(valueOf(linear, "universalAdIds")), "registry value");
    EXPECT_EQ(keysOf(valueOf(linear, "trackingEvents")), "name offset url isEventConsumable");
    EXPECT_EQ(keysOf(valueOf(linear, "mediaFiles")),
              "id delivery type bitrate minBitrate maxBitrate width height scalable maintainAspectRatio "
              "codec apiFramework fileSize url");
    EXPECT_EQ(valueOf(linear, "mostAppropriateMediaFile"), VKTValue("http://ads.test/a.mp4"));
}

TEST(Resolve, SaysInOneLineWhyThereIsNoAd) {
    VKTLoopbackServer server;
    server.serve("/large", std::string(33U << 20U, ' '));
    const std::string unread = "vkt: cannot read ";
    const std::tuple<std::string, int, std::string> cases[] = {
        {"-", 1, "vkt: the answer holds no ad"},
        {"--timeout 0 -", 1, "vkt: the time budget of 0 s ran out"},
        {"/no/such/file", 3, unread + "/no/such/file: No such file or directory"},
        {"/", 3, unread + "/: Is a directory"},
        {"ftp://ads.test/", 3, unread + "ftp://ads.test/: it is not an http or https URL"},
        {VKTRawServer::refusingURL(), 3, unread + "http://127.0.0.1"},
        {server.url("/large"), 3, unread + server.url("/large") + ": body too large"},
    };
    for (const auto& [source, status, err] : cases) {
        SCOPED_TRACE(source);
        const Outcome outcome = resolve(source, vast(""));
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(lastLineOf(outcome.err).substr(0, err.size()), err);
    }
}

TEST(Resolve, ShowsWhatEachDocumentWas) {
    VKTLoopbackServer server;
    server.serve("/old", "<VAST version=\"2.0\">" + wrapperTo(server.url("/new")) + "</VAST>");
    server.serve("/new", "<VAST version=\"4.3\">" + inlineAd() + "</VAST>");
    server.serve("/fine", vast(wrapperTo(server.url("/old"))));
    const std::string problem = "VAST 4.3 is not supported";
    for (const std::string command : {"resolve ", "play --speed 0 --wait 0 "}) {
        SCOPED_TRACE(command);
        const VKTDictionary report = parsed(runTool(command + "--json " + server.url("/fine")).out);
        EXPECT_EQ(textsOf(report, "requests", "root"), "VAST VAST VAST");
        EXPECT_EQ(textsOf(report, "requests", "version"), "3.0 2.0 4.3");
        EXPECT_EQ(textsOf(report, "requests", "ads"), "1 1 1");
        EXPECT_EQ(textsOf(report, "requests", "problem"), "<null> <null> " + problem);
        const Outcome outcome = runTool(command + server.url("/fine"));
        EXPECT_NE(outcome.out.find(problem), std::string::npos) << outcome.out;
        EXPECT_NE(outcome.err.find("In " + server.url("/new") + ", which leads to no ad: " + problem),
                  std::string::npos)
            << outcome.err;
    }
    const Outcome given = resolve("--json --max-wrappers 0 -", vast(wrapperTo(server.url("/fine"))));
    const VKTDictionary report = parsed(given.out);
    EXPECT_EQ(textAt(*valueOf(report, "document").asDictionary(), "version"), "3.0");
    EXPECT_EQ(textAt(entriesOf(report, "notRequested").at(0), "url"), server.url("/fine"));
}

TEST(Resolve, AgreesWithPlayOnWhatIsPlayable) {
    const auto adWith = [](const std::string& creative) {
        return "<Ad><InLine><AdSystem>s</AdSystem><AdTitle>t</AdTitle><Creatives><Creative>" + creative +
               "</Creative></Creatives></InLine></Ad>";
    };
    const std::string picture = "<StaticResource>http://ads.test/p</StaticResource>";
    const std::string overlay = adWith("<NonLinearAds><NonLinear>" + picture + "</NonLinear></NonLinearAds>");
    const std::string banner = adWith("<CompanionAds><Companion>" + picture + "</Companion></CompanionAds>");
    const std::string plays = "http://ads.test/a.mp4";
    const struct {
        const char* name;
        std::string ads;
        int status;
        std::string words;
    } rows[] = {
        {"linear", inlineAd(), 0, plays},
        {"overlay", overlay, 1, "cannot be played: it has no linear creative, and only those are played"},
        {"overlay, then a linear passback", overlay + inlineAd(), 0, plays},
        {"banner", banner, 1, "it has companions, but nothing that they accompany"},
        {"no ad", "", 1, "it holds no ad"},
    };
    for (const auto& [name, ads, status, words] : rows) {
        SCOPED_TRACE(name);
        const Outcome resolved = resolve("-", vast(ads));
        const Outcome played = runTool("play --speed 0 --wait 0 -", vast(ads));
        EXPECT_EQ(resolved.status, status);
        EXPECT_EQ(played.status, status);
        EXPECT_NE(resolved.out.find(words), std::string::npos) << resolved.out;
        EXPECT_NE(played.out.find(words), std::string::npos) << played.out;
        EXPECT_EQ(resolved.err, played.err);
    }
    EXPECT_EQ(resolve("--fail 1 -", vast(inlineAd())).status, 1);
}

// The tracking that the wrapper has for overlays finds none.
TEST(Resolve, CountsNoCreativeThatOnlyHoldsTheTrackingOfWrappers) {
    VKTLoopbackServer server;
    server.serve("/a", vast(inlineAd()));
    const std::string tracking =
        "<TrackingEvents><Tracking event=\"close\">http://ads.test/c</Tracking></TrackingEvents>";
    const std::string document =
        vast("<Ad><Wrapper><AdSystem>s</AdSystem><AdTitle>t</AdTitle><Creatives><Creative><NonLinearAds>" +
             tracking + "<NonLinear/></NonLinearAds></Creative></Creatives><VASTAdTagURI>" +
             server.url("/a") + "</VASTAdTagURI></Wrapper></Ad>");
    const VKTDictionary ad = entriesOf(parsed(resolve("--json -", document).out), "ads").at(0);
    EXPECT_EQ(valueOf(ad, "linearCreatives").asArray()->size(), 1U);
    EXPECT_EQ(valueOf(ad, "nonLinearCreatives").asArray()->size(), 0U);
    EXPECT_EQ(valueOf(ad, "companionCreatives").asArray()->size(), 0U);
    EXPECT_EQ(resolve("-", document).out.find("non-linear"), std::string::npos);
}

// "vkt play" and "vkt pixels" against "vkt serve": what was delivered is counted by the server.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/tracking/VKTPersistentPixelStoreProvider.h"
#include "tests/integration/LocalDemoServer.h"
#include "tests/integration/ToolRun.h"
#include "tests/support/VKTStoreFolder.h"

namespace {

using Counts = std::map<std::string, int>;

std::string textOf(const VKTDictionary& dictionary, const char* key) {
    return valueOf(dictionary, key).description();
}

VKTDictionary firstAdOf(const VKTDictionary& report) {
    const auto ads = entriesOf(report, "ads");
    EXPECT_FALSE(ads.empty());
    return ads.empty() ? VKTDictionary() : ads.front();
}

Counts statusesOf(const VKTDictionary& owner, const char* key) {
    Counts counts;
    for (const VKTDictionary& pixel : entriesOf(owner, key))
        ++counts[textOf(pixel, "status")];
    return counts;
}

// "0 start|3.75 firstQuartile"
std::string timelineOf(const VKTDictionary& ad) {
    std::vector<std::string> entries;
    for (const VKTDictionary& entry : entriesOf(ad, "timeline"))
        entries.push_back(textOf(entry, "time") + " " + textOf(entry, "event"));
    return vkt_joined(entries, "|");
}

// Hits that were answered as usual.
Counts deliveriesOf(const std::vector<VKTDictionary>& hits) {
    Counts counts;
    for (const VKTDictionary& hit : hits) {
        if (textOf(hit, "answer") == "normal") ++counts[textOf(hit, "path")];
    }
    return counts;
}

class Play : public testing::Test {
  protected:
    Outcome play(const std::string& path, const std::string& arguments) const {
        return runTool("play " + server_.url(path) + " --speed 0 --json " + arguments);
    }

    // Of 3 s, with one pixel twice, and one for an ad that was not seen.
    [[nodiscard]] std::string documentWithOddTitle() const {
        const std::string tracking = "<Tracking event='start'>" + server_.url("/pixel/twice") + "</Tracking>";
        return "<VAST version='4.2'><Ad id='a'><InLine><AdSystem>s</AdSystem>"
               "<AdTitle>&lt;script&gt;&#10;next&#x9B;31m</AdTitle><Impression>" +
               server_.url("/pixel/impression") + "</Impression><Error>" + server_.url("/pixel/error") +
               "</Error><ViewableImpression><NotViewable>" + server_.url("/pixel/notviewable") +
               "</NotViewable></ViewableImpression>" +
               "<Creatives><Creative><Linear><Duration>00:00:03</Duration><TrackingEvents>" + tracking +
               tracking + "</TrackingEvents><MediaFiles><MediaFile type='video/mp4'>http://media/a.mp4" +
               "</MediaFile></MediaFiles></Linear></Creative></Creatives></InLine></Ad></VAST>";
    }

    const LocalDemoServer server_;
    const VKTStoreFolder folder_;
    const std::string store_ = folder_.path();
};

}  // namespace

TEST_F(Play, DeliversEveryPixelOfAChainExactlyOnce) {
    const Outcome outcome = play("/chain/5", "--click-at 3");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    Counts expected{{"/pixel/chain-end/impression2", 1},
                    {"/pixel/chain-end/viewable-metric", 1},
                    {"/pixel/chain-end/progress-3.5s", 1},
                    {"/pixel/chain-end/progress-40-percent", 1}};
    for (const char* level : {"wrapper-1", "wrapper-2", "wrapper-3", "wrapper-4", "wrapper-5", "chain-end"}) {
        for (const char* event : {"impression", "creativeView", "loaded", "start", "firstQuartile",
                                  "midpoint", "thirdQuartile", "complete", "click", "viewable"})
            expected[std::string("/pixel/") + level + "/" + event] = 1;
    }
    const auto hits = server_.takePixels();
    EXPECT_EQ(deliveriesOf(hits), expected);
    for (const VKTDictionary& hit : hits) {
        const std::string query = textOf(hit, "query");
        EXPECT_EQ(query.find_first_of("[%"), std::string::npos) << query;
        EXPECT_TRUE(query.starts_with("cb=")) << query;
    }
    const VKTDictionary ad = firstAdOf(parsed(outcome.out));
    EXPECT_EQ(statusesOf(ad, "pixels"), (Counts{{"success", static_cast<int>(expected.size())}}));
    for (const VKTDictionary& entry : entriesOf(ad, "timeline")) {
        const std::string event = textOf(entry, "event");
        const std::string part = event == "clickTracking" ? "/click?" : "/" + event;
        for (const VKTValue& url : *valueOf(entry, "urls").asArray())
            EXPECT_NE(url.asString()->find(part), std::string::npos) << event << ": " << *url.asString();
    }
}

TEST_F(Play, MutesEachAdOfAPod) {
    const VKTDictionary played = parsed(play("/pod/2", "--mute-at 1").out);
    ASSERT_EQ(entriesOf(played, "ads").size(), 2u);
    for (const VKTDictionary& ad : entriesOf(played, "ads"))
        EXPECT_NE(timelineOf(ad).find("|1 mute|"), std::string::npos) << timelineOf(ad);
}

TEST_F(Play, ChangesTheTimelineAsTheViewerActs) {
    const std::string begin = "0 impression|0 creativeView|0 loaded|0 start|";
    const std::string rest =
        "3.5 progress|3.75 firstQuartile|6 progress|7.5 midpoint|11.25 thirdQuartile|15 complete";
    const std::string early = "vkt: note: the ad is not skippable before 5 s; it is skipped all the same\n";
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"", begin + "2.25 viewable|" + rest, ""},
        {"--mute-at 1 --skip-at 2", begin + "1 mute|2 skip|2 notviewable", early},
        {"--skip-at 0.1", begin + "0.1 skip|0.1 viewundetermined", early},
        {"--hide-at 1", begin + rest + "|15 notviewable", ""},
        {"--hide-at 2.2", begin + rest + "|15 notviewable", ""},
        {"--hide-at 0", begin + rest + "|15 viewundetermined", ""},
        {"--pause-at 1.1 --skip-at 6",
         begin + "1.1 pause|3.1 resume|4.6 viewable|5.5 progress|5.75 firstQuartile|8 progress|8 skip", ""},
        {"--click-at 15", begin + "2.25 viewable|" + rest,
         "vkt: note: --click-at 15 s is beyond the end of the ad and does nothing\n"},
    };
    for (const auto& [arguments, timeline, note] : cases) {
        SCOPED_TRACE(arguments);
        const Outcome outcome = play("/inline", arguments);
        EXPECT_EQ(timelineOf(firstAdOf(parsed(outcome.out))), timeline);
        EXPECT_EQ(outcome.err, note);
    }
}

TEST_F(Play, CallsTheErrorPixelsOfWhatCannotBePlayed) {
    const std::tuple<const char*, const char*, int, const char*> cases[] = {
        {"/passback", "", 0, "/pixel/leads-nowhere/error?code=303&cb="},
        {"/empty-error", "", 1, "/pixel/none/error?code=303&cb="},
        {"/pod-broken/2", "", 0, "/pixel/pod-2/error?code=401&cb="},
        {"/inline", "--fail 1", 1, "/pixel/inline/error?code=400&cb="},
    };
    for (const auto& [path, arguments, status, pixel] : cases) {
        SCOPED_TRACE(path);
        EXPECT_EQ(play(path, arguments).status, status);
        int count = 0;
        for (const VKTDictionary& hit : server_.takePixels()) {
            const std::string target = textOf(hit, "path") + "?" + textOf(hit, "query");
            if (target.starts_with(pixel) && target.find('[') == std::string::npos) ++count;
        }
        EXPECT_EQ(count, 1);
    }
}

TEST_F(Play, KeepsWhatFailsForTheNextRun) {
    const std::string failing = "/pixel/inline/start";
    server_.tell(failing, "503");
    const VKTDictionary first = parsed(play("/inline", "--store " + store_).out);
    EXPECT_EQ(statusesOf(firstAdOf(first), "pixels"), (Counts{{"pending", 1}, {"success", 12}}));
    EXPECT_EQ(deliveriesOf(server_.takePixels()).count(failing), 0U);

    const auto pending = entriesOf(parsed(runTool("pixels --json --store " + store_).out), "pixels");
    ASSERT_EQ(pending.size(), 1U);
    EXPECT_EQ(textOf(pending.front(), "url").find(server_.url(failing + "?cb=")), 0U);
    EXPECT_EQ(textOf(pending.front(), "status"), "pending");

    server_.tell(failing, "normal");
    const VKTDictionary second = parsed(play("/empty", "--store " + store_).out);
    EXPECT_EQ(statusesOf(second, "pixelsLeftByEarlierRun"), (Counts{{"success", 1}}));
    EXPECT_EQ(deliveriesOf(server_.takePixels()), (Counts{{failing, 1}}));
    EXPECT_TRUE(entriesOf(parsed(runTool("pixels --send --json --store " + store_).out), "pixels").empty());
    EXPECT_TRUE(server_.takePixels().empty());
}

TEST_F(Play, EndsInTimeWhenThePixelServerHangs) {
    server_.tell("/pixel/*", "hang");
    const auto begin = std::chrono::steady_clock::now();
    const Outcome outcome = play("/inline", "--wait 1 --store " + store_);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(8));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(statusesOf(firstAdOf(parsed(outcome.out)), "pixels"), (Counts{{"pending", 13}}));
    server_.tell("/pixel/*", "normal");
    const Outcome sent = runTool("pixels --send --json --store " + store_);
    EXPECT_EQ(statusesOf(parsed(sent.out), "pixels"), (Counts{{"success", 13}}));
}

TEST_F(Play, TellsWhatHasExpiredAndWhyAPixelIsRefused) {
    {
        const auto store = VKTPlatform::current().makeKeyValueStore(store_, nullptr);
        const auto provider = VKTPersistentPixelStoreProvider::initWithKeyValueStore(store);
        ASSERT_TRUE(provider->loadPixels());
        const auto tomorrow = VKTPlatform::current().clock->now() + std::chrono::hours(24);
        provider->savePixels(
            {VKTPixel::initWithID(1, *VKTURL::URLWithString("http://h/late"), {}, VKTPixelStatusPending),
             VKTPixel::initWithID(2, *VKTURL::URLWithString("http://127.0.0.1:1/refused"), tomorrow,
                                  VKTPixelStatusPending)});
    }
    const VKTDictionary report = parsed(play("/empty", "--store " + store_).out);
    EXPECT_EQ(statusesOf(report, "pixelsLeftByEarlierRun"), (Counts{{"expired", 1}, {"pending", 1}}));
    const std::string sent = runTool("pixels --send --store " + store_).out;
    EXPECT_NE(sent.find(": 1 pixel\n   pending -1004  until "), std::string::npos) << sent;
    EXPECT_NE(sent.find("http://127.0.0.1:1/refused: cannot connect"), std::string::npos) << sent;
}

TEST_F(Play, TakesTextsAndURLsOfADocumentAsTheyCome) {
    server_.get("/tell?path=/pixel/twice&answer=503&times=1");
    const std::string page = store_ + ".html";
    const Outcome shown = runTool("play - --speed 0 --report " + page, documentWithOddTitle());
    EXPECT_NE(shown.out.find("1. ad a, \"<script> next 31m\" from s\n"), std::string::npos) << shown.out;
    const std::string html = takeFile(page);
    EXPECT_EQ(html.find("<script"), std::string::npos) << html;
    EXPECT_NE(html.find("&lt;script&gt; next"), std::string::npos) << html;
    EXPECT_NE(shown.out.find("3 pixels: 3 delivered\n"), std::string::npos) << shown.out;
    EXPECT_NE(html.find(server_.url("/pixel/twice") + "</code><p class=\"reason\">2 attempts</p>"),
              std::string::npos);
    const auto hits = server_.takePixels();
    EXPECT_EQ(hits.size(), 4U);
    EXPECT_EQ(deliveriesOf(hits), (Counts{{"/pixel/impression", 1}, {"/pixel/twice", 2}}));
}

TEST_F(Play, CallsTheNotViewablePixelOfAnAdWithoutAViewableOne) {
    runTool("play - --speed 0 --hide-at 2.1", documentWithOddTitle());
    EXPECT_EQ(deliveriesOf(server_.takePixels()),
              (Counts{{"/pixel/impression", 1}, {"/pixel/notviewable", 1}, {"/pixel/twice", 2}}));
}

TEST(Pixels, OneRunOwnsThem) {
    const VKTStoreFolder folder;
    const auto store = VKTPlatform::current().makeKeyValueStore(folder.path(), nullptr);
    const auto owner = VKTPersistentPixelStoreProvider::initWithKeyValueStore(store);
    ASSERT_TRUE(owner->loadPixels());
    EXPECT_EQ(runTool("pixels --store " + folder.path()).status, 0);
    for (const char* command : {"pixels --send --store ", "play /dev/null --store "}) {
        const Outcome refused = runTool(command + folder.path());
        EXPECT_EQ(refused.status, 3);
        EXPECT_EQ(refused.err, "vkt: The pixels in the store " + folder.path() +
                                   " belong to one process at a time, and process " +
                                   std::to_string(getpid()) + " uses them\n");
    }
}

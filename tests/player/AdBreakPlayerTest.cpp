#include "VKTCoreKit/player/VKTAdBreakPlayer.h"

#include <gmock/gmock.h>

#include "tests/player/BreakFixture.h"
#include "tests/support/VASTTexts.h"

namespace {

using testing::ElementsAre;

class AdBreakPlayer : public BreakFixture {};

Texts without(Texts heard, const Texts& what) {
    std::erase_if(heard, [&](const std::string& text) {
        return std::any_of(what.begin(), what.end(),
                           [&](const auto& start) { return text.starts_with(start); });
    });
    return heard;
}

TEST_F(AdBreakPlayer, APodIsPlayedAndEveryPixelSentOnce) {
    start(vast(adOf("a", "good.mp4", "<Duration>00:00:04</Duration>", "sequence=\"1\"") +
               adOf("b", "good.mp4", "<Duration>00:00:04</Duration>", "sequence=\"2\"")));
    advance(9);
    EXPECT_THAT(
        delegate->heard,
        ElementsAre("ad a", "resolved 2", "impression", "creativeView", "loaded", "start", "started",
                    "firstQuartile", "midpoint", "viewable", "thirdQuartile", "complete", "end: completed",
                    "ad b", "impression", "creativeView", "loaded", "start", "started", "firstQuartile",
                    "midpoint", "viewable", "thirdQuartile", "complete", "end: completed", "break: played"));
    EXPECT_EQ(requested.size(), 18u);
    EXPECT_EQ(std::set<std::string>(requested.begin(), requested.end()).size(), 18u);
    EXPECT_EQ(delegate->sent.size(), 18u);
    EXPECT_EQ(delegate->breakEnd.completedAds, 2u);
    EXPECT_EQ(mediaPlayer->loads, mediaPlayer->stops);
}

// ---- the media player's luck ----

struct LuckRow {
    const char* name;
    Media media;
    const char* duration;  // of the document; empty: none
    const char* expected;
};

void PrintTo(const LuckRow& row, std::ostream* out) {
    *out << row.name;
}

const std::string all = "impression creativeView loaded start firstQuartile midpoint thirdQuartile complete ";
const std::string begun = "impression creativeView loaded start ";
const std::string standstill = begun + "firstQuartile error end: failed 405";

class AdBreakPlayerMedia : public BreakFixture, public testing::WithParamInterface<LuckRow> {};

TEST_P(AdBreakPlayerMedia, EndsAsItShould) {
    const LuckRow& row = GetParam();
    mediaPlayer->media["row.mp4"] = row.media;
    const std::string duration = row.duration;
    start(vast(adOf("a", "row.mp4", duration.empty() ? "" : "<Duration>" + duration + "</Duration>")));
    advance(40);
    std::string heard;
    for (const std::string& text : without(
             delegate->heard, {"ad ", "started", "resolved", "viewable", "notviewable", "problem", "break"}))
        heard += text + " ";
    heard.pop_back();
    EXPECT_EQ(heard, row.expected);
    EXPECT_EQ(delegate->heard.back(), "break: played");
    EXPECT_EQ(mediaPlayer->loads, 1);
    EXPECT_EQ(mediaPlayer->stops, 1);
    EXPECT_EQ(requested.size(), delegate->sent.size());
}

const std::string completed = all + "end: completed";

double neverMoves(double /*played*/) {
    return 0;
}
double standsStill(double played) {
    return std::min(played, 1.5);
}
double losesItself(double played) {
    return played < 1.5 ? played : std::numeric_limits<double>::quiet_NaN();
}
double staysAtItsEnd(double played) {
    return std::min(played, 4.0);
}
double beginsAnew(double played) {
    return std::fmod(played, 4.0);
}
double jumpsBack(double played) {
    return played < 3 ? played : played - 2;
}
double jumpsAhead(double played) {
    return played > 0 ? 3.9 : 0;
}
double comesCloseToAQuarter(double played) {
    return std::min(played, 1.25 - 1e-5);
}
double failsBehindItsEnd(double played) {
    return played > 4 ? throw std::runtime_error("no") : played;
}
void throwsUp() {
    throw std::runtime_error("no");
}

INSTANTIATE_TEST_SUITE_P(
    Media, AdBreakPlayerMedia,
    testing::Values(
        LuckRow{"ItIsNotFound", {.failure = VKTMediaFailureNotFound}, "00:00:04", "error end: failed 401"},
        LuckRow{"ItIsNotSupported",
                {.failure = VKTMediaFailureNotSupported},
                "00:00:04",
                "error end: failed 403"},
        LuckRow{"ItFailsForNoReason", {.failure = VKTMediaFailure{7}}, "00:00:04", "error end: failed 400"},
        LuckRow{"ItIsNeverReady", {.getsReady = false}, "00:00:04", "error end: failed 402"},
        LuckRow{"ItNeverMoves",
                {.tellsStart = false, .endsAt = {}, .position = neverMoves},
                "00:00:04",
                "error end: failed 405"},
        LuckRow{"ItStandsStill", {.endsAt = {}, .position = standsStill}, "00:00:04", standstill.c_str()},
        LuckRow{
            "ItsPositionIsNoNumber", {.endsAt = {}, .position = losesItself}, "00:00:04", standstill.c_str()},
        LuckRow{"ItIsCutOff", {.endsAt = 1.5}, "00:00:04", standstill.c_str()},
        LuckRow{
            "ItEndsWithoutAPicture", {.tellsStart = false, .endsAt = 0}, "00:00:04", "error end: failed 405"},
        LuckRow{"ThePlayerThrows", {.whenPlayed = throwsUp}, "00:00:04", "error end: failed 400"},
        LuckRow{"ItFailsBehindItsEnd",
                {.endsAt = {}, .position = failsBehindItsEnd},
                "00:00:04",
                completed.c_str()},
        LuckRow{"ItEndsTwice", {.tellsEnd = 2}, "00:00:04", completed.c_str()},
        LuckRow{
            "ItNeverTellsTheEnd", {.endsAt = {}, .position = staysAtItsEnd}, "00:00:04", completed.c_str()},
        LuckRow{"ItBeginsAnew", {.endsAt = {}, .position = beginsAnew}, "00:00:04", completed.c_str()},
        LuckRow{"ItGoesBeyondItsDuration", {.endsAt = {}}, "00:00:04", completed.c_str()},
        LuckRow{"ItJumpsBack", {.endsAt = 6, .position = jumpsBack}, "00:00:04", completed.c_str()},
        LuckRow{"ItDoesNotTellItsStart", {.tellsStart = false}, "00:00:04", completed.c_str()},
        LuckRow{"ItIsShorterThanTheDocumentSays", {}, "00:00:30", completed.c_str()},
        LuckRow{"TheDocumentHasNoDuration", {}, "", completed.c_str()},
        LuckRow{"TheDurationIsKnownLate", {.durationKnownAt = 2.5}, "", completed.c_str()},
        LuckRow{"NobodyKnowsTheDuration", {.durationKnownAt = {}}, "", completed.c_str()}),
    testing::PrintToStringParamName());

// ---- what the viewer does ----

TEST_F(AdBreakPlayer, WhatTheViewerDoesIsTrackedOnceAndToldToTheMediaPlayer) {
    start(vast(adOf("a")));
    player->setMuted(true);
    advance(1);
    player->setMuted(false);
    player->setVolume(0.5);
    player->setVolume(0);
    player->setVolume(0);
    player->pause();
    player->pause();
    advance(30);  // longer than media may stand still
    player->resume();
    player->resume();
    player->setFullscreen(true);
    player->setFullscreen(true);
    player->setFullscreen(false);
    player->trackVideoEvent(VKTVideoEventPlayerExpand);
    player->click();
    EXPECT_FALSE(player->skip());
    EXPECT_THAT(without(delegate->heard, {"ad", "resolved"}),
                ElementsAre("impression", "creativeView", "loaded", "start", "started", "mute",
                            "firstQuartile", "unmute", "mute", "pause", "resume", "fullscreen",
                            "exitFullscreen", "playerExpand", "clickTracking", "open http://shop.test/"));
    EXPECT_THAT(mediaPlayer->volumes, ElementsAre(1, 0, 1, 0.5, 0));
    advance(4);
    EXPECT_EQ(delegate->heard.back(), "break: played");
}

TEST_F(AdBreakPlayer, AnAdIsSkippedFromItsOffsetOn) {
    start(vast(skippableAd("a")));
    advance(1.75);
    EXPECT_FALSE(player->canSkip());
    EXPECT_FALSE(player->skip());
    advance(0.25);
    EXPECT_TRUE(player->canSkip());
    EXPECT_TRUE(player->skip());
    EXPECT_FALSE(player->skip());
    advance(1);
    EXPECT_THAT(without(delegate->heard, {"impression", "creativeView", "loaded", "firstQ", "mid"}),
                ElementsAre("ad a", "resolved 1", "start", "started", "skip from 2", "skip", "notviewable",
                            "end: skipped", "break: played"));
}

TEST_F(AdBreakPlayer, APositionThatStandsStillIsToldFourTimesASecond) {
    mediaPlayer->media["good.mp4"] = {.endsAt = {}, .position = comesCloseToAQuarter};
    int told = 0;
    delegate->onProgress = [&](double /*position*/) { ++told; };
    start(vast(adOf("a")));
    advance(10);
    EXPECT_LE(told, 41);
}

// ---- what is done inside of what is told ----

class AdBreakPlayerPausedEarly : public BreakFixture, public testing::WithParamInterface<const char*> {};

TEST_P(AdBreakPlayerPausedEarly, IsPausedFromItsFirstPictureOn) {
    mediaPlayer->media["good.mp4"].whenPlayed = [&] {
        test.mainRunLoop->post([&] { delegate->onHeard("playing"); });
    };
    delegate->onHeard = [&](const std::string& what) {
        if (what == GetParam()) player->pause();
    };
    delegate->onProgress = [&](double /*position*/) { delegate->heard.emplace_back("progress"); };
    start(vast(adOf("a")));
    advance(9);
    EXPECT_THAT(without(delegate->heard, {"progress"}),
                ElementsAre("ad a", "resolved 1", "impression", "creativeView", "loaded", "start", "started",
                            "pause"));
    EXPECT_EQ(delegate->heard[6], "started") << "progress before the start";
    delegate->onHeard = [](const std::string& /*what*/) {};
    player->resume();
    advance(2.25);
    EXPECT_THAT(without(delegate->heard, {"progress", "first", "mid"}),
                testing::AllOf(testing::Contains("resume"), testing::Contains("viewable")));
}

INSTANTIATE_TEST_SUITE_P(Inside, AdBreakPlayerPausedEarly, testing::Values("playing", "impression", "loaded"),
                         [](const auto& row) { return std::string(row.param); });

struct LastRow {
    const char* inside;
    Media media;
    Texts after;
};

void PrintTo(const LastRow& row, std::ostream* out) {
    *out << row.inside;
}

class AdBreakPlayerLast : public BreakFixture, public testing::WithParamInterface<LastRow> {};

TEST_P(AdBreakPlayerLast, NothingThatTheViewerDoesFollowsIt) {
    mediaPlayer->media["good.mp4"] = GetParam().media;
    VKTAdBreakOptions options;
    options.enforcesSkipOffset = false;
    Texts* after = nullptr;
    delegate->onHeard = [&](const std::string& what) {
        if (after != nullptr || what != GetParam().inside) return;
        after = &delegate->heard;
        after->clear();
        player->pause();
        player->setMuted(true);
        player->click();
        player->skip();
    };
    start(vast(adOf("a")), options);
    advance(2);
    player->skip();
    advance(20);
    EXPECT_EQ(delegate->heard, GetParam().after);
}

INSTANTIATE_TEST_SUITE_P(
    Inside, AdBreakPlayerLast,
    testing::Values(LastRow{"skip", {}, {"notviewable", "end: skipped", "break: played"}},
                    LastRow{"complete",
                            {.duration = 1.9, .endsAt = 1.9},
                            {"notviewable", "end: completed", "break: played"}},
                    LastRow{"error", {.endsAt = 1.5}, {"notviewable", "end: failed 405", "break: played"}}),
    testing::PrintToStringParamName());

TEST_F(AdBreakPlayer, NothingThatIsDueFollowsACancellation) {
    mediaPlayer->media["good.mp4"] = {.position = jumpsAhead};
    delegate->onHeard = [&](const std::string& what) {
        if (what == "firstQuartile") player.reset();
    };
    start(vast(adOf("a")));
    advance(1);
    EXPECT_EQ(delegate->heard.back(), "firstQuartile");
    EXPECT_THAT(requested, testing::Not(testing::Contains("http://p.test/a/midpoint")));
}

// ---- what follows a failure ----

TEST_F(AdBreakPlayer, APassbackFollowsAnAdThatFailsAndThenTheRestOfThePod) {
    mediaPlayer->media["lost.mp4"] = {.failure = VKTMediaFailureNotFound};
    const std::string duration = "<Duration>00:00:04</Duration>";
    start(vast(adOf("first", "lost.mp4", duration, "sequence=\"1\"") +
               adOf("second", "lost.mp4", duration, "sequence=\"2\"") +
               adOf("third", "good.mp4", duration, "sequence=\"3\"") + adOf("passback", "lost.mp4") +
               adOf("passback2")));
    advance(12);
    EXPECT_THAT(without(delegate->heard, {"st", "impression", "creativeView", "loaded", "first", "mid",
                                          "view", "complete", "thirdQ"}),
                ElementsAre("ad first", "resolved 3", "error", "end: failed 401", "ad passback", "error",
                            "end: failed 401", "ad passback2", "end: completed", "ad second", "error",
                            "end: failed 401", "ad third", "end: completed", "break: played"));
    EXPECT_THAT(requested, testing::Contains("http://p.test/first/error?code=401"));
    EXPECT_EQ(delegate->breakEnd.failedAds, 3u);
}

TEST_F(AdBreakPlayer, AnAdThatCannotBePlayedGivesItsReasonAndItsErrorPixel) {
    VKTAdBreakOptions options;
    options.mediaProfile = VKTMediaProfile();
    options.mediaProfile->types = {"video/webm"};
    options.refusal = [](const VKTVASTAd& ad) {
        return ad.adID() == "b"
                   ? std::optional(VKTAdRefusal{VKTVASTError::VAST_UNDEFINED_ERROR(), "not here"})
                   : std::nullopt;
    };
    const std::string duration = "<Duration>00:00:04</Duration>";
    start(vast(adOf("a", "good.mp4", duration, "sequence=\"1\"") +
               adOf("b", "good.mp4", duration, "sequence=\"2\"")),
          options);
    advance(1);
    EXPECT_THAT(delegate->heard, ElementsAre("ad a", "error", "end: failed 403", "ad b", "error",
                                             "end: failed 900", "resolved 2", "break: played"));
    EXPECT_THAT(delegate->reasons, ElementsAre(testing::HasSubstr("video/mp4"), "not here"));
    EXPECT_EQ(mediaPlayer->loads, 0);
}

TEST_F(AdBreakPlayer, WhatTheDocumentLosesAndItsProblemsAreTold) {
    start("<VAST version=\"3.0\"><Error>http://p.test/none?code=[ERRORCODE]</Error><Nonsense/></VAST>");
    EXPECT_THAT(delegate->heard,
                testing::IsSupersetOf({"dropped /VAST/Nonsense", "error", "resolved 0", "break: played"}));
    EXPECT_THAT(requested, testing::Contains("http://p.test/none?code=303"));
    start("no document");
    EXPECT_EQ(delegate->heard.back(), "break: failed");
}

// ---- viewability and pixels ----

TEST_F(AdBreakPlayer, AnAdIsViewableOrNotOrNobodyKnows) {
    const auto outcome = [&](const std::function<void()>& arrange) {
        arrange();
        delegate->heard.clear();
        start(vast(adOf("a")));
        advance(5);
        return without(delegate->heard, {"ad", "resolved", "impression", "creative", "loaded", "start",
                                         "first", "mid", "third", "complete", "end", "break"});
    };
    EXPECT_THAT(outcome([&] {}), ElementsAre("viewable"));
    EXPECT_THAT(outcome([&] { view->setFrame({0, 700, 1280, 720}); }), ElementsAre("notviewable"));
    EXPECT_THAT(outcome([&] { view->removeFromSuperview(); }), ElementsAre("viewundetermined"));
}

TEST_F(AdBreakPlayer, APictureThatStandsStillIsNotViewed) {
    mediaPlayer->media["good.mp4"] = {.endsAt = {}, .position = standsStill};
    start(vast(adOf("a")));
    advance(1.5);
    mediaPlayer->listener->mediaDidStall();
    advance(20);
    EXPECT_THAT(delegate->heard, testing::Contains("notviewable"));
    EXPECT_THAT(delegate->heard, testing::Not(testing::Contains("viewable")));
}

TEST_F(AdBreakPlayer, EachOfTwoBreaksHearsOfItsOwnPixels) {
    const auto otherMedia = std::make_shared<FakeMediaPlayer>(test);
    const auto otherDelegate = std::make_shared<BreakDelegate>();
    const auto other = VKTAdBreakPlayer::initWithMediaPlayer(otherMedia, view, otherDelegate, services);
    other->startWithXML(vast(adOf("b")));
    test.HTTPSession->setAnswer("http://p.test/b/start", VKTFakeHTTPAnswer::withStatus(503));
    start(vast(adOf("a")));
    advance(5);
    EXPECT_THAT(delegate->sent, testing::AllOf(testing::SizeIs(9), testing::Each(testing::EndsWith(" 200"))));
    EXPECT_THAT(otherDelegate->sent, testing::Contains("start 503").Times(testing::Ge(2)));
}

// ---- measurement ----

TEST_F(AdBreakPlayer, VerificationScriptsHearWhatThePixelsTell) {
    const auto measurement = std::make_shared<FakeMeasurement>();
    services.measurement = VKTOpenMeasurementManager::initWithProvider(
        measurement, VKTOpenMeasurementJSLibrary::initWithProvider(measurement, services.urlSession), nullptr,
        services.pixelManager);
    services.measurement->refreshJSLibrary();
    const std::string verification =
        "<AdVerifications><Verification vendor=\"v\"><JavaScriptResource apiFramework=\"omid\" "
        "browserOptional=\"true\">http://v.test/v.js</JavaScriptResource></Verification></AdVerifications>";
    std::string ad = skippableAd("a");
    ad.insert(ad.find("<Creatives>"), verification);
    delegate->onHeard = [&](const std::string& what) {
        if (what == "ad") player->measurementSession()->addFriendlyObstruction(view, {}, std::nullopt);
    };
    start("<VAST version=\"4.2\">" + ad + "</VAST>");
    advance(1);
    player->setMuted(true);
    player->pause();
    player->resume();
    player->setFullscreen(true);
    player->click();
    advance(1);
    player->skip();
    EXPECT_THAT(*measurement->heard, ElementsAre("obstruction", "start", "loaded 2", "impression", "video 4",
                                                 "firstQuartile", "volume 0", "pause", "resume", "fullscreen",
                                                 "click", "midpoint", "skipped", "finish"));
}

// ---- leaving ----

struct LeavingRow {
    std::string inside;    // what the delegate hears
    bool cancels = false;  // or else lets go of the player
};

void PrintTo(const LeavingRow& row, std::ostream* out) {
    *out << (row.cancels ? "CancelsAt" : "LetsGoAt");
    std::copy_if(row.inside.begin(), row.inside.end(), std::ostreambuf_iterator(*out),
                 [](char letter) { return std::isalpha(letter) != 0; });
}

class AdBreakPlayerLeaving : public BreakFixture, public testing::WithParamInterface<LeavingRow> {};

TEST_P(AdBreakPlayerLeaving, LeavesNothingBehind) {
    const LeavingRow& row = GetParam();
    std::size_t heardBefore = 0;
    delegate->onHeard = [&](const std::string& what) {
        if (what != row.inside || !player) return;
        heardBefore = delegate->heard.size();
        if (row.cancels) {
            player->cancel();
        } else {
            player.reset();
        }
    };
    mediaPlayer->media["lost.mp4"] = {.failure = VKTMediaFailureNotFound};
    const std::string skippable = skippableAd("a");
    std::string xml =
        vast(skippable.substr(0, 3) + " sequence=\"1\" " + skippable.substr(3) +
             adOf("b", "lost.mp4", "<Duration>00:00:04</Duration>", "sequence=\"2\"") + "<Nonsense/>");
    start(xml);
    advance(1);
    if (player) player->click();
    if (player) player->pause();
    if (player) player->resume();
    advance(1);
    if (player) player->skip();
    advance(20);
    ASSERT_GT(heardBefore, 0u) << "the delegate never heard of it";
    EXPECT_EQ(mediaPlayer->loads, mediaPlayer->stops);
    const Texts after(delegate->heard.begin() + static_cast<std::ptrdiff_t>(heardBefore),
                      delegate->heard.end());
    if (row.cancels && row.inside != "break:" && row.inside != "sent") {
        EXPECT_THAT(after, testing::Not(testing::IsEmpty()));
        EXPECT_EQ(after.back(), "break: cancelled");
        EXPECT_FALSE(delegate->breakEnd.error);
        EXPECT_LE(after.size(), 3u) << testing::PrintToString(after);
    } else if (!row.cancels) {
        EXPECT_THAT(after, testing::IsEmpty());
    }
}

std::vector<LeavingRow> leavingRows() {
    std::vector<LeavingRow> rows;
    for (const bool cancels : {true, false}) {
        for (const char* inside : {"dropped", "resolved", "ad", "impression", "start", "started", "skip from",
                                   "firstQuartile", "clickTracking", "open", "pause", "resume", "skip",
                                   "notviewable", "end:", "error", "break:", "sent"})
            rows.push_back({inside, cancels});
    }
    return rows;
}

INSTANTIATE_TEST_SUITE_P(Inside, AdBreakPlayerLeaving, testing::ValuesIn(leavingRows()),
                         testing::PrintToStringParamName());

TEST_F(AdBreakPlayer, WhatTheMediaPlayerTellsLateOfAnEarlierAdIsIgnored) {
    const std::string duration = "<Duration>00:00:04</Duration>";
    start(vast(adOf("a", "good.mp4", duration, "sequence=\"1\"") +
               adOf("b", "good.mp4", duration, "sequence=\"2\"")));
    advance(1);
    const auto first = mediaPlayer->listener;
    advance(4);
    delegate->heard.clear();
    first->mediaDidFail(VKTMediaFailureGeneral, "late");
    first->mediaDidEnd();
    advance(0.25);
    EXPECT_THAT(delegate->heard, testing::Not(testing::Contains(testing::StartsWith("end"))));
}

TEST_F(AdBreakPlayer, CancellingEndsADownloadThatHangs) {
    VKTFakeHTTPSession hanging(VKTFakeHTTPSession::Delivery::ByHand);
    services.makeSerialQueue = vkt_makeTestPlatform().platform.makeSerialQueue;  // with a thread
    services.urlSession = VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(
        std::shared_ptr<VKTHTTPSession>(std::shared_ptr<int>(), &hanging)));
    player = VKTAdBreakPlayer::initWithMediaPlayer(mediaPlayer, view, delegate, services);
    player->startWithURL(VKTURL::URLWithString("http://ads.test/hangs").value());
    const auto start = std::chrono::steady_clock::now();
    while (hanging.requests().empty())
        std::this_thread::yield();
    player->cancel();
    EXPECT_THAT(delegate->heard, ElementsAre("break: cancelled"));
    player.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    hanging.deliverAll();
}

TEST_F(AdBreakPlayer, WithoutAThreadTheBreakFails) {
    struct NoQueue : VKTSerialQueue {
        void post(VKTTask /*task*/) override {}
        bool tryPost(VKTTask /*task*/) override { return false; }
        [[nodiscard]] bool isCurrentThread() const override { return false; }
    };
    services.makeSerialQueue = [] { return std::make_unique<NoQueue>(); };
    start(vast(adOf("a")));
    EXPECT_THAT(delegate->heard, ElementsAre("break: failed"));
}

TEST_F(AdBreakPlayer, AWorkerThatThrowsEndsTheBreakAndNotTheRestOfThePod) {
    struct BrokenClock : VKTClock {
        [[nodiscard]] VKTDate now() const override { return {}; }
        [[nodiscard]] std::chrono::nanoseconds monotonicNow() const override {
            return isBroken ? throw std::bad_alloc() : std::chrono::nanoseconds(0);
        }
        bool isBroken = false;
    };
    const auto clock = std::make_shared<BrokenClock>();
    services.clock = clock;
    mediaPlayer->media["lost.mp4"] = {.failure = VKTMediaFailureNotFound};
    const std::string duration = "<Duration>00:00:04</Duration>";
    delegate->onHeard = [&](const std::string& what) { clock->isBroken = what == "error"; };
    start(vast(adOf("a", "lost.mp4", duration, "sequence=\"1\"") +
               adOf("b", "good.mp4", duration, "sequence=\"2\"")));
    advance(5);
    EXPECT_EQ(delegate->breakEnd.completedAds, 1u);
    EXPECT_EQ(delegate->heard.back(), "break: played");

    player = VKTAdBreakPlayer::initWithMediaPlayer(mediaPlayer, view, delegate, services);
    player->startWithXML(vast(adOf("a")));
    clock->isBroken = true;
    runQueues();
    EXPECT_EQ(delegate->heard.back(), "break: failed");
}

}  // namespace

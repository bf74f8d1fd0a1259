// Sessions with scripts in this process: what reaches the vendors' servers, and what goes wrong for whom.
#include <gtest/gtest.h>

#include <limits>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/omruntime/AdSession.h"
#include "VKTCoreKit/omruntime/EmbeddedServiceScript.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/omruntime/ScriptRun.h"
#include "VKTCoreKit/omruntime/SessionRegistry.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

namespace OMIDKorvonet1 {

namespace {

using Texts = std::vector<std::string>;

const std::string good = R"(
    var base = 'http://good/';
    function send(event) { omid3p.sendUrl(base + event.type); }
    omid3p.registerSessionObserver(send, 'good');
    ['impression', 'loaded', 'media'].forEach(function (type) { omid3p.addEventListener(type, send); });
    omid3p.addEventListener('geometryChange', function (event) {
        omid3p.sendUrl(base + 'geometry/' + event.data.adView.percentageInView + '/' + event.data.adView.reasons);
    });)";

class Sessions : public testing::Test, public MeasurementObserver {
  protected:
    Sessions() {
        runtime_.activate();
        runtime_.setTrustsScripts(true);
        runtime_.setURLSession(VKTURLSession::initWithSessionProvider(
            VKTURLSessionProvider::initWithSession(test_.HTTPSession)));
        runtime_.setObserver(std::shared_ptr<MeasurementObserver>(owner_, this));
        window_->addSubview(view_);
        serve("good", good);
    }
    ~Sessions() override {
        session_.reset();
        advance(2);
        EXPECT_EQ(runtime_.registry().runningCount() + runtime_.registry().finishedCount(), 0U);
        runtime_.setURLSession(VKTURLSession::sharedInstance());
    }

    void scriptHeardEvent(const ScriptIdentity& script, const std::string& type, std::int64_t) override {
        heard_.push_back(*script.resource.vendorKey() + " " + type);
    }
    void scriptSentURL(const ScriptIdentity&, const std::string& URL, bool isSent) override {
        sent_.push_back((isSent ? "" : "refused ") + URL);
    }
    void scriptFailed(const ScriptIdentity& script, const VKTError& error) override {
        failures_.push_back(*script.resource.vendorKey() + ": " + error.localizedDescription().value_or(""));
    }

    void serve(const std::string& vendor, std::string script) {
        test_.HTTPSession->setAnswer("http://h/" + vendor, VKTFakeHTTPAnswer::withBody(std::move(script)));
    }

    std::shared_ptr<AdSession> makeSession(const Texts& vendors, CreativeType type = CreativeTypeVideo,
                                           std::string serviceScript = std::string(embeddedServiceScript())) {
        std::vector<VerificationScriptResource> resources;
        for (const std::string& vendor : vendors) {
            resources.push_back(*VerificationScriptResource::initWithURL(
                *VKTURL::URLWithString("http://h/" + vendor), vendor, "parameters"));
        }
        const auto context = AdSessionContext::initWithPartner(*Partner::initWithName("Korvonet", "1"),
                                                               std::move(serviceScript), std::move(resources),
                                                               std::nullopt, "reference", nullptr);
        const auto configuration = AdSessionConfiguration::initWithCreativeType(
            type, ImpressionTypeBeginToRender, OwnerNative, OwnerNative, false, nullptr);
        auto session = AdSession::initWithConfiguration(*configuration, context, nullptr);
        session->setMainAdView(view_);
        return session;
    }

    void begin(const Texts& vendors) {
        session_ = makeSession(vendors);
        adEvents_ = AdEvents::initWithAdSession(*session_, nullptr);
        mediaEvents_ = MediaEvents::initWithAdSession(*session_, nullptr);
        session_->start();
        drain();
    }

    void drain() { test_.mainRunLoop->drain(); }
    void advance(double seconds) { test_.mainRunLoop->advance(VKTTimeInterval(seconds)); }
    Texts sent() { return std::exchange(sent_, {}); }
    Texts failures() { return std::exchange(failures_, {}); }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    const std::shared_ptr<int> owner_ = std::make_shared<int>();  // of the fixture as an observer
    SDK& runtime_ = SDK::sharedInstance();
    std::shared_ptr<VKTHeadlessView> window_ = VKTHeadlessView::windowWithFrame({0, 0, 1280, 720});
    std::shared_ptr<VKTHeadlessView> view_ = VKTHeadlessView::initWithFrame({0, 0, 1280, 720});
    std::shared_ptr<AdSession> session_;
    std::shared_ptr<AdEvents> adEvents_;
    std::shared_ptr<MediaEvents> mediaEvents_;
    Texts heard_, sent_, failures_;
};

TEST_F(Sessions, ArgumentChecks) {
    const std::string full(TextLimit, 'a');
    EXPECT_TRUE(Partner::initWithName(full, "1"));
    for (const std::string& text : {std::string(), full + "a", std::string("\xff")}) {
        EXPECT_FALSE(Partner::initWithName(text, "1")) << text;
        EXPECT_FALSE(Partner::initWithName("name", text)) << text;
    }
    EXPECT_FALSE(VerificationScriptResource::initWithURL(VKTURL(), "", "p"));
    EXPECT_FALSE(VerificationScriptResource::initWithURL(VKTURL(), "v", ""));

    const auto contextCode = [](const std::string& script, const std::optional<std::string>& reference) {
        std::optional<VKTError> error;
        const auto context = AdSessionContext::initWithPartner(*Partner::initWithName("n", "1"), script, {},
                                                               {}, reference, &error);
        EXPECT_NE(context == nullptr, !error);
        return error ? error->code() : 0;
    };
    EXPECT_EQ(contextCode("script", full), 0);
    EXPECT_EQ(contextCode("", "reference"), ErrorCodeInvalidArgument);
    EXPECT_EQ(contextCode("script", full + "a"), ErrorCodeInvalidArgument);

    const std::tuple<CreativeType, ImpressionType, Owner, Owner, bool> configurations[] = {
        {CreativeTypeVideo, ImpressionTypeBeginToRender, OwnerNative, OwnerNative, true},
        {CreativeTypeNativeDisplay, ImpressionTypeBeginToRender, OwnerNative, OwnerNative, true},
        {CreativeTypeDefinedByJavaScript, ImpressionTypeDefinedByJavaScript, OwnerJavaScript, OwnerNone,
         true},
        {CreativeTypeVideo, ImpressionTypeBeginToRender, OwnerNone, OwnerNative, false},
        {CreativeTypeDefinedByJavaScript, ImpressionTypeLoaded, OwnerNative, OwnerNone, false},
        {CreativeTypeVideo, ImpressionTypeDefinedByJavaScript, OwnerNative, OwnerNative, false}};
    for (const auto& [creative, impression, impressionOwner, mediaOwner, isValid] : configurations) {
        std::optional<VKTError> error;
        EXPECT_EQ(AdSessionConfiguration::initWithCreativeType(creative, impression, impressionOwner,
                                                               mediaOwner, false, &error)
                      .has_value(),
                  isValid);
        EXPECT_EQ(error ? error->code() : 0, isValid ? 0 : ErrorCodeInvalidArgument);
    }

    const auto session = makeSession({});
    const std::tuple<std::shared_ptr<VKTHeadlessView>, std::string, bool> obstructions[] = {
        {nullptr, "reason", false}, {window_, "", false},           {window_, std::string(51, 'a'), false},
        {window_, "Why?", false},   {window_, "The 2nd bar", true}, {window_, "again", false}};
    for (const auto& [view, reason, isValid] : obstructions) {
        std::optional<VKTError> error;
        EXPECT_EQ(session->addFriendlyObstruction(view, FriendlyObstructionPurposeOther, reason, &error),
                  isValid);
        EXPECT_EQ(error ? error->code() : 0, isValid ? 0 : ErrorCodeInvalidArgument) << reason;
    }
    session->removeFriendlyObstruction(window_);
    EXPECT_TRUE(session->addFriendlyObstruction(window_, FriendlyObstructionPurposeOther, "again", nullptr));
}

TEST_F(Sessions, EventsOutOfPlaceAreRefusedOrDropped) {
    session_ = makeSession({"good"});
    std::optional<VKTError> error;
    const auto codeOf = [&](bool isDone) {
        const auto code = error ? error->code() : 0;
        EXPECT_EQ(isDone, code == 0);
        error.reset();
        return code;
    };
    const auto events = AdEvents::initWithAdSession(*session_, &error);
    const auto media = MediaEvents::initWithAdSession(*session_, &error);
    EXPECT_EQ(codeOf(events && media), 0);
    EXPECT_EQ(codeOf(AdEvents::initWithAdSession(*session_, &error) != nullptr), ErrorCodeWrongState);
    EXPECT_EQ(codeOf(MediaEvents::initWithAdSession(*session_, &error) != nullptr), ErrorCodeWrongState);
    session_->finish();  // before the start: nothing
    EXPECT_EQ(codeOf(events->impressionOccurred(&error)), ErrorCodeWrongState);
    session_->start();
    session_->start();
    drain();
    media->firstQuartile();  // before the impression
    EXPECT_EQ(codeOf(events->loaded(&error)), 0);
    EXPECT_EQ(codeOf(events->loaded(&error)), ErrorCodeWrongState);
    EXPECT_EQ(codeOf(events->impressionOccurred(&error)), 0);
    EXPECT_EQ(codeOf(events->impressionOccurred(&error)), ErrorCodeWrongState);
    for (const double wrong : {-0.1, 1.1, std::numeric_limits<double>::quiet_NaN()}) {
        media->startWithDuration(30, wrong);
        media->volumeChangeTo(wrong);
    }
    for (const double wrong : {0.0, -1.0, std::numeric_limits<double>::infinity()})
        media->startWithDuration(wrong, 1);
    media->midpoint();
    session_->finish();
    media->complete();
    EXPECT_EQ(codeOf(events->loaded(&error)), ErrorCodeWrongState);
    drain();
    EXPECT_EQ(sent(),
              (Texts{"http://good/sessionStart", "http://good/loaded", "http://good/impression",
                     "http://good/geometry/100/", "http://good/midpoint", "http://good/sessionFinish"}));
}

TEST_F(Sessions, GoodVendorHearsAllWhateverHappensToTheBadOne) {
    // What the bad vendor's server sends, and the failures it brings.
    const std::pair<VKTFakeHTTPAnswer, Texts> cases[] = {
        {VKTFakeHTTPAnswer::withBody("throw new Error('own');"), {"own"}},
        {VKTFakeHTTPAnswer::withBody(
             "omid3p.addEventListener('loaded', function () { for (var all = 'x';;) all += all; });"),
         {"alloc failed", "bytes of memory"}},
        {VKTFakeHTTPAnswer::withStatus(404), {"status 404"}},
        {VKTFakeHTTPAnswer::withError(VKTURLErrorTimedOut), {"-1001"}},
        {VKTFakeHTTPAnswer::withBody("\xff"), {"not UTF-8"}},
        {VKTFakeHTTPAnswer::withBody(std::string(ScriptSizeLimit + 1, ' ')), {"more than 2097152 bytes"}},
        {VKTFakeHTTPAnswer::withBody("omid3p.sendUrl('file:///etc/passwd'); omid3p.sendUrl('/relative');"),
         {}}};
    for (const auto& [answer, expected] : cases) {
        test_.HTTPSession->setAnswer("http://h/bad", answer);
        begin({"bad", "good"});
        adEvents_->loadedWithVASTProperties(VASTProperties::initWithSkipOffset(5, true, PositionPreroll),
                                            nullptr);
        adEvents_->impressionOccurred(nullptr);
        mediaEvents_->startWithDuration(30, 0.5);
        drain();
        session_->finish();
        drain();
        Texts fromGood, refused;
        for (const std::string& each : sent())
            (each.starts_with("http://good/") ? fromGood : refused).push_back(each);
        EXPECT_EQ(fromGood,
                  (Texts{"http://good/sessionStart", "http://good/loaded", "http://good/impression",
                         "http://good/geometry/100/", "http://good/start", "http://good/sessionFinish"}));
        const Texts failed = failures();
        ASSERT_EQ(failed.size(), expected.size()) << testing::PrintToString(failed);
        for (std::size_t i = 0; i < expected.size(); ++i)
            EXPECT_NE(failed[i].find(expected[i]), std::string::npos) << failed[i];
        EXPECT_EQ(refused.size(), expected.empty() ? 2U : 0U);
        advance(0.2);
        EXPECT_EQ(runtime_.registry().finishedCount(), 0U) << "the last words are said";
    }
}

TEST_F(Sessions, DataOfEventsHasTheStandardsNames) {
    serve("all", R"(
        function send(event) { omid3p.sendUrl('http://h/' + event.type + JSON.stringify(event.data)); }
        omid3p.registerSessionObserver(send, 'all');
        ['impression', 'loaded', 'geometryChange', 'media'].forEach(function (type) {
            omid3p.addEventListener(type, send);
        });)");
    test_.mainBundle->setInfoValue(VKTBundleIdentifierKey, "com.h.app");
    test_.device->setFacts({.model = "Box", .systemVersion = "4.1", .volume = 0.5});
    const auto bar = VKTHeadlessView::initWithFrame({0, 0, 1280, 180});
    const auto button = VKTHeadlessView::initWithFrame({0, 700, 20, 20});
    window_->addSubview(bar);
    window_->addSubview(button);
    session_ = makeSession({"all"});
    session_->addFriendlyObstruction(button, FriendlyObstructionPurposeCloseAd, "to close", nullptr);
    adEvents_ = AdEvents::initWithAdSession(*session_, nullptr);
    mediaEvents_ = MediaEvents::initWithAdSession(*session_, nullptr);
    runtime_.updateLastActivity();
    session_->start();
    drain();
    const auto saidData = [this] {
        Texts texts = sent();
        for (std::string& text : texts)
            text.erase(0, std::string("http://h/").size());
        return texts;
    };
    const std::string types =
        R"("mediaType":"video","creativeType":"video","impressionType":"beginToRender")";
    const std::string friendly =
        R"("obstructionClass":"VKTHeadlessView","obstructionPurpose":"closeAd","obstructionReason":"to close"})";
    EXPECT_EQ(
        saidData(),
        Texts{
            R"(sessionStart{"context":{"apiVersion":"1.0","environment":"app","accessMode":"limited",)"
            R"("adSessionType":"native","omidNativeInfo":{"partnerName":"Korvonet","partnerVersion":"1"},)"
            R"("app":{"libraryVersion":")" +
            SDK::versionString() +
            R"(","appId":"com.h.app"},"deviceInfo":{"deviceType":"Box","osVersion":"4.1"},)"
            R"("deviceCategory":"ctv","supports":["clid","vlid"],"friendlyObstructions":[{)" +
            friendly +
            R"(],"customReferenceData":"reference","lastActivity":{"timestamp":1709622489123},"omidJsInfo":{)"
            R"("omidImplementer":"VKTCoreKit","serviceVersion":")" +
            SDK::versionString() + R"("}},"supportsLoadedEvent":true,)" + types +
            R"(,"verificationParameters":"parameters"})"});

    adEvents_->loadedWithVASTProperties(VASTProperties::initWithSkipOffset(2.5, true, PositionMidroll),
                                        nullptr);
    adEvents_->impressionOccurred(nullptr);
    mediaEvents_->startWithDuration(30, 1);
    mediaEvents_->volumeChangeTo(0);
    mediaEvents_->playerStateChangeTo(PlayerStateFullscreen);
    mediaEvents_->adUserInteractionWithType(InteractionTypeAcceptInvitation);
    session_->logError("media", "broken");
    drain();
    const std::string rect = R"("x":0,"y":0,"width":1280,"height":720)";
    const std::string geometry =
        R"("viewport":{"width":1280,"height":720},"adView":{"percentageInView":75,"geometry":{)" + rect +
        R"(},"onScreenGeometry":{)" + rect +
        R"(,"obstructions":[{"x":0,"y":0,"width":1280,"height":180,"obstructionClass":"VKTHeadlessView"}],)"
        R"("friendlyObstructions":[{"x":0,"y":700,"width":20,"height":20,)" +
        friendly + R"(]},"containerGeometry":{)" + rect + R"(},"onScreenContainerGeometry":{)" + rect +
        R"(},"measuringElement":false,"reasons":["obstructed"]})";
    EXPECT_EQ(saidData(),
              (Texts{"loaded{" + types +
                         R"(,"skippable":true,"skipOffset":2.5,"autoPlay":true,)"
                         R"("position":"midroll"})",
                     "impression{" + types + "," + geometry + "}",
                     "geometryChange{" + geometry + R"(,"lastActivity":{"timestamp":1709622489123}})",
                     R"(start{"mediaPlayerVolume":1,"deviceVolume":0.5,"duration":30})",
                     R"(volumeChange{"mediaPlayerVolume":0,"deviceVolume":0.5})",
                     R"(playerStateChange{"state":"fullscreen"})",
                     R"(adUserInteraction{"interactionType":"invitationAccept"})",
                     R"(sessionError{"errorType":"media","message":"broken"})"}));
}

TEST_F(Sessions, TellsWhatChangesByItself) {
    begin({"good"});
    advance(1);
    adEvents_->impressionOccurred(nullptr);
    test_.device->setFacts({.volume = 0.5});
    mediaEvents_->startWithDuration(30, 1);
    drain();
    EXPECT_EQ(sent(), (Texts{"http://good/sessionStart", "http://good/impression",
                             "http://good/geometry/100/", "http://good/start"}));
    const auto sentAfter = [&](const std::function<void()>& change, double seconds) {
        change();
        advance(seconds);
        return sent();
    };
    const Texts half{"http://good/geometry/50/clipped"};
    EXPECT_EQ(sentAfter([&] { view_->setFrame({-640, 0, 1280, 720}); }, 0.25), half);
    EXPECT_EQ(sentAfter([] {}, 5), Texts());
    EXPECT_EQ(sentAfter([&] { test_.device->setFacts({.volume = 0.25}); }, 0.25),
              Texts{"http://good/volumeChange"});
    EXPECT_EQ(sentAfter([&] { test_.application->setApplicationState(VKTApplicationStateBackground); }, 0),
              Texts{"http://good/geometry/0/backgrounded,clipped"});
    EXPECT_EQ(sentAfter([&] { test_.application->setApplicationState(VKTApplicationStateActive); }, 0),
              Texts())
        << "not within 200 ms of the one before";
    EXPECT_EQ(sentAfter([] {}, 0.45), half);
    EXPECT_EQ(sentAfter([&] { view_->removeFromSuperview(), view_.reset(); }, 0.25),
              Texts{"http://good/geometry/0/notFound"});
    EXPECT_EQ(sentAfter([&] { session_.reset(); }, 0), Texts{"http://good/sessionFinish"});
}

TEST_F(Sessions, TimersAndRequestsOfAScriptAreBounded) {
    const auto http = std::make_shared<VKTFakeHTTPSession>(VKTFakeHTTPSession::Delivery::ByHand);
    http->setHandler([](const VKTURLRequest&) { return VKTFakeHTTPAnswer::withStatus(204); });
    http->setAnswer("http://h/many", VKTFakeHTTPAnswer::withBody(R"(
        var fired = 0, count = function () { ++fired; };
        for (var i = 0; i < 300; ++i) setTimeout(count, 0);
        omid3p.addEventListener('start', function () { setInterval(count, 1); });
        omid3p.addEventListener('pause', function () { omid3p.sendUrl('http://h/fired/' + fired); });
        omid3p.addEventListener('skipped', function () {
            fired = 0;
            for (var i = 0; i < 1034; ++i) omid3p.sendUrl('http://h/a', null, count);
        });)"));
    runtime_.setURLSession(
        VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(http)));
    begin({"many"});
    http->deliverAll();
    drain();
    EXPECT_EQ(failures().size(), 44U) << "256 timers are allowed";
    adEvents_->impressionOccurred(nullptr);
    const auto firedAfter = [&](double seconds) {
        advance(seconds);
        mediaEvents_->pause();
        drain();
        return sent().back();
    };
    EXPECT_EQ(firedAfter(0.1), "http://h/fired/256");
    mediaEvents_->startWithDuration(30, 1);
    EXPECT_EQ(firedAfter(0.1045), "http://h/fired/266") << "no timer is shorter than 10 ms";

    const auto deliverAll = [&] {
        while (http->deliverAll() > 0)
            drain();
    };
    deliverAll();
    const std::size_t before = http->requests().size();
    mediaEvents_->skipped();
    drain();
    EXPECT_EQ(http->requests().size() - before, ScriptRequestLimit);
    const Texts asked = sent();
    EXPECT_EQ(std::count(asked.begin(), asked.end(), "refused http://h/a"), 2);
    EXPECT_EQ(firedAfter(0), "refused http://h/fired/2") << "two failure callbacks; and there is no place";
    session_->finish();
    drain();
    deliverAll();
    EXPECT_EQ(http->requests().size() - before, ScriptRequestLimit + ScriptRequestWaitingLimit)
        << "what was accepted is sent, though the world has ended";
}

TEST_F(Sessions, ManySessionsShareFewWorldsAndLeaveNothing) {
    std::vector<std::shared_ptr<AdSession>> all;
    for (std::size_t i = 0; i <= ScriptLimit; ++i) {
        all.push_back(makeSession({"good"}));
        all.back()->start();
    }
    drain();
    EXPECT_EQ(failures().size(), 1U) << "the one that found no place";
    all.clear();
    drain();
    for (int i = 0; i < 200; ++i) {
        makeSession({"good", "good"})->start();  // and destroyed at once, before its script is there
        drain();
    }
    EXPECT_EQ(std::count(heard_.begin(), heard_.end(), "good sessionFinish"), std::ssize(heard_) / 2);
}

TEST_F(Sessions, AServiceScriptThatIsGarbageOrDeafIsOverAfterASecond) {
    for (const char* script : {"}{", "function omidReceive() {}", "var omidReceive = 5;"}) {
        const auto session = makeSession({"good"}, CreativeTypeNativeDisplay, script);
        session->start();
        session->finish();
        advance(0.9);
        EXPECT_EQ(runtime_.registry().finishedCount(), 1U) << script;
        advance(0.4);
        EXPECT_EQ(runtime_.registry().finishedCount(), 0U) << script;
    }
}

TEST_F(Sessions, TheFirstFailureOfAScriptIsLoggedAndAllAreObserved) {
    const auto log = VKTLog::sharedInstance();
    serve("bad", "for (var i = 0; i < 3; ++i) setTimeout('no function');");
    log->setIsDebugLoggingEnabled(true);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    begin({"bad"});
    const std::string logged =
        testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    log->setIsDebugLoggingEnabled(false);
    EXPECT_EQ(failures().size(), 3U);
    const std::string line =
        "Verification script of vendor bad, http://h/bad: setTimeout: a function is needed, not "
        "a value of type string. Lost: the call that failed; the script goes on";
    EXPECT_NE(logged.find(line), std::string::npos) << logged;
    EXPECT_EQ(logged.find("Verification script"), logged.rfind("Verification script")) << logged;
}

}  // namespace

}  // namespace OMIDKorvonet1

// Sessions with scripts in this process: what reaches the vendors' servers, and what goes wrong for whom.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/AdSession.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/omruntime/detail/EmbeddedServiceScript.h"
#include "VKTCoreKit/omruntime/detail/ScriptRequests.h"
#include "VKTCoreKit/omruntime/detail/ScriptRun.h"
#include "VKTCoreKit/omruntime/detail/SessionRegistry.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "tests/support/VKTRecordedLog.h"

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
        requestWith(test_.HTTPSession);
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

    void scriptSentURL(const ScriptIdentity&, const std::string& URL, bool isSent) override {
        sent_.push_back((isSent ? "" : "refused ") + URL);
    }
    void scriptFailed(const ScriptIdentity& script, const VKTError& error) override {
        failures_.push_back(*script.resource.vendorKey() + ": " + error.localizedDescription().value_or(""));
    }

    void scriptLost(const ScriptIdentity&, const VKTError&) override { ++lost_; }

    void requestWith(const std::shared_ptr<VKTHTTPSession>& session) {
        runtime_.setURLSession(
            VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(session)));
    }
    void serve(const std::string& vendor, std::string script) {
        test_.HTTPSession->setAnswer("http://h/" + vendor, VKTFakeHTTPAnswer::withBody(std::move(script)));
    }

    std::shared_ptr<AdSession> makeSession(const Texts& vendors, CreativeType type = CreativeTypeVideo,
                                           std::string serviceScript = std::string(embeddedServiceScript())) {
        std::vector<VerificationScriptResource> resources;
        for (const std::string& vendor : vendors) {
            const auto URL = *VKTURL::URLWithString("http://h/" + vendor);
            resources.push_back(*VerificationScriptResource::initWithURL(URL, vendor, "parameters"));
        }
        const auto partner = *Partner::initWithName("Korvonet", "1");
        const auto context = AdSessionContext::initWithPartner(
            partner, std::move(serviceScript), std::move(resources), {}, "reference", nullptr);
        const auto configuration = AdSessionConfiguration::initWithCreativeType(
            type, ImpressionTypeBeginToRender, OwnerNative, OwnerNative, false, nullptr);
        auto session = AdSession::initWithConfiguration(*configuration, context, nullptr);
        session->setMainAdView(view_);
        return session;
    }

    void prepare(const Texts& vendors) {
        session_ = makeSession(vendors);
        adEvents_ = AdEvents::initWithAdSession(*session_, &error_);
        mediaEvents_ = MediaEvents::initWithAdSession(*session_, &error_);
    }
    void begin(const Texts& vendors) {
        prepare(vendors);
        session_->start();
        drain();
    }

    void drain() { test_.mainRunLoop->drain(); }
    void advance(double seconds) { test_.mainRunLoop->advance(VKTTimeInterval(seconds)); }
    Texts sent() { return std::exchange(sent_, {}); }

    // What the good vendor's server is told.
    static Texts told(const std::string& events) {
        Texts URLs;
        for (const std::string_view event : vkt_split(events, ' '))
            URLs.push_back("http://good/" + std::string(event));
        return URLs;
    }

    // Of the error that an operation gave, or did not; its result must say the same.
    template <typename Result>
    std::int64_t codeOf(const Result& result) {
        EXPECT_EQ(static_cast<bool>(result), !error_);
        const auto error = std::exchange(error_, std::nullopt);
        return error ? error->code() : 0;
    }
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
    std::optional<VKTError> error_;
    Texts sent_, failures_;
    int lost_ = 0;
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

    constexpr std::int64_t wrong = ErrorCodeInvalidArgument;
    const Partner partner = *Partner::initWithName("n", "1");
    const auto context = [&](const std::string& script, const std::string& reference) {
        return codeOf(AdSessionContext::initWithPartner(partner, script, {}, {}, reference, &error_));
    };
    EXPECT_EQ(context("script", full), 0);
    EXPECT_EQ(context("", "reference"), wrong);
    EXPECT_EQ(context("script", full + "a"), wrong);

    const auto configuration = [&](CreativeType creative, ImpressionType impression, Owner owner) {
        return codeOf(AdSessionConfiguration::initWithCreativeType(creative, impression, owner, OwnerNative,
                                                                   false, &error_));
    };
    const auto openCreative = CreativeTypeDefinedByJavaScript;
    const auto openImpression = ImpressionTypeDefinedByJavaScript;
    EXPECT_EQ(configuration(CreativeTypeVideo, ImpressionTypeLoaded, OwnerNative), 0);
    EXPECT_EQ(configuration(openCreative, openImpression, OwnerJavaScript), 0);
    EXPECT_EQ(configuration(CreativeTypeVideo, ImpressionTypeLoaded, OwnerNone), wrong);
    EXPECT_EQ(configuration(openCreative, ImpressionTypeLoaded, OwnerNative), wrong);
    EXPECT_EQ(configuration(CreativeTypeVideo, openImpression, OwnerNative), wrong);

    const auto session = makeSession({});
    const auto obstruct = [&](const std::shared_ptr<VKTView>& view, const std::string& reason) {
        return codeOf(
            session->addFriendlyObstruction(view, FriendlyObstructionPurposeOther, reason, &error_));
    };
    EXPECT_EQ(obstruct(nullptr, "reason"), wrong);
    for (const std::string& reason : {std::string(), std::string(51, 'a'), std::string("Why?")})
        EXPECT_EQ(obstruct(window_, reason), wrong) << reason;
    EXPECT_EQ(obstruct(window_, "The 2nd bar"), 0);
    EXPECT_EQ(obstruct(window_, "again"), wrong);
    session->removeFriendlyObstruction(window_);
    EXPECT_EQ(obstruct(window_, "again"), 0);
}

TEST_F(Sessions, EventsOutOfPlaceAreRefusedOrDropped) {
    prepare({"good"});
    EXPECT_EQ(codeOf(adEvents_ && mediaEvents_), 0);
    EXPECT_EQ(codeOf(AdEvents::initWithAdSession(*session_, &error_)), ErrorCodeWrongState);
    EXPECT_EQ(codeOf(MediaEvents::initWithAdSession(*session_, &error_)), ErrorCodeWrongState);
    const auto display = makeSession({}, CreativeTypeNativeDisplay);
    EXPECT_EQ(codeOf(MediaEvents::initWithAdSession(*display, &error_)), ErrorCodeWrongOwner);
    session_->finish();  // before the start: nothing
    EXPECT_EQ(codeOf(adEvents_->impressionOccurred(&error_)), ErrorCodeWrongState);
    session_->start();
    session_->start();
    drain();
    mediaEvents_->firstQuartile();  // before the impression
    EXPECT_EQ(codeOf(adEvents_->loaded(&error_)), 0);
    EXPECT_EQ(codeOf(adEvents_->loaded(&error_)), ErrorCodeWrongState);
    EXPECT_EQ(codeOf(adEvents_->impressionOccurred(&error_)), 0);
    EXPECT_EQ(codeOf(adEvents_->impressionOccurred(&error_)), ErrorCodeWrongState);
    for (const double wrong : {-0.1, 1.1, double(NAN)}) {
        mediaEvents_->startWithDuration(30, wrong);
        mediaEvents_->volumeChangeTo(wrong);
    }
    for (const double wrong : {0.0, -1.0, double(INFINITY)})
        mediaEvents_->startWithDuration(wrong, 1);
    mediaEvents_->midpoint();
    session_->finish();
    mediaEvents_->complete();
    EXPECT_EQ(codeOf(adEvents_->loaded(&error_)), ErrorCodeWrongState);
    drain();
    EXPECT_EQ(sent(), told("sessionStart loaded impression geometry/100/ midpoint sessionFinish"));
}

TEST_F(Sessions, GoodVendorHearsAllWhateverHappensToTheBadOne) {
    // What the bad vendor's server sends, and how many failures that brings, with what in their texts.
    const auto check = [&](const VKTFakeHTTPAnswer& answer, std::size_t count, const std::string& text) {
        test_.HTTPSession->setAnswer("http://h/bad", answer);
        begin({"bad", "good"});
        adEvents_->loaded(nullptr);
        adEvents_->impressionOccurred(nullptr);
        mediaEvents_->startWithDuration(30, 0.5);
        drain();
        session_->finish();
        drain();
        EXPECT_EQ(sent(), told("sessionStart loaded impression geometry/100/ start sessionFinish"));
        const Texts failed = failures();
        EXPECT_EQ(failed.size(), count) << testing::PrintToString(failed);
        EXPECT_NE(vkt_joined(failed, " ").find(text), std::string::npos) << testing::PrintToString(failed);
        advance(0.2);
        EXPECT_EQ(runtime_.registry().finishedCount(), 0U) << "the last words are said";
    };
    const auto body = &VKTFakeHTTPAnswer::withBody;
    check(body("throw new Error('own');"), 1, "own");
    check(body("omid3p.addEventListener('loaded', function () { for (var t = 'x';;) t += t; });"), 1,
          "alloc failed");
    check(VKTFakeHTTPAnswer::withStatus(404), 1, "status 404");
    check(VKTFakeHTTPAnswer::withError(VKTURLErrorTimedOut), 1, "-1001");
    check(body(std::string(SDKLimits().scriptSizeLimit + 1, ' ')), 1, "more than 2097152 bytes");
}

TEST_F(Sessions, DataOfEventsHasTheStandardsNames) {
    serve("all", R"(
        function send(event) { omid3p.sendUrl('http://h/' + event.type + JSON.stringify(event.data)); }
        omid3p.registerSessionObserver(send, 'all');
        ['impression', 'loaded', 'geometryChange', 'media'].forEach(function (type) {
            omid3p.addEventListener(type, send);
        });)");
    test_.mainBundle->setInfoValue(VKTBundleIdentifierKey, "com.h.app");
    test_.device->setFacts({.model = "Box", .systemName = "TV", .systemVersion = "4.1", .volume = 0.5});
    const auto bar = VKTHeadlessView::initWithFrame({0, 0, 1280, 180});
    const auto button = VKTHeadlessView::initWithFrame({0, 700, 20, 20});
    window_->addSubview(bar);
    window_->addSubview(button);
    prepare({"all"});
    session_->addFriendlyObstruction(button, FriendlyObstructionPurposeCloseAd, "to close", nullptr);
    runtime_.updateLastActivity();
    session_->start();
    drain();
    const auto properties = VASTProperties::initWithSkipOffset(2.5, true, PositionMidroll);
    adEvents_->loadedWithVASTProperties(properties, nullptr);
    adEvents_->impressionOccurred(nullptr);
    mediaEvents_->startWithDuration(30, 1);
    mediaEvents_->volumeChangeTo(0);
    mediaEvents_->playerStateChangeTo(PlayerStateFullscreen);
    mediaEvents_->adUserInteractionWithType(InteractionTypeAcceptInvitation);
    session_->logError("media", "broken");
    drain();

    // What stands in more than one place, and the name that it has below.
    const std::pair<std::string, const char*> names[] = {
        {"http://h/", ""},
        {SDK::versionString(), "VERSION"},
        {"1709622489123", "NOW"},
        {R"("x":0,"y":0,"width":1280,"height":720)", "ALL"},
        {R"("mediaType":"video","creativeType":"video","impressionType":"beginToRender")", "TYPES"},
        {R"("obstructionClass":"VKTHeadlessView","obstructionPurpose":"closeAd","obstructionReason":"to close")",
         "CLOSE"},
        {R"("viewport":{"width":1280,"height":720},"adView":{"percentageInView":75,"geometry":{ALL},"onScreenGeometry":)"
         R"({ALL,"obstructions":[{"x":0,"y":0,"width":1280,"height":180,"obstructionClass":"VKTHeadlessView"}],)"
         R"("friendlyObstructions":[{"x":0,"y":700,"width":20,"height":20,CLOSE}]},"containerGeometry":{ALL},)"
         R"("onScreenContainerGeometry":{ALL},"measuringElement":false,"reasons":["obstructed"]})",
         "GEOMETRY"}};
    for (std::string& text : sent_) {
        for (const auto& [part, name] : names)
            text = vkt_replacingOccurrences(text, part, name);
    }
    const Texts expected{
        R"(sessionStart{"context":{"apiVersion":"1.0","environment":"app","accessMode":"limited","adSessionType":)"
        R"("native","omidNativeInfo":{"partnerName":"Korvonet","partnerVersion":"1"},"app":{"libraryVersion":)"
        R"("VERSION","appId":"com.h.app"},"deviceInfo":{"deviceType":"Box","os":"TV","osVersion":"4.1"},"deviceCategory":)"
        R"("ctv","supports":["clid","vlid"],"friendlyObstructions":[{CLOSE}],"customReferenceData":"reference",)"
        R"("lastActivity":{"timestamp":NOW},"omidJsInfo":{"omidImplementer":"VKTCoreKit","serviceVersion":)"
        R"("VERSION"}},"supportsLoadedEvent":true,TYPES,"verificationParameters":"parameters"})",
        R"(loaded{TYPES,"skippable":true,"skipOffset":2.5,"autoPlay":true,"position":"midroll"})",
        R"(impression{TYPES,GEOMETRY})",
        R"(geometryChange{GEOMETRY,"lastActivity":{"timestamp":NOW}})",
        R"(start{"mediaPlayerVolume":1,"deviceVolume":0.5,"duration":30})",
        R"(volumeChange{"mediaPlayerVolume":0,"deviceVolume":0.5})",
        R"(playerStateChange{"state":"fullscreen"})",
        R"(adUserInteraction{"interactionType":"invitationAccept"})",
        R"(sessionError{"errorType":"media","message":"broken"})"};
    EXPECT_EQ(sent_, expected);
}

TEST_F(Sessions, TellsWhatChangesByItself) {
    begin({"good"});
    mediaEvents_->startWithDuration(30, 1);  // before the impression: as if it had not been
    advance(1);
    adEvents_->impressionOccurred(nullptr);
    const auto sentAfter = [&](double seconds, const std::function<void()>& change) {
        if (change) change();
        advance(seconds);
        return sent();
    };
    const auto setVolume = [this](double volume) {
        return [=, this] { test_.device->setFacts({.volume = volume}); };
    };
    const auto enter = [this](auto state) {
        return [=, this] { test_.application->setApplicationState(state); };
    };
    EXPECT_EQ(sentAfter(1, setVolume(0.5)), told("sessionStart impression geometry/100/"));
    EXPECT_EQ(sentAfter(1, [&] { mediaEvents_->startWithDuration(30, 1); }), told("start"));
    EXPECT_EQ(sentAfter(0.15, [&] { view_->setFrame({-640, 0, 1280, 720}); }), Texts());
    serve("silent", ";");
    makeSession({"silent"})->start();  // another session's end does not put off the look
    EXPECT_EQ(sentAfter(0.1, {}), told("geometry/50/clipped"));
    EXPECT_EQ(sentAfter(5, {}), Texts());
    EXPECT_EQ(sentAfter(0.25, setVolume(0.25)), told("volumeChange"));
    EXPECT_EQ(sentAfter(1, setVolume(NAN)), told("volumeChange")) << "once: unknown";
    EXPECT_EQ(sentAfter(0, enter(VKTApplicationStateBackground)), told("geometry/0/backgrounded,clipped"));
    EXPECT_EQ(sentAfter(0, enter(VKTApplicationStateActive)), Texts())
        << "not within 200 ms of the one before";
    EXPECT_EQ(sentAfter(0.45, {}), told("geometry/50/clipped"));
    EXPECT_EQ(sentAfter(0.25, [&] { view_->removeFromSuperview(), view_.reset(); }),
              told("geometry/0/notFound"));
    EXPECT_EQ(sentAfter(0, [&] { session_.reset(); }), told("sessionFinish"));
}

TEST_F(Sessions, ScriptsSetTimersHearOutcomesAndLoadOtherScripts) {
    test_.HTTPSession->setAnswer("http://good/sent", VKTFakeHTTPAnswer::withStatus(204));
    serve("more", "sayer('more')();");
    serve("timers", R"(
        function sayer(what) { return function () { omid3p.sendUrl('http://good/' + what); }; }
        var often = omid3p.setInterval(sayer('often'), 15);
        setTimeout(sayer('once'), 40);
        setTimeout(function () { clearInterval(often); }, 50);
        clearTimeout(setTimeout(sayer('never'), NaN));
        omid3p.sendUrl('http://good/sent', sayer('success'), sayer('never'));
        omid3p.sendUrl('http://good/absent', sayer('never'), sayer('failure'));
        omid3p.injectJavaScriptResource('http://h/more', sayer('loaded'), sayer('never'));
        omid3p.injectJavaScriptResource('http://h/absent', null, sayer('unloaded'));)");
    begin({"timers"});
    EXPECT_EQ(sent(), told("sent absent success failure more loaded unloaded"));
    advance(1);
    EXPECT_EQ(sent(), told("often often once often"));
}

TEST_F(Sessions, TimersAndRequestsOfAScriptAreBounded) {
    using HTTP = VKTFakeHTTPSession;
    const auto http = std::make_shared<HTTP>(HTTP::Delivery::ByHand);
    http->setHandler([](const VKTURLRequest&) { return VKTFakeHTTPAnswer::withStatus(204); });
    http->setAnswer("http://h/many", VKTFakeHTTPAnswer::withBody(R"(
        var fired = 0, count = function () { ++fired; };
        omid3p.sendUrl('file:///etc/passwd');
        omid3p.sendUrl('/relative');
        for (var i = 0; i < 300; ++i) setTimeout(count, 0);
        omid3p.addEventListener('start', function () { setInterval(count, 1); });
        omid3p.addEventListener('pause', function () { omid3p.sendUrl('http://h/fired/' + fired); });
        omid3p.addEventListener('skipped', function () {
            fired = 0;
            for (var i = 0; i < 1034; ++i) omid3p.sendUrl('http://h/a', null, count);
        });)"));
    requestWith(http);
    begin({"many"});
    http->deliverAll();
    drain();
    EXPECT_EQ(failures().size(), 44U) << "256 timers are allowed";
    EXPECT_EQ(sent(), (Texts{"refused file:///etc/passwd", "refused /relative"}));
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
        return http->requests().size();
    };
    const std::size_t before = deliverAll();
    mediaEvents_->skipped();
    drain();
    EXPECT_EQ(http->requests().size() - before, SDKLimits().requestLimit);
    const Texts asked = sent();
    EXPECT_EQ(std::count(asked.begin(), asked.end(), "refused http://h/a"), 2);
    EXPECT_EQ(firedAfter(0), "refused http://h/fired/2") << "two failure callbacks; and there is no place";
    session_->finish();
    drain();
    EXPECT_EQ(deliverAll() - before, SDKLimits().requestLimit + SDKLimits().waitingRequestLimit)
        << "what was accepted is sent, though the world has ended";
}

TEST_F(Sessions, ManySessionsShareFewWorldsAndLeaveNothing) {
    std::vector<std::shared_ptr<AdSession>> all;
    for (std::size_t i = 0; i <= SDKLimits().scriptLimit; ++i) {
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
    EXPECT_EQ(failures(), Texts());
    EXPECT_EQ(std::count(sent_.begin(), sent_.end(), "http://good/sessionFinish"), 464);
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
        EXPECT_NE(failures().back().find("not handled within 1 second"), std::string::npos) << script;
    }
}

TEST_F(Sessions, TheFirstHarmlessFailureAndTheFatalOneAreEachLoggedOnceAndAllAreObserved) {
    serve("bad", R"(
        for (var i = 0; i < 3; ++i) setTimeout('no function');
        omid3p.addEventListener('impression', function () {
            for (var i = 0; i < 21000; ++i) omid3p.sendUrl('http://bad/');
        });)");
    VKTRecordedLog log;
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(true);
    begin({"bad"});
    adEvents_->impressionOccurred(nullptr);
    drain();
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(false);
    Texts lines = log.take();
    std::erase_if(lines, [](const std::string& line) { return line.find("of vendor bad") == line.npos; });
    ASSERT_EQ(lines.size(), 2U) << testing::PrintToString(lines);
    EXPECT_TRUE(lines[0].starts_with("DEBUG Verification script of vendor bad, http://h/bad: setTimeout: a"))
        << lines[0];
    EXPECT_TRUE(
        lines[1].starts_with("WARNING Verification script of vendor bad, http://h/bad: The script posts"))
        << lines[1];
    EXPECT_EQ(failures().size(), 4U);
    EXPECT_EQ(lost_, 1) << "the observer, too, tells the one from the others";
}

TEST_F(Sessions, AScriptCannotForgeALineOfTheLog) {
    VKTRecordedLog log;
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(true);
    serve("bad", "omid3p.injectJavaScriptResource('file:///a\\nforged'); throw new Error('b\\nforged');");
    begin({"bad"});
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(false);
    const std::string text = vkt_joined(log.take(), "|");
    EXPECT_NE(text.find("file:///a forged"), std::string::npos) << text;
    EXPECT_NE(text.find("b forged"), std::string::npos) << text;
}

TEST_F(Sessions, AVendorThatIsLostIsAWarningAndAMissingHostOneForAll) {
    VKTRecordedLog log;
    serve("long", std::string(SDKLimits().scriptSizeLimit + 1, ' '));
    serve("greedy", "for (var i = 0; i < 3; ++i) omid3p.injectJavaScriptResource('file:///etc/passwd');");
    begin({"long", "greedy"});
    Texts lines = log.take();
    ASSERT_EQ(lines.size(), 2U);
    std::sort(lines.begin(), lines.end());
    EXPECT_TRUE(lines[0].starts_with(
        "WARNING Verification script of vendor greedy, http://h/greedy asks for the script file:"))
        << lines[0];
    EXPECT_TRUE(
        lines[1].ends_with("(SDKLimits::scriptSizeLimit). Lost: the script measures nothing from now on"))
        << lines[1];
    session_.reset();

    runtime_.setTrustsScripts(false);
    runtime_.setScriptHostPath("/nowhere/vkt-script-host");
    auto& loop = *VKTPlatform::current().mainRunLoop;
    failures();
    begin({"good", "good"});
    while (failures_.size() < 2) {
        loop.drain();
        std::this_thread::yield();
    }
    lines = log.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines[0].find("looked at /nowhere/vkt-script-host"), std::string::npos) << lines[0];
    runtime_.setScriptHostPath("");
    runtime_.setTrustsScripts(true);
}

}  // namespace

}  // namespace OMIDKorvonet1

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <tuple>

#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManager.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultAdSession.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultProvider.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "tests/support/VKTRecordedLog.h"

namespace {

using Answer = VKTFakeHTTPAnswer;
using OptionalText = std::optional<std::string>;
using Provider = VKTOpenMeasurementManagerDefaultProvider;
using Script = VKTOpenMeasurementAdVerificationScript;
using Scripts = VKTOpenMeasurementManager::Scripts;
using Session = VKTOpenMeasurementAdSession;

const char* const address = "http://h/a/b/service.js?v=1";

// Sends each event with the plain values of its data, and the purposes of friendly obstructions.
const char* const tellingScript = R"(
function tell(event) {
  var data = event.data || {}, text = event.type, views = (data.context || {}).friendlyObstructions || [];
  for (var key in data) if (typeof data[key] !== "object") text += "," + data[key];
  views.forEach(function (view) { text += "," + view.obstructionPurpose; });
  omid3p.sendUrl("http://h/" + text);
}
omid3p.registerSessionObserver(tell, "v");
("loaded impression start firstQuartile midpoint thirdQuartile complete pause resume volumeChange skipped " +
 "playerStateChange adUserInteraction").split(" ").forEach(function (type) { omid3p.addEventListener(type, tell); });
)";

VKTURL urlOf(const std::string& text) {
    return *VKTURL::URLWithString(text);
}

struct Listener : VKTScriptDownloaderDelegate {
    void scriptDownloader(VKTScriptDownloader&, const std::string& script,
                          const std::optional<VKTURL>& baseURL) override {
        if (const auto action = std::exchange(onScript, nullptr)) action();
        heard += script + "|" + baseURL->absoluteString();
    }
    void scriptDownloader(VKTScriptDownloader&, const VKTError& error) override {
        heard += error.domain() + std::to_string(error.code()) + *error.localizedDescription();
    }

    std::string heard;
    std::function<void()> onScript;
};

// Gives the session that it was given, and keeps what is logged.
struct Runtime : VKTOpenMeasurementManagerProvider, VKTOpenMeasurementRemoteLoggerProtocol {
    std::shared_ptr<Session> sessionWithView(const std::shared_ptr<const VKTView>&, const std::string&,
                                             const Scripts&, bool, std::optional<VKTError>* error) override {
        *error = VKTError("d", 1, {{VKTLocalizedDescriptionKey, std::string("refused")}});
        return session;
    }
    void updateLastActivity() override { log += " activity"; }
    [[nodiscard]] VKTURL JSLibraryURL() const override { return urlOf("https://h/om.js?$&$1"); }
    [[nodiscard]] OptionalText embeddedLibraryScript() const override { return "library"; }
    void logOMInfoWithVendorName(const OptionalText& vendor, const OptionalText& url,
                                 std::int64_t type) override {
        log += " " + vendor.value_or("none") + ":" + url.value_or("none") + ":" + std::to_string(type);
    }
    void logOMAPIError(const std::optional<VKTError>& error, const OptionalText& vendor,
                       const OptionalText& url, std::int64_t type) override {
        logOMInfoWithVendorName(vendor, url, type);
        log += " " + error->domain();
    }

    std::shared_ptr<Session> session;
    std::string log;
};

// Answers come at once; what they bring waits until the main loop is stepped. Vendors' scripts run in this
// process.
class OpenMeasurement : public testing::Test {
  protected:
    OpenMeasurement() {
        VKTURLRequest script;
        script.url = urlOf(address);
        downloader_ = VKTScriptDownloader::initWithRequest(script, listener_, session_);
        sdk_.setTrustsScripts(true);
        sdk_.setURLSession(session_);
        test_.HTTPSession->setHandler([this](const VKTURLRequest& request) {
            told_ += request.url.path();
            return request.url.path() == "/s" ? Answer::withBody(tellingScript) : Answer::withStatus(503);
        });
    }
    ~OpenMeasurement() override { sdk_.setURLSession(VKTURLSession::sharedInstance()); }

    void answerWith(Answer answer) { test_.HTTPSession->setAnswer(address, std::move(answer)); }
    std::string heard() {
        EXPECT_EQ(listener_->heard, "") << "not before the main loop runs";
        test_.mainRunLoop->drain();
        return std::exchange(listener_->heard, {});
    }
    std::shared_ptr<Session> makeSession(const Scripts& scripts, bool isVideo) {
        return provider_->sessionWithView(view_, *provider_->embeddedLibraryScript(), scripts, isVideo,
                                          nullptr);
    }
    // The paths asked for since the last call: scripts, and what they told.
    std::string told() {
        test_.mainRunLoop->advance(VKTTimeInterval(2));
        return std::exchange(told_, {});
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    std::string told_;
    OMIDKorvonet1::SDK& sdk_ = OMIDKorvonet1::SDK::sharedInstance();
    const std::shared_ptr<VKTURLSession> session_ =
        VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(test_.HTTPSession));
    const std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
    std::shared_ptr<VKTScriptDownloader> downloader_;
    const std::shared_ptr<VKTPixelManager> pixels_ = VKTPixelManager::initWithPixelStore(
        VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>()), session_);
    const std::shared_ptr<Runtime> runtime_ = std::make_shared<Runtime>();
    const std::shared_ptr<VKTOpenMeasurementManager> manager_ = VKTOpenMeasurementManager::initWithProvider(
        runtime_, VKTOpenMeasurementJSLibrary::initWithProvider(runtime_, session_), runtime_, pixels_);
    const std::shared_ptr<Provider> provider_ = Provider::initWithFrameworkVersion("1.0");
    const std::shared_ptr<VKTHeadlessView> view_ = VKTHeadlessView::initWithFrame({});
};

TEST_F(OpenMeasurement, AScriptIsDeliveredWhateverTheStatusUnlessItIsNoText) {
    const std::string invalid = "VKTScriptDownloaderErrorDomain100The downloaded script is empty or invalid!";
    const std::pair<Answer, std::string> cases[] = {
        {Answer::withBody("s\xC3\xA9"), "s\xC3\xA9!|http://h/a/b/"},
        {{500, "s", {}, {}, urlOf("https://cdn/x/y.js?z")}, "s!|https://cdn/x/"},
        {Answer::withBody("s\xC3"), invalid},
        {Answer::withBody(""), invalid},
        {Answer::withError(VKTURLErrorTimedOut), "NSURLErrorDomain-1001scripted error"}};
    for (const auto& [answer, expected] : cases) {
        answerWith(answer);
        downloader_->loadWithScriptHandler([](const std::string& script) { return script + "!"; });
        EXPECT_EQ(heard(), expected);
        EXPECT_FALSE(downloader_->currentTask());
    }
}

TEST_F(OpenMeasurement, OnlyADownloadersLastLoadIsHeardByAListenerThatMayLoadAgainOrLetGo) {
    answerWith(Answer::withBody("first"));
    downloader_->load();
    downloader_->cancel();  // its completion waits in the main loop already
    downloader_->load();    // and so does this one's
    answerWith(Answer::withBody("second"));
    downloader_->load();
    listener_->onScript = [&] {
        downloader_->load();
        listener_->onScript = [&] { EXPECT_TRUE(downloader_->currentTask()) << "not ended by the first"; };
    };
    EXPECT_EQ(heard(), "second|http://h/a/b/second|http://h/a/b/");

    downloader_->load();
    const std::weak_ptr<VKTScriptDownloader> weak = downloader_;
    downloader_ = VKTScriptDownloader::initWithScript("s", urlOf("http://h/"), listener_, session_);
    EXPECT_TRUE(weak.expired()) << "a request under way does not hold it";
    EXPECT_EQ(heard(), "");
    listener_->onScript = [&] { downloader_.reset(); };
    downloader_->load();
    EXPECT_EQ(listener_->heard, "s|http://h/") << "a script at hand needs no request";
    VKTScriptDownloader::initWithScript("s", {}, nullptr, session_)->load();  // nobody listens
}

TEST_F(OpenMeasurement, TheLibraryDownloadsOnceAtATimeAndKeepsItsScriptAfterAFailure) {
    provider_->setJSLibraryURL(urlOf(address));
    auto library = VKTOpenMeasurementJSLibrary::initWithProvider(provider_, nullptr, session_);
    std::string ends;
    int count = 0;
    library->setJSLibraryDownloadCompleteHandler([&](bool isSuccess) {
        ends += (isSuccess ? "+" : "-") + library->libraryScript().value_or("none");
        answerWith(++count == 1 ? Answer::withBody("script") : Answer::withError(VKTURLErrorTimedOut));
        count < 3 ? library->refreshJSLibrary() : library.reset();
    });
    answerWith(Answer::withBody("\xFF"));
    library->refreshJSLibrary();
    library->refreshJSLibrary();
    EXPECT_EQ(
        vkt_debugLogOf([&] { test_.mainRunLoop->drain(); }),
        "Failed to download Open Measurement library with error: The downloaded script is empty or invalid!\n"
        "Open Measurement library did download successfully\n"
        "Failed to download Open Measurement library with error: scripted error\n");
    EXPECT_EQ(ends, "-none+script-script");
    EXPECT_EQ(test_.HTTPSession->requests().size(), 3U);
}

TEST_F(OpenMeasurement, EachJavaScriptResourceIsAnArchivableScriptAndVerificationsWithoutAnyAreReported) {
    const auto event = VKTVASTAdVerificationEvent::initWithName(
        "verificationNotExecuted", urlOf("http://h/n?r=%5BREASON%5D&%5BREASON%5D&%5bREASON%5d"));
    const auto resource = [](std::int64_t type) {
        return VKTVASTAdVerificationResource{type, urlOf("http://h/s.js"), {}, false, {}};
    };
    const VKTVASTAdVerification good{"v", {resource(0), resource(1), resource(0)}, {event}, "p"};
    const Scripts scripts(2, {urlOf("http://h/s.js"), "v", "p"});
    EXPECT_EQ(manager_->scriptsFromAdVerifications({good, {"v", {}, {event}, "p"}}), scripts);
    EXPECT_EQ(vkt_unarchivedObject<Script>(vkt_archivedData(scripts[0])), scripts[0]);
    EXPECT_NE(scripts[0], (Script{scripts[0].javascriptResourceURL, "v", "q"}));
    for (const char* key : {"javascriptResourceURL", "vendor", "verificationParameters"})
        EXPECT_TRUE(VKTKeyedArchiver::archived(scripts[0]).contains(key)) << key;
    EXPECT_TRUE(pixels_->allPixels().empty());
    EXPECT_EQ(manager_->scriptsFromAdVerifications(
                  {good, {{}, {resource(1)}, {event}, {}}, {{}, {resource(2)}, {}, {}}}),
              scripts);
    ASSERT_EQ(pixels_->allPixels().size(), 1U);
    EXPECT_EQ(pixels_->allPixels()[0]->url(), urlOf("http://h/n?r=2&2&%5bREASON%5d"));
    std::promise<void> sent;
    pixels_->callPixelsWithCompletionHandler([&] { sent.set_value(); });
    sent.get_future().wait();
    EXPECT_EQ(told(), "/n/n/n") << "a pass for each verification, and this test's";
}

TEST_F(OpenMeasurement, AVerificationOfWhichNoScriptCanRunIsReported) {
    struct NoWorld : VKTScriptExecutor {
        void evaluate(std::string, std::string) override {}
        void call(std::string, std::string) override {}
    };
    test_.platform.makeTrustedScriptExecutor = [this](const VKTScriptOptions&, VKTScriptHandlers handlers) {
        test_.mainRunLoop->post(
            [handlers] { handlers.onEnd(VKTError(VKTScriptErrorDomain, VKTScriptErrorUnavailable, {})); });
        return std::make_unique<NoWorld>();
    };
    VKTPlatform::setCurrent(test_.platform);  // until the scope ends
    const auto script = [](const std::string& URL) {
        return VKTVASTAdVerificationResource{0, urlOf(URL), {}, true, {}};
    };
    const auto event = VKTVASTAdVerificationEvent::initWithName("verificationNotExecuted",
                                                                urlOf("http://h/not?%5BREASON%5D"));
    const VKTVASTAdVerification verification{"v", {script("http://h/1"), script("http://h/2")}, {event}, "p"};
    const Scripts scripts = manager_->scriptsFromAdVerifications({verification});
    // Of one that was not started nobody knows whether it could have run.
    for (const std::size_t started : {1U, 2U}) {
        const auto session = makeSession({scripts.begin(), scripts.begin() + std::ptrdiff_t(started)}, true);
        manager_->reportUnavailableVerifications(*session, {verification});
        session->start();
        test_.mainRunLoop->drain();
        EXPECT_EQ(pixels_->allPixels().size(), started - 1);
    }
    EXPECT_EQ(pixels_->allPixels().at(0)->url(), urlOf("http://h/not?2"));
}

TEST_F(OpenMeasurement, ASessionNeedsTheLibraryAndOneScriptDrawnStandsForAllInTheLog) {
    const auto session = makeSession({}, true);
    test_.platform.random = std::make_shared<VKTFixedRandomSource>(std::vector<std::uint32_t>{1, 0, 2});
    VKTPlatform::setCurrent(test_.platform);  // until the scope ends
    const Scripts scripts{{urlOf("http://h/0"), "v0", {}}, {urlOf("http://h/1"), {}, "p"}, {{}, "v2", {}}};
    const auto request = [&] {
        EXPECT_EQ(manager_->sessionWithView(nullptr, true, scripts), runtime_->session);
    };
    EXPECT_EQ(vkt_debugLogOf(request),
              "Open Measurement library did download successfully\n"
              "Can't create Open Measurement session because the OM JS library is not ready!\n");
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(vkt_debugLogOf(request), "Unable to start Open Measurement session with view: refused\n");
    EXPECT_EQ(manager_->sessionWithView(nullptr, true, {}), nullptr);
    runtime_->session = session;
    EXPECT_EQ(vkt_debugLogOf(request), "");
    manager_->updateLastActivity();
    provider_->updateLastActivity();
    EXPECT_EQ(sdk_.lastActivity(), test_.clock->now());
    EXPECT_EQ(runtime_->log, " none:http://h/1:0 d v0:http://h/0:0 d v2:none:0 activity");
}

TEST_F(OpenMeasurement, TheScriptTagStandsBeforeEveryTagThatItIsPutTo) {
    const std::string tag = "<script src=\"https://h/om.js?$&$1\"></script>";
    const std::tuple<std::string, bool, std::string> rows[] = {
        {"</head>-</HEad><body></html>", false, tag + "</head>-" + tag + "</head><body></html>"},
        {"<html><BODY id=b></html>", false, "<html><head>" + tag + "</head><body id=b></html>"},
        {"<p></HTML>", false, "<p>" + tag + "</html>"},
        {"</head><body></html>", true, "</head><body>" + tag + "</html>"},
        {"</head><body>%@", true, "</head><body>%@" + tag},
        {"<p></html >", false, "<p></html >"},  // such a tag is found, but nothing is put before it
    };
    for (const auto& [html, isForced, expected] : rows)
        EXPECT_EQ(manager_->injectLibraryIntoHTML(html, isForced), expected);
}

TEST_F(OpenMeasurement, AScriptTagOfTheAddressThatNobodyServesIsAWarning) {
    const auto manager = VKTOpenMeasurementManager::initWithProvider(
        provider_, VKTOpenMeasurementJSLibrary::initWithProvider(provider_, session_), nullptr, pixels_);
    VKTRecordedLog log;
    EXPECT_NE(manager->injectLibraryIntoHTML("").find(VKTOpenMeasurementDefaultJSLibraryURL),
              std::string::npos);
    ASSERT_EQ(log.take().size(), 1U);
    provider_->setJSLibraryURL(urlOf("https://h/om.js"));
    EXPECT_NE(manager->injectLibraryIntoHTML("").find("https://h/om.js"), std::string::npos);
    EXPECT_TRUE(log.take().empty());
}

TEST_F(OpenMeasurement, EachCallOfASessionBecomesItsEventAndALogLine) {
    const auto session = makeSession({{urlOf("http://h/s"), "v", "p"}}, true);
    EXPECT_EQ(session->mainAdView(), view_);
    std::vector<std::shared_ptr<VKTHeadlessView>> views;
    const auto add = [&](int purpose, const OptionalText& reason) {
        views.push_back(VKTHeadlessView::initWithFrame({}));
        session->addFriendlyObstruction(views.back(), VKTOpenMeasurementFriendlyObstructionPurpose(purpose),
                                        reason);
    };
    add(0, "forgotten");
    session->removeAllFriendlyObstructions();
    for (const int purpose : {0, 1, 2, 3, 7})
        add(purpose, "overlay");
    session->removeFriendlyObstruction(views[2]);
    const std::string noReason = "Cannot add friendly obstruction because of empty detailed reason!\n";
    EXPECT_EQ(vkt_debugLogOf([&] { add(0, ""), add(0, {}); }), noReason + noReason);
    const auto expect = [&](const std::string& line, const std::string& events, auto call,
                            auto... arguments) {
        const std::string log = vkt_debugLogOf([&] { std::invoke(call, *session, arguments...); });
        EXPECT_EQ(log + told(), "Open Measurement " + line + " logged\n/" + events);
    };
    using S = Session;
    expect("session start",
           "s/sessionStart,true,video,video,beginToRender,p,mediaControls,notVisible,other,other", &S::start);
    expect("loaded event", "loaded,video,video,beginToRender,true,0,true,standalone",
           &S::loadedOccurredWithVASTProperties, VKTOpenMeasurementVASTProperties{0, true});
    expect("impression event", "impression,video,video,beginToRender", &S::impressionOccurred);
    expect("video 'start' event", "start,0.5,30", &S::videoEventStartOccurredWithDuration, 30, 0.5);
    expect("video 'volume change' event", "volumeChange,0.2", &S::videoEventVolumeChangeOccurred, 0.2);
    expect("video 'first quartile' event", "firstQuartile", &S::videoEventFirstQuartileOccurred);
    expect("video 'midpoint' event", "midpoint", &S::videoEventMidpointOccurred);
    expect("video 'third quartile' event", "thirdQuartile", &S::videoEventThirdQuartileOccurred);
    expect("video 'pause' event", "pause", &S::videoEventPauseOccurred);
    expect("video 'resume' event", "resume", &S::videoEventResumeOccurred);
    expect("video 'enter fullscreen' event", "playerStateChange,fullscreen", &S::videoEventEnterFullscreen);
    expect("video 'exit fullscreen' event", "playerStateChange,normal", &S::videoEventExitFullscreen);
    expect("video 'ad user interaction' event", "adUserInteraction,click", &S::videoEventUserInteraction);
    expect("video 'skipped' event", "skipped", &S::videoEventSkipped);
    expect("video 'complete' event", "complete", &S::videoEventCompleteOccurred);
    expect("session finish", "sessionFinish", &S::finish);
}

TEST_F(OpenMeasurement, NoScriptIsLostOverItsVendorAndDisplayAdsHaveNoVideoEvents) {
    std::shared_ptr<Session> display;
    EXPECT_EQ(vkt_debugLogOf([&] {
                  display = makeSession({{urlOf("http://h/s"), "", "p"}, {{}, "v", "p"}}, false);
                  display->videoEventMidpointOccurred();
              }),
              "");
    display->setMainAdView(nullptr);
    EXPECT_EQ(display->mainAdView(), nullptr);
    display->start();
    display->loadedOccurred();
    EXPECT_EQ(told(),
              "/s/sessionStart,true,display,nativeDisplay,beginToRender/"
              "loaded,display,nativeDisplay,beginToRender");
    const auto video = makeSession({{urlOf("http://h/s"), {}, "p"}}, true);
    video->start();
    video->loadedOccurredWithVASTProperties(VKTOpenMeasurementVASTProperties::initWithAutoPlay(false));
    EXPECT_EQ(told(),
              "/s/sessionStart,true,video,video,beginToRender/"
              "loaded,video,video,beginToRender,false,false,standalone");
}

TEST_F(OpenMeasurement, WhatTheRuntimeRefusesIsLoggedWithItsError) {
    const auto session = makeSession({}, true);
    std::optional<VKTError> error;
    std::string log = vkt_debugLogOf([&] {
        EXPECT_FALSE(provider_->sessionWithView(view_, "", {}, true, &error));
        const auto second = VKTOpenMeasurementManagerDefaultAdSession::initWithSession(
            static_cast<VKTOpenMeasurementManagerDefaultAdSession&>(*session).session(), true);
        second->impressionOccurred();
        second->loadedOccurred();
        second->videoEventMidpointOccurred();
        session->impressionOccurred();
        session->loadedOccurred();
        session->addFriendlyObstruction(nullptr, {}, "reason");
    });
    EXPECT_TRUE(error);
    for (std::size_t start; (start = log.find(": The ")) != std::string::npos;)
        log.erase(start, log.find('\n', start) - start);
    EXPECT_EQ(log,
              "Unable to instantiate Open Measurement session context\n"
              "Unable to instantiate Open Measurement ad events object\n"
              "Unable to instantiate Open Measurement video events object\n"
              "Unable to log the Open Measurement impression event\n"
              "Unable to log the Open Measurement loaded event\n"
              "Unable to add friendly obstruction view\n");
}

}  // namespace

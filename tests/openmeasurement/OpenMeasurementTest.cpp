#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <tuple>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManager.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultAdSession.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultProvider.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

namespace {

using Answer = VKTFakeHTTPAnswer;
using DefaultSession = VKTOpenMeasurementManagerDefaultAdSession;
using OptionalText = std::optional<std::string>;
using Provider = VKTOpenMeasurementManagerDefaultProvider;
using Script = VKTOpenMeasurementAdVerificationScript;
using Scripts = VKTOpenMeasurementManager::Scripts;
using Session = VKTOpenMeasurementAdSession;
using Texts = std::vector<std::string>;

const char* const address = "http://h/a/b/service.js?v=1";

VKTURL urlOf(const std::string& text) {
    return *VKTURL::URLWithString(text);
}

// What is logged at debug level while the action runs, without the lines' beginnings.
Texts messagesOf(const std::function<void()>& action) {
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(true);
    testing::internal::CaptureStdout();
    action();
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(false);
    Texts messages;
    const std::string text = testing::internal::GetCapturedStdout(), mark = "VKTCoreKit[DEBUG] ";
    for (const std::string_view line : vkt_split(text, '\n'))
        if (!line.empty()) messages.emplace_back(line.substr(line.find(mark) + mark.size()));
    return messages;
}

// Answers come at once; what they bring waits until the main loop is stepped.
class OpenMeasurement : public testing::Test {
  protected:
    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    const std::shared_ptr<VKTURLSession> session_ =
        VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(test_.HTTPSession));
    const std::shared_ptr<Provider> provider_ = Provider::initWithFrameworkVersion("1.0");
};

// ---- loading a script ----

struct Listener : VKTScriptDownloaderDelegate {
    void scriptDownloader(VKTScriptDownloader&, const std::string& script,
                          const std::optional<VKTURL>& baseURL) override {
        heard += script + "|" + baseURL->absoluteString();
        if (onScript) onScript();
    }
    void scriptDownloader(VKTScriptDownloader&, const VKTError& error) override {
        heard += error.domain() + std::to_string(error.code()) + *error.localizedDescription();
    }

    std::string heard;
    std::function<void()> onScript;
};

class ScriptLoading : public OpenMeasurement {
  protected:
    ScriptLoading() {
        VKTURLRequest request;
        request.url = urlOf(address);
        downloader_ = VKTScriptDownloader::initWithRequest(request, listener_, session_);
    }
    void answerWith(Answer answer) { test_.HTTPSession->setAnswer(address, std::move(answer)); }
    std::string heard() {
        EXPECT_EQ(listener_->heard, "") << "not before the main loop runs";
        test_.mainRunLoop->drain();
        return std::exchange(listener_->heard, {});
    }

    const std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
    std::shared_ptr<VKTScriptDownloader> downloader_;
};

TEST_F(ScriptLoading, TheBodyIsDeliveredWhateverTheStatusUnlessItIsNoText) {
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
        EXPECT_TRUE(downloader_->currentTask());
        EXPECT_EQ(heard(), expected);
        EXPECT_FALSE(downloader_->currentTask());
    }
}

TEST_F(ScriptLoading, OnlyTheLastLoadIsHeardByAListenerThatMayLoadAgainOrLetGo) {
    answerWith(Answer::withBody("first"));
    downloader_->load();
    downloader_->cancel();  // its completion waits in the main loop already
    downloader_->load();    // and so does this one's
    answerWith(Answer::withBody("second"));
    downloader_->load();
    listener_->onScript = [&] {
        listener_->onScript = nullptr;
        downloader_->load();
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
}

TEST_F(ScriptLoading, TheLibraryDownloadsOnceAtATimeAndKeepsItsScriptAfterAFailure) {
    auto embedded = VKTOpenMeasurementJSLibrary::initWithProvider(provider_, session_);
    embedded->setJSLibraryDownloadCompleteHandler([&](bool isSuccess) {
        EXPECT_TRUE(isSuccess && embedded->isReady());
        embedded.reset();
    });
    embedded->refreshJSLibrary();
    EXPECT_EQ(embedded, nullptr);

    provider_->setJSLibraryURL(urlOf(address));
    const auto library = VKTOpenMeasurementJSLibrary::initWithProvider(provider_, nullptr, session_);
    Texts ends;
    library->setJSLibraryDownloadCompleteHandler([&](bool isSuccess) {
        ends.push_back((isSuccess ? "+" : "-") + library->libraryScript().value_or("none"));
        answerWith(ends.size() == 1 ? Answer::withBody("script") : Answer::withError(VKTURLErrorTimedOut));
        if (ends.size() < 3) library->refreshJSLibrary();
    });
    answerWith(Answer::withBody("\xFF"));
    const std::string failed = "Failed to download Open Measurement library with error: ";
    EXPECT_EQ(messagesOf([&] {
                  library->refreshJSLibrary();
                  library->refreshJSLibrary();
                  test_.mainRunLoop->drain();
              }),
              (Texts{failed + "The downloaded script is empty or invalid!",
                     "Open Measurement library did download successfully", failed + "scripted error"}));
    EXPECT_EQ(ends, (Texts{"-none", "+script", "-script"}));
}

// ---- the manager ----

// Gives the session that it was given, and keeps what is logged.
struct Runtime : VKTOpenMeasurementManagerProvider, VKTOpenMeasurementRemoteLoggerProtocol {
    std::shared_ptr<Session> sessionWithView(const std::shared_ptr<const VKTView>&, const std::string&,
                                             const Scripts&, bool, std::optional<VKTError>* error) override {
        *error = VKTError("d", 1, {{VKTLocalizedDescriptionKey, std::string("refused")}});
        return session;
    }
    void updateLastActivity() override { lines.emplace_back("activity"); }
    [[nodiscard]] VKTURL JSLibraryURL() const override { return urlOf("https://h/om.js?$&$1"); }
    [[nodiscard]] OptionalText embeddedLibraryScript() const override { return "library"; }
    void logOMInfoWithVendorName(const OptionalText& vendor, const OptionalText& url,
                                 std::int64_t type) override {
        lines.push_back(vendor.value_or("none") + " " + url.value_or("none") + " " + std::to_string(type));
    }
    void logOMAPIError(const std::optional<VKTError>& error, const OptionalText& vendor,
                       const OptionalText& url, std::int64_t type) override {
        logOMInfoWithVendorName(vendor, url, type);
        lines.back() += " " + error->domain();
    }

    std::shared_ptr<Session> session;
    Texts lines;
};

class Manager : public OpenMeasurement {
  protected:
    const std::shared_ptr<VKTPixelManager> pixels_ = VKTPixelManager::initWithPixelStore(
        VKTPixelStore::initWithProvider(std::make_shared<VKTPixelStoreProvider>()), session_);
    const std::shared_ptr<Runtime> runtime_ = std::make_shared<Runtime>();
    const std::shared_ptr<VKTOpenMeasurementManager> manager_ = VKTOpenMeasurementManager::initWithProvider(
        runtime_, VKTOpenMeasurementJSLibrary::initWithProvider(runtime_, session_), runtime_, pixels_);
};

TEST_F(Manager, EachJavaScriptResourceIsAScriptAndVerificationsWithoutAnyAreReported) {
    const auto event = VKTVASTAdVerificationEvent::initWithName(
        "verificationNotExecuted", urlOf("http://h/n?r=%5BREASON%5D&%5BREASON%5D&%5bREASON%5d"));
    const auto verification = [&](const std::vector<std::int64_t>& resourceTypes) {
        VKTVASTAdVerification::Resources resources;
        for (const std::int64_t type : resourceTypes)
            resources.push_back({type, urlOf("http://h/s.js"), {}, false, {}});
        return VKTVASTAdVerification::initWithVendor("v", resources, {event}, "p");
    };
    const Script script{urlOf("http://h/s.js"), "v", "p"};
    EXPECT_EQ(manager_->scriptsFromAdVerifications({verification({0, 1, 0}), verification({})}),
              (Scripts{script, script}));
    EXPECT_TRUE(pixels_->allPixels().empty());
    const auto eventless = VKTVASTAdVerification::initWithVendor({}, verification({2}).resources, {}, {});
    EXPECT_EQ(manager_->scriptsFromAdVerifications({verification({1}), eventless}), Scripts());
    ASSERT_EQ(pixels_->allPixels().size(), 1U);
    EXPECT_EQ(pixels_->allPixels()[0]->url(), urlOf("http://h/n?r=2&2&%5bREASON%5d"));
    std::promise<void> sent;
    pixels_->callPixelsWithCompletionHandler([&] { sent.set_value(); });
    sent.get_future().wait();
    EXPECT_EQ(test_.HTTPSession->requests().size(), 3U) << "a pass for each verification, and this test's";
}

TEST_F(Manager, ASessionNeedsTheLibraryAndOneScriptDrawnStandsForAllInTheLog) {
    const auto session = provider_->sessionWithView(nullptr, "library", {}, true, nullptr);
    auto platform = test_.platform;
    platform.random = std::make_shared<VKTFixedRandomSource>(std::vector<std::uint32_t>{1, 0, 2});
    VKTPlatform::setCurrent(platform);  // until the scope ends
    const Scripts scripts{{urlOf("http://h/0"), "v0", {}}, {urlOf("http://h/1"), {}, "p"}, {{}, "v2", {}}};
    const auto request = [&] {
        EXPECT_EQ(manager_->sessionWithView(nullptr, true, scripts), runtime_->session);
    };
    EXPECT_EQ(messagesOf(request),
              (Texts{"Open Measurement library did download successfully",
                     "Can't create Open Measurement session because the OM JS library is not ready!"}));
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(messagesOf(request), Texts{"Unable to start Open Measurement session with view: refused"});
    EXPECT_EQ(manager_->sessionWithView(nullptr, true, {}), nullptr);
    runtime_->session = session;
    EXPECT_EQ(messagesOf(request), Texts());
    manager_->updateLastActivity();
    EXPECT_EQ(runtime_->lines, (Texts{"none http://h/1 0 d", "v0 http://h/0 0 d", "v2 none 0", "activity"}));
}

TEST_F(Manager, TheScriptTagStandsBeforeEveryTagThatItIsPutTo) {
    const std::string tag = "<script src=\"https://h/om.js?$&$1\"></script>";
    const std::tuple<std::string, bool, std::string> rows[] = {
        {"</head>-</HEad><body></html>", false, tag + "</head>-" + tag + "</head><body></html>"},
        {"<html><BODY id=b></html>", false, "<html><head>" + tag + "</head><body id=b></html>"},
        {"<p></HTML>", false, "<p>" + tag + "</html>"},
        {"</head><body></html>", true, "</head><body>" + tag + "</html>"},
        {"</head><body>", true, "</head><body>" + tag},
        {"<p>\xC3\x89%@", false, "<p>\xC3\x89%@" + tag},
        {"<p></html >", false, "<p></html >"},  // such a tag is found, but nothing is put before it
    };
    for (const auto& [html, isForced, expected] : rows)
        EXPECT_EQ(manager_->injectLibraryIntoHTML(html, isForced), expected);
}

TEST(VerificationScript, IsArchivedUnderItsKeysAndComparesAllFields) {
    const Script full{urlOf("http://h/s.js"), "v", "p"};
    for (const Script& script : {full, Script{}, Script{full.javascriptResourceURL, "v", "q"}}) {
        EXPECT_EQ(vkt_unarchivedObject<Script>(vkt_archivedData(script)), script);
        EXPECT_EQ(script == full, script.verificationParameters == "p");
    }
    VKTKeyedArchiver coder;
    coder.encodeURL("javascriptResourceURL", full.javascriptResourceURL);
    coder.encodeString("vendor", "v");
    coder.encodeString("verificationParameters", "p");
    EXPECT_EQ(VKTKeyedArchiver::archived(full), coder.values());
}

// ---- sessions of the built-in runtime ----

// Sends each event with the plain values of its data, and the purposes of friendly obstructions.
const char* const tellingScript = R"(
function tell(event) {
  var data = event.data || {}, text = event.type, views = data.context && data.context.friendlyObstructions || [];
  for (var key in data) if (typeof data[key] !== "object") text += "," + data[key];
  for (var i = 0; i < views.length; ++i) text += "," + views[i].obstructionPurpose;
  omid3p.sendUrl("http://h/" + text);
}
omid3p.registerSessionObserver(tell, "v");
["loaded", "impression", "start", "firstQuartile", "midpoint", "thirdQuartile", "complete", "pause", "resume",
 "volumeChange", "skipped", "playerStateChange", "adUserInteraction"].forEach(function (type) {
  omid3p.addEventListener(type, tell);
});
)";

// Vendor scripts run in this process.
class DefaultProvider : public OpenMeasurement {
  protected:
    DefaultProvider() {
        runtime_.setTrustsScripts(true);
        runtime_.setURLSession(session_);
        test_.HTTPSession->setHandler([this](const VKTURLRequest& request) {
            told_ += request.url.path();
            return Answer::withBody(tellingScript);
        });
    }
    ~DefaultProvider() override { runtime_.setURLSession(VKTURLSession::sharedInstance()); }

    std::shared_ptr<Session> makeSession(const Scripts& scripts, bool isVideo) {
        return provider_->sessionWithView(view_, *provider_->embeddedLibraryScript(), scripts, isVideo,
                                          nullptr);
    }
    // The paths asked for since the last call: scripts, and what they told.
    std::string told() {
        test_.mainRunLoop->advance(VKTTimeInterval(2));
        return std::exchange(told_, {});
    }

    OMIDKorvonet1::SDK& runtime_ = OMIDKorvonet1::SDK::sharedInstance();
    const std::shared_ptr<VKTHeadlessView> view_ = VKTHeadlessView::initWithFrame({});
    std::string told_;
};

TEST_F(DefaultProvider, EachCallBecomesItsEventAndALogLine) {
    const auto session = makeSession({{urlOf("http://h/s"), "v", "p"}}, true);
    ASSERT_TRUE(session);
    EXPECT_EQ(session->mainAdView(), view_);
    std::vector<std::shared_ptr<VKTHeadlessView>> views;
    const auto add = [&](int purpose, const OptionalText& reason) {
        views.push_back(VKTHeadlessView::initWithFrame({}));
        session->addFriendlyObstruction(
            views.back(), static_cast<VKTOpenMeasurementFriendlyObstructionPurpose>(purpose), reason);
    };
    const std::string noReason = "Cannot add friendly obstruction because of empty detailed reason!";
    EXPECT_EQ(messagesOf([&] {
                  add(0, "forgotten");
                  session->removeAllFriendlyObstructions();
                  for (const int purpose : {0, 1, 2, 3, 7})
                      add(purpose, "overlay");
                  session->removeFriendlyObstruction(views[2]);
                  add(0, "");
                  add(0, std::nullopt);
              }),
              (Texts{noReason, noReason}));
    const auto properties = VKTOpenMeasurementVASTProperties::initWithSkipOffset(0, true);
    const std::tuple<std::function<void(Session&)>, std::string, std::string> rows[] = {
        {&Session::start, "session start",
         "/s/sessionStart,true,video,video,beginToRender,p,mediaControls,notVisible,other,other"},
        {[&](auto& s) { s.loadedOccurredWithVASTProperties(properties); }, "loaded event",
         "/loaded,video,video,beginToRender,true,0,true,standalone"},
        {&Session::impressionOccurred, "impression event", "/impression,video,video,beginToRender"},
        {[](auto& s) { s.videoEventStartOccurredWithDuration(30, 0.5); }, "video 'start' event",
         "/start,0.5,30"},
        {[](auto& s) { s.videoEventVolumeChangeOccurred(0.2); }, "video 'volume change' event",
         "/volumeChange,0.2"},
        {&Session::videoEventFirstQuartileOccurred, "video 'first quartile' event", "/firstQuartile"},
        {&Session::videoEventMidpointOccurred, "video 'midpoint' event", "/midpoint"},
        {&Session::videoEventThirdQuartileOccurred, "video 'third quartile' event", "/thirdQuartile"},
        {&Session::videoEventPauseOccurred, "video 'pause' event", "/pause"},
        {&Session::videoEventResumeOccurred, "video 'resume' event", "/resume"},
        {&Session::videoEventEnterFullscreen, "video 'enter fullscreen' event",
         "/playerStateChange,fullscreen"},
        {&Session::videoEventExitFullscreen, "video 'exit fullscreen' event", "/playerStateChange,normal"},
        {&Session::videoEventUserInteraction, "video 'ad user interaction' event",
         "/adUserInteraction,click"},
        {&Session::videoEventSkipped, "video 'skipped' event", "/skipped"},
        {&Session::videoEventCompleteOccurred, "video 'complete' event", "/complete"},
        {&Session::finish, "session finish", "/sessionFinish"},
    };
    for (const auto& [call, name, events] : rows) {
        EXPECT_EQ(messagesOf([&, &call = call] { call(*session); }),
                  Texts{"Open Measurement " + name + " logged"});
        EXPECT_EQ(told(), events);
    }
}

TEST_F(DefaultProvider, NoScriptIsLostOverItsVendorAndDisplayAdsHaveNoVideoEvents) {
    const auto session = makeSession({{urlOf("http://h/s"), "", "p"}, {{}, "v", "p"}}, false);
    EXPECT_EQ(messagesOf([&] { session->videoEventMidpointOccurred(); }), Texts());
    session->start();
    session->loadedOccurredWithVASTProperties(VKTOpenMeasurementVASTProperties::initWithAutoPlay(false));
    session->videoEventStartOccurredWithDuration(1, 1);
    EXPECT_EQ(told(),
              "/s/sessionStart,true,display,nativeDisplay,beginToRender"
              "/loaded,display,nativeDisplay,beginToRender,false,false,standalone");
}

TEST_F(DefaultProvider, WhatTheRuntimeRefusesIsLoggedWithItsError) {
    std::optional<VKTError> error;
    EXPECT_EQ(messagesOf([&] { EXPECT_FALSE(provider_->sessionWithView(view_, "", {}, true, &error)); }),
              Texts{"Unable to instantiate Open Measurement session context"});
    EXPECT_TRUE(error);
    EXPECT_FALSE(Provider::initWithFrameworkVersion("1.0", ""));

    const auto session = std::static_pointer_cast<DefaultSession>(makeSession({}, true));
    const auto messages = messagesOf([&] {
        const auto second = DefaultSession::initWithSession(session->session(), true);
        second->impressionOccurred();
        second->loadedOccurred();
        second->videoEventMidpointOccurred();
        session->impressionOccurred();
        session->loadedOccurred();
        session->addFriendlyObstruction(nullptr, {}, "reason");
    });
    const std::string beginnings[] = {
        "instantiate Open Measurement ad events object: ",
        "instantiate Open Measurement video events object: ", "log the Open Measurement impression event: ",
        "log the Open Measurement loaded event: ", "add friendly obstruction view: "};
    ASSERT_EQ(messages.size(), std::size(beginnings));
    for (std::size_t i = 0; i < messages.size(); ++i) {
        EXPECT_TRUE(messages[i].starts_with("Unable to " + beginnings[i])) << messages[i];
        EXPECT_FALSE(messages[i].ends_with("(null)"));
    }
}

}  // namespace

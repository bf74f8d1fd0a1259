#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultProvider.h"

#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerDefaultAdSession.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "tests/openmeasurement/Fakes.h"

namespace {

using Provider = VKTOpenMeasurementManagerDefaultProvider;
using Session = VKTOpenMeasurementAdSession;
using Scripts = Provider::Scripts;

// Sends every event, with those of its data that are listed here.
const char* const tellingScript = R"(
var types = ["loaded", "impression", "start", "firstQuartile", "midpoint", "thirdQuartile", "complete", "pause",
             "resume", "volumeChange", "skipped", "playerStateChange", "adUserInteraction"];
var keys = ["skippable", "skipOffset", "autoPlay", "position", "creativeType", "impressionType", "duration", "mediaPlayerVolume",
            "state", "interactionType"];
function tell(event) {
  var text = event.type;
  for (var i = 0; i < keys.length; ++i) {
    if (event.data && event.data[keys[i]] !== undefined) text += "," + event.data[keys[i]];
  }
  var purposes = event.data && event.data.context && event.data.context.friendlyObstructions || [];
  for (var j = 0; j < purposes.length; ++j) text += "," + purposes[j].obstructionPurpose;
  omid3p.sendUrl("http://h/" + text);
}
omid3p.registerSessionObserver(tell, "v");
for (var i = 0; i < types.length; ++i) omid3p.addEventListener(types[i], tell);
)";

// Vendor scripts run in this process; answers come at once, the main loop is stepped.
class DefaultProvider : public testing::Test {
  protected:
    DefaultProvider() {
        runtime_.setTrustsScripts(true);
        runtime_.setURLSession(VKTURLSession::initWithSessionProvider(
            VKTURLSessionProvider::initWithSession(test_.HTTPSession)));
        test_.HTTPSession->setHandler([](const auto&) { return VKTFakeHTTPAnswer::withBody(tellingScript); });
    }
    ~DefaultProvider() override { runtime_.setURLSession(VKTURLSession::sharedInstance()); }

    std::shared_ptr<Session> makeSession(const Scripts& scripts, bool isVideo) {
        return provider_->sessionWithView(view_, *provider_->embeddedLibraryScript(), scripts, isVideo,
                                          nullptr);
    }
    // The paths asked for since the last call: scripts, and what they told.
    Texts told() {
        test_.mainRunLoop->advance(VKTTimeInterval(2));
        Texts paths;
        for (const VKTURLRequest& request : test_.HTTPSession->requests())
            paths.emplace_back(request.url.path());
        paths.erase(paths.begin(), paths.begin() + static_cast<std::ptrdiff_t>(heard_));
        heard_ += paths.size();
        return paths;
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    OMIDKorvonet1::SDK& runtime_ = OMIDKorvonet1::SDK::sharedInstance();
    const std::shared_ptr<Provider> provider_ = Provider::initWithFrameworkVersion("1.0");
    const std::shared_ptr<VKTHeadlessView> view_ = VKTHeadlessView::initWithFrame({});
    std::size_t heard_ = 0;
};

TEST_F(DefaultProvider, EachCallBecomesItsEventAndALogLine) {
    const auto session = makeSession({{urlOf("http://h/s"), "v", "p"}}, true);
    ASSERT_TRUE(session);
    EXPECT_EQ(session->mainAdView(), view_);
    const auto expect = [&](auto call, const Texts& messages, const Texts& events) {
        EXPECT_EQ(messagesOf(call), messages);
        EXPECT_EQ(told(), events);
    };
    const std::string noReason = "Cannot add friendly obstruction because of empty detailed reason!";
    const auto other = VKTHeadlessView::initWithFrame({});
    constexpr auto unknownPurpose = VKTOpenMeasurementFriendlyObstructionPurpose(7);
    expect(
        [&] {
            session->addFriendlyObstruction(other, {}, "");
            session->addFriendlyObstruction(other, {}, std::nullopt);
            session->addFriendlyObstruction(other, unknownPurpose, "overlay");
            session->addFriendlyObstruction(view_, {}, "controls");
        },
        {noReason, noReason}, {});
    expect([&] { session->start(); }, {"Open Measurement session start logged"},
           {"/s", "/sessionStart,video,beginToRender,other,mediaControls"});
    expect(
        [&] {
            session->loadedOccurredWithVASTProperties({0, true});
        },
        {"Open Measurement loaded event logged"}, {"/loaded,true,0,true,standalone,video,beginToRender"});
    expect([&] { session->impressionOccurred(); }, {"Open Measurement impression event logged"},
           {"/impression,video,beginToRender"});
    expect([&] { session->videoEventStartOccurredWithDuration(30, 0.5); },
           {"Open Measurement video 'start' event logged"}, {"/start,30,0.5"});
    expect([&] { session->videoEventVolumeChangeOccurred(0.25); },
           {"Open Measurement video 'volume change' event logged"}, {"/volumeChange,0.25"});
    struct Row {
        void (Session::*call)();
        std::string name;
        std::string event;
    };
    const Row rows[] = {
        {&Session::videoEventFirstQuartileOccurred, "first quartile", "/firstQuartile"},
        {&Session::videoEventMidpointOccurred, "midpoint", "/midpoint"},
        {&Session::videoEventThirdQuartileOccurred, "third quartile", "/thirdQuartile"},
        {&Session::videoEventPauseOccurred, "pause", "/pause"},
        {&Session::videoEventResumeOccurred, "resume", "/resume"},
        {&Session::videoEventEnterFullscreen, "enter fullscreen", "/playerStateChange,fullscreen"},
        {&Session::videoEventExitFullscreen, "exit fullscreen", "/playerStateChange,normal"},
        {&Session::videoEventUserInteraction, "ad user interaction", "/adUserInteraction,click"},
        {&Session::videoEventSkipped, "skipped", "/skipped"},
        {&Session::videoEventCompleteOccurred, "complete", "/complete"},
    };
    for (const Row& row : rows) {
        expect([&] { ((*session).*row.call)(); }, {"Open Measurement video '" + row.name + "' event logged"},
               {row.event});
    }
    expect([&] { session->finish(); }, {"Open Measurement session finish logged"}, {"/sessionFinish"});
}

TEST_F(DefaultProvider, NoScriptIsLostOverItsVendorAndDisplayAdsHaveNoVideoEvents) {
    const auto session =
        makeSession({{urlOf("http://h/0"), "", "p"}, {{}, "v", "p"}, {urlOf("http://h/1"), "v", ""}}, false);
    ASSERT_TRUE(session);
    EXPECT_EQ(messagesOf([&] { session->videoEventMidpointOccurred(); }), Texts());
    session->start();
    session->loadedOccurredWithVASTProperties(VKTOpenMeasurementVASTProperties::initWithAutoPlay(false));
    session->videoEventStartOccurredWithDuration(1, 1);
    Texts heard = told();
    std::sort(heard.begin(), heard.end());
    EXPECT_EQ(heard, (Texts{"/0", "/1", "/loaded,false,false,standalone,nativeDisplay,beginToRender",
                            "/loaded,false,false,standalone,nativeDisplay,beginToRender",
                            "/sessionStart,nativeDisplay,beginToRender",
                            "/sessionStart,nativeDisplay,beginToRender"}));
}

TEST_F(DefaultProvider, WhatTheRuntimeRefusesIsLoggedWithItsError) {
    std::optional<VKTError> error;
    EXPECT_EQ(messagesOf([&] { EXPECT_FALSE(provider_->sessionWithView(view_, "", {}, true, &error)); }),
              Texts{"Unable to instantiate Open Measurement session context"});
    EXPECT_TRUE(error);
    EXPECT_FALSE(Provider::initWithFrameworkVersion("1.0", ""));

    const auto session =
        std::static_pointer_cast<VKTOpenMeasurementManagerDefaultAdSession>(makeSession({}, true));
    const auto messages = messagesOf([&] {
        const auto second =
            VKTOpenMeasurementManagerDefaultAdSession::initWithSession(session->session(), true);
        second->impressionOccurred();
        second->loadedOccurred();
        second->videoEventMidpointOccurred();
        session->impressionOccurred();
        session->loadedOccurred();
        session->addFriendlyObstruction(nullptr, {}, "reason");
    });
    const char* const beginnings[] = {
        "Unable to instantiate Open Measurement ad events object: ",
        "Unable to instantiate Open Measurement video events object: ",
        "Unable to log the Open Measurement impression event: ",
        "Unable to log the Open Measurement loaded event: ",
        "Unable to add friendly obstruction view: ",
    };
    ASSERT_EQ(messages.size(), std::size(beginnings));
    for (std::size_t i = 0; i < messages.size(); ++i) {
        EXPECT_TRUE(messages[i].starts_with(beginnings[i])) << messages[i];
        EXPECT_FALSE(messages[i].ends_with("(null)"));
    }

    provider_->setJSLibraryURL(urlOf("https://h/certified.js"));
    EXPECT_EQ(provider_->JSLibraryURL(), urlOf("https://h/certified.js"));
    EXPECT_FALSE(provider_->embeddedLibraryScript()) << "the configured one takes its place";
}

}  // namespace

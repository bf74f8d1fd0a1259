// Honest scripts as vendors write them: whatever their habits, their servers are told everything.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/AdSession.h"
#include "VKTCoreKit/omruntime/EmbeddedServiceScript.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/omruntime/SessionRegistry.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

namespace OMIDKorvonet1 {

namespace {

using Texts = std::vector<std::string>;

constexpr const char* everything = "sessionStart loaded impression start complete sessionFinish";

// When the vendor's server answers the request for the script.
enum Arrival : std::uint8_t { AtOnce, AfterTheLastEvent, AfterTheFinish, Never };

class VendorHabits : public testing::Test, public MeasurementObserver {
  protected:
    VendorHabits() {
        runtime_.activate();
        runtime_.setTrustsScripts(true);
        runtime_.setURLSession(
            VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(HTTP_)));
        runtime_.setObserver(std::shared_ptr<MeasurementObserver>(owner_, this));
        HTTP_->setHandler([](const VKTURLRequest&) { return VKTFakeHTTPAnswer::withStatus(204); });
        // Loaded by others: what it sends are the types of events.
        serve("main", R"(
            function send(event) { omid3p.sendUrl('http://v/' + event.type); }
            omid3p.registerSessionObserver(send);
            ['loaded', 'impression', 'media'].forEach(function (type) { omid3p.addEventListener(type, send); });)");
    }
    ~VendorHabits() override {
        advance(2);
        runtime_.setURLSession(VKTURLSession::sharedInstance());
    }

    void scriptSentURL(const ScriptIdentity&, const std::string& URL, bool) override {
        beacons_.push_back(URL.substr(std::string_view("http://v/").size()));
    }
    void scriptFailed(const ScriptIdentity&, const VKTError& error) override {
        failures_.push_back(error.localizedDescription().value_or(""));
    }

    void serve(const std::string& name, std::string script) {
        HTTP_->setAnswer("http://h/" + name, VKTFakeHTTPAnswer::withBody(std::move(script)));
    }
    void drain() { test_.mainRunLoop->drain(); }
    void advance(double seconds) { test_.mainRunLoop->advance(VKTTimeInterval(seconds)); }
    // Answers what is asked for.
    void answer() {
        do
            drain();
        while (HTTP_->deliverAll() > 0);
    }

    // Plays an ad of a second, with its view measured once. Leaves the session in its last second.
    void play(Arrival arrival) {
        const auto resource = VerificationScriptResource::initWithURL(
            *VKTURL::URLWithString("http://h/vendor"), "vendor", "parameters");
        const auto context = AdSessionContext::initWithPartner(*Partner::initWithName("Korvonet", "1"),
                                                               std::string(embeddedServiceScript()),
                                                               {*resource}, {}, "reference", nullptr);
        const auto configuration = AdSessionConfiguration::initWithCreativeType(
            CreativeTypeVideo, ImpressionTypeBeginToRender, OwnerNative, OwnerNative, false, nullptr);
        const auto session = AdSession::initWithConfiguration(*configuration, context, nullptr);
        const auto adEvents = AdEvents::initWithAdSession(*session, nullptr);
        const auto mediaEvents = MediaEvents::initWithAdSession(*session, nullptr);
        const auto moment = [&](Arrival now) {
            if (arrival <= now) answer();
            drain();
        };
        session->start();
        moment(AtOnce);
        adEvents->loaded(nullptr);
        adEvents->impressionOccurred(nullptr);
        mediaEvents->startWithDuration(1, 1);
        moment(AtOnce);
        advance(1);
        mediaEvents->complete();
        moment(AfterTheLastEvent);
        session->finish();
        advance(0.1);
        moment(AfterTheFinish);
        advance(0.5);
        moment(AfterTheFinish);
    }

    // What the server of the vendor is told.
    std::string told(const std::string& script, Arrival arrival) {
        serve("vendor", script);
        play(arrival);
        advance(0.6);
        EXPECT_EQ(runtime_.registry().finishedCount(), 0U);
        EXPECT_EQ(std::exchange(failures_, {}), Texts());
        return vkt_joined(std::exchange(beacons_, {}), " ");
    }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    const std::shared_ptr<int> owner_ = std::make_shared<int>();  // of the fixture as an observer
    SDK& runtime_ = SDK::sharedInstance();
    const std::shared_ptr<VKTFakeHTTPSession> HTTP_ =
        std::make_shared<VKTFakeHTTPSession>(VKTFakeHTTPSession::Delivery::ByHand);
    Texts beacons_, failures_;
};

struct Habit {
    const char* name;
    std::string script;
};

// How scripts send and how they register; the bundles beside this file are what build tools make of such.
std::vector<Habit> habits() {
    const std::string send = "function send(event) { omid3p.sendUrl('http://v/' + event.type); }";
    const std::string listen =
        "['loaded', 'impression', 'media'].forEach(function (type) { omid3p.addEventListener(type, send); "
        "});";
    const std::string observe = "omid3p.registerSessionObserver(send);";
    return {
        {"sends at once", send + observe + listen},
        {"registers listeners first", send + listen + observe},
        {"registers in sessionStart", send +
                                          "omid3p.registerSessionObserver(function (event) { send(event); if "
                                          "(event.type === 'sessionStart') {" +
                                          listen + "} });"},
        {"listens to session events",
         send + listen +
             "['sessionFinish', 'sessionError', 'sessionStart'].forEach(function (type) { "
             "omid3p.addEventListener(type, send); });"},
        {"registers in a timer", send + "setTimeout(function () {" + listen + observe + "}, 20);"},
        {"queues for a timer",
         "function send(event) { setTimeout(function () { omid3p.sendUrl('http://v/' + event.type); }, 0); "
         "}" +
             observe + listen},
        {"sends with arguments of the timer",
         "function send(event) { setTimeout(omid3p.sendUrl, 0, 'http://v/' + event.type); }" + observe +
             listen},
        {"sends its queue at intervals",
         "var queue = []; function send(event) { queue.push('http://v/' + event.type); }"
         "setInterval(function () { queue.splice(0).forEach(function (url) { omid3p.sendUrl(url); }); }, "
         "100);" +
             observe + listen},
        {"sends one after the other",
         "var queue = [], busy = false; function send(event) { queue.push('http://v/' + event.type); next(); "
         "}"
         "function done() { busy = false; next(); }"
         "function next() { if (!busy && queue.length) { busy = true; omid3p.sendUrl(queue.shift(), done, "
         "done); } }" +
             observe + listen},
        {"loads its main script", "omid3p.injectJavaScriptResource('http://h/main');"},
        {"loads its main script when it is ready",
         "setTimeout(function () { omid3p.injectJavaScriptResource('http://h/main', function () {}); }, 0);"},
        {"writes to a console",
         "function send(event) { console.log('heard', event); console.warn('%s', event.type);"
         "omid3p.sendUrl('http://v/' + event.type); }" +
             observe + listen},
        {"begins with a byte order mark", "\xef\xbb\xbf" + send + observe + listen},
        {"is written in Latin-1", "// \xa9 caf\xe9\n" + send +
                                      "if ('\xe9\x80'.length === 2 && '\x80' === '\\u20ac') {" + observe +
                                      listen + "}"}};
}

TEST_F(VendorHabits, EverythingIsHeardInOrderWheneverTheScriptArrives) {
    for (const Habit& habit : habits()) {
        for (const Arrival arrival : {AtOnce, AfterTheLastEvent, AfterTheFinish})
            EXPECT_EQ(told(habit.script, arrival), everything) << habit.name << ", arrival " << arrival;
    }
}

}  // namespace

}  // namespace OMIDKorvonet1

// Honest scripts as vendors write them: whatever their habits, their servers are told everything.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/AdSession.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/omruntime/detail/EmbeddedServiceScript.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "tests/support/VKTRecordedLog.h"
#include "tests/support/VKTTestPaths.h"

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

    void scriptEnded(const ScriptIdentity&) override { lasted_ = now() - finishedAt_; }

    std::chrono::nanoseconds now() const { return test_.platform.clock->monotonicNow(); }
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

    // Plays an ad of a second, and leaves its session in its last one.
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
        finishedAt_ = now();
        drain();
    }

    // What the server of the vendor is told.
    std::string told(const std::string& script, Arrival arrival) {
        serve("vendor", script);
        play(arrival);
        for (int i = 0; i < 10; ++i) {
            advance(0.1);
            answer();
        }
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
    std::chrono::nanoseconds finishedAt_{0}, lasted_{0};  // of the session, and its script after that
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
        {"registers in a listener",
         send + "omid3p.addEventListener('complete', function () {" + listen + observe + "});"},
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

TEST_F(VendorHabits, ABundleIsHeardToo) {
    std::ifstream file(std::string(VKTTestPaths::sourceFolder) + "/tests/omruntime/bundle.js");
    const std::string bundle(std::istreambuf_iterator<char>(file), {});
    EXPECT_EQ(told(bundle, AfterTheLastEvent), everything);
}

TEST_F(VendorHabits, AWorldEndsWhenAllIsSaidOrAtTheLimitWhichIsNoFailure) {
    const std::string atFinish =
        "omid3p.registerSessionObserver(function (event) { if (event.type === 'sessionFinish') ";
    struct Case {
        const char* name;
        std::string script;
        double seconds;  // from the finish, or up to a tick more
        const char* failure;
    };
    const std::vector<Case> cases = {
        {"nothing is pending", ";", 0, ""},
        {"a timer", atFinish + "setTimeout(function () {}, 500); });", 0.5, ""},
        {"timers one after the other", atFinish + "setTimeout(setTimeout, 300, setTimeout, 300, isNaN); });",
         0.6, ""},
        {"a timer after the limit", atFinish + "setTimeout(function () {}, 1500); });", 0, ""},
        {"a timer for ever", atFinish + "setTimeout(omid3p.sendUrl, 2147483647, 'http://v/fired'); });", 0,
         ""},
        {"a timer that is cleared", atFinish + "clearTimeout(setTimeout(isNaN, 500)); });", 0, ""},
        {"a timer that repeats", "setInterval(function () {}, 10);", 1, ""},
        {"an answer that does not come", atFinish + "omid3p.sendUrl('http://v/', isNaN); });", 1, ""},
        {"nobody waits for the answer", atFinish + "omid3p.sendUrl('http://v/'); });", 0, ""},
        {"a script that does not come", atFinish + "omid3p.injectJavaScriptResource('http://h/main'); });", 1,
         ""},
        {"no script", "", 1, "within 1 second the script had not arrived"}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        serve("vendor", each.script);
        play(each.script.empty() ? Never : AtOnce);
        advance(2);
        const double lasted = std::chrono::duration<double>(lasted_).count();
        EXPECT_TRUE(lasted >= each.seconds && lasted <= each.seconds + 0.2) << lasted;
        const std::string failure = vkt_joined(failures_, "; ");
        EXPECT_NE(failure.find(each.failure), std::string::npos) << failure;
        EXPECT_EQ(failure.empty(), std::string(each.failure).empty()) << failure;
        EXPECT_EQ(std::count(beacons_.begin(), beacons_.end(), "fired"), 0);
        failures_.clear();
    }
}

TEST_F(VendorHabits, WhatES5ScriptsExpectIsThere) {
    const std::vector<std::pair<const char*, const char*>> cases = {
        {"self === globalThis && typeof window + typeof document", "undefinedundefined"},
        {"Function('return this')() === self", "true"},
        {"btoa('a') + btoa('ab') + btoa('abc') + btoa('\\xff')", "YQ==YWI=YWJj/w=="},
        {"atob('YQ==') + atob('YWI') + atob(' YWJj\\n') + atob('')", "aababc"},
        {"[atob, btoa].map(function (f) { try { return f('\\u0100'); } catch (e) { return e.name; } })",
         "RangeError,RangeError"},
        {"Date.parse('Sun, 22 Nov 2026 09:00:00 GMT')", "1795338000000"},
        {"+new Date('22 nov 2026 09:00 -0130')", "1795343400000"},
        {"Date.parse('Sun, 22 Foo 2026 09:00:00 GMT')", "NaN"},
        {"Date.parse('2026-11-22T09:00:00Z') - Date.UTC(2026, 10, 22, 9)", "0"},
        {"new Date(2026, 10).getMonth() + typeof Date() + typeof Date.now() + new Date(7).getTime()",
         "10stringnumber7"},
        {"new Date() instanceof Date && new Date().constructor === Date && Date.name", "Date"},
        {"new Uint8Array([1, 257])[1] + JSON.stringify({a: [1]})", R"(1{"a":[1]})"}};
    std::string script;
    std::string expected;
    for (const auto& [expression, value] : cases) {
        script += "omid3p.sendUrl('http://v/' + (" + std::string(expression) + "));\n";
        expected += std::string(value) + '\n';
    }
    serve("vendor", script);
    play(AtOnce);
    EXPECT_EQ(vkt_joined(beacons_, "\n") + '\n', expected);
    EXPECT_EQ(failures_, Texts());
}

TEST_F(VendorHabits, TheConsoleIsTheLogAndBounded) {
    serve("vendor", R"(
        var circle = {}, long = new Array(2e4).join('long');
        circle.circle = circle;
        console.warn('text', 1, {a: [null]}, undefined, new Error('e'), circle, {toString: null});
        console.log(long, long);
        for (var i = 0; i < 1000; ++i) console.debug('more');)");
    const std::string log = vkt_debugLogOf([&] { play(AtOnce); });
    EXPECT_NE(log.find("vendor says: text 1 {\"a\":[null]} undefined Error: e [object Object] "),
              std::string::npos)
        << log.substr(0, 2000);
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 100) << log.size();
    EXPECT_LT(log.size(), 20'000U);
    EXPECT_EQ(failures_, Texts());
}

}  // namespace

}  // namespace OMIDKorvonet1

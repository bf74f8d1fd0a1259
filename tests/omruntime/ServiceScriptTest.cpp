// The embedded service script in an engine: what a vendor's script sees, and what is posted for it.
#include <gtest/gtest.h>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/detail/Bridge.h"
#include "VKTCoreKit/omruntime/detail/EmbeddedServiceScript.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

namespace OMIDKorvonet1 {

namespace {

using Texts = std::vector<std::string>;

const VKTDictionary startEventData{
    {"context", VKTDictionary{{"app", VKTDictionary{{"libraryVersion", "1"}}}}}};

// A world with the service script. `say(text)` is the vendor's sendUrl; what it says, what was heard and what
// went wrong are written down.
class ServiceScript : public testing::Test {
  protected:
    ServiceScript() {
        const auto fail = [this](const VKTError& error) {
            wrong_.push_back("thrown: " + *error.localizedDescription());
        };
        world_ = test_.platform.makeTrustedScriptExecutor(
            {}, {[this](const std::string& text) { write(text); }, fail, fail});
        world_->evaluate(std::string(embeddedServiceScript()), "service script");
        run(R"(function say(what) { omid3p.sendUrl(String(what)); }
               function sayType(event) { say(event.type); }
               function listen() {
                   for (var i = 0; i < arguments.length; ++i) omid3p.addEventListener(arguments[i], sayType);
               })");
    }

    void write(const std::string& text) {
        const auto message = scriptMessageFromText(text);
        ASSERT_TRUE(message) << text;
        messages_.push_back(*message);
        if (message->type == ScriptMessage::SendURL) said_.push_back(message->text);
        if (message->type == ScriptMessage::Heard) heard_.push_back(message->text);
        if (message->type == ScriptMessage::Error) wrong_.push_back(message->text);
    }

    void run(const std::string& script) {
        world_->evaluate(script, "vendor");
        tell(evaluatedMessage());
    }
    void tell(const std::string& message) {
        world_->call(BridgeFunction, message);
        test_.mainRunLoop->drain();
    }
    void start() { tell(startMessage("ID", 1, startEventData, "vendor", "parameters")); }
    void event(const std::string& type, const VKTDictionary& data = {}) { tell(eventMessage(type, 2, data)); }
    void finish() { tell(finishMessage(3)); }

    Texts said() { return std::exchange(said_, {}); }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    std::vector<ScriptMessage> messages_;
    Texts said_, heard_, wrong_;
    std::unique_ptr<VKTScriptExecutor> world_;
};

TEST_F(ServiceScript, TellsEachEventInTheStandardsOrderAndNothingAfterTheFinish) {
    run("omid3p.registerSessionObserver(sayType); listen('impression', 'loaded', 'media', 'start');");
    event("impression");  // before the start
    start();
    start();
    for (const char* type :
         {"loaded", "impression", "impression", "start", "geometryChange", "pause", "sessionError"})
        event(type);
    finish();
    finish();
    event("resume");
    const Texts expected{"sessionStart", "loaded",       "impression",   "start",
                         "pause",        "sessionError", "sessionFinish"};
    EXPECT_EQ(said(), expected);
    EXPECT_EQ(heard_, expected);
    EXPECT_EQ(wrong_, Texts());
    EXPECT_EQ(messages_.back().type, ScriptMessage::Finished);
}

TEST_F(ServiceScript, ReplaysWhatALateScriptHasMissedOnce) {
    start();
    for (const char* type : {"sessionError", "impression", "geometryChange", "volumeChange", "volumeChange"})
        event(type);
    event("geometryChange", {{"width", 3}});
    run(R"(omid3p.registerSessionObserver(function (event) {
               sayType(event);
               if (event.type === 'sessionStart') listen('volumeChange', 'impression', 'video');
           });
           omid3p.addEventListener('geometryChange', function (event) { say(event.data.width); });)");
    EXPECT_EQ(said(),
              (Texts{"sessionStart", "sessionError", "impression", "volumeChange", "volumeChange", "3"}));
    EXPECT_EQ(heard_.back(), "geometryChange");

    // A listener that is added while its event is told hears it as a replay: once.
    run("omid3p.addEventListener('start', function () { omid3p.addEventListener('start', sayType); });");
    event("start");
    EXPECT_EQ(said(), Texts{"start"});

    for (int i = 0; i < 1000; ++i)
        event("volumeChange");
    run("var n = 0; omid3p.addEventListener('volumeChange', function () { ++n; });");
    run("say(n > 200 && n < 257);");
    EXPECT_EQ(said().back(), "true") << "what is kept is bounded";
}

TEST_F(ServiceScript, EventsNameTheirSessionAndParametersGoToTheirVendor) {
    run(R"(function sayParameters(event) { say(event.data.verificationParameters); }
           omid3p.registerSessionObserver(sayParameters, 'vendor');
           omid3p.registerSessionObserver(function (event) { sayParameters(event); }, 'other');
           omid3p.addEventListener('impression', function (event) { say(JSON.stringify(event)); });
           say(omid3p.isSupported() + typeof postToHost))");
    start();
    event("impression", {{"mediaType", "video"}});
    const char* impression =
        R"({"adSessionId":"ID","timestamp":2,"type":"impression","data":{"mediaType":"video"}})";
    EXPECT_EQ(said(), (Texts{"trueundefined", "parameters", "undefined", impression}));
}

TEST_F(ServiceScript, AScriptThatMisbehavesHurtsOnlyItsOwnCalls) {
    start();
    run("listen('pause'); omid3p.addEventListener('resume', function () { omid3p.sendUrl('resume'); });");
    // What it does, an event, and what is reported of both. Other listeners hear all events after it.
    const auto check = [&](const char* script, const char* type, const std::string& reported) {
        run(script);
        event(type);
        event("resume");
        EXPECT_EQ(said().back(), "resume") << script;
        EXPECT_EQ(vkt_joined(wrong_, "; "), reported) << script;
        wrong_.clear();
    };
    check("omid3p.addEventListener('start', function () { throw new Error('own'); });", "start",
          "a listener of start: Error: own");
    check("omid3p.addEventListener('skipped', function () { throw {toString: null, valueOf: null}; });",
          "skipped", "a listener of skipped: a value without a text");
    check(
        "omid3p.addEventListener(7, say); omid3p.addEventListener('pause', 'say'); setTimeout('say(1)', 5);",
        "pause",
        "addEventListener: the event's type must be a string; "
        "addEventListener: a function is needed, not a value of type string; "
        "setTimeout: a function is needed, not a value of type string");
    check("omid3p.registerSessionObserver(); setInterval(null); clearTimeout({}); clearTimeout('__proto__');",
          "pause",
          "registerSessionObserver: a function is needed, not a value of type undefined; "
          "setInterval: a function is needed, not a value of type object");
    check("omid3p.sendUrl({}, null, function () { throw 1; });", "pause",
          "sendUrl: the address must be a string of at most 16384 characters; sendUrl: 1");
    check("listen('pause', 'pause', '__proto__', 'toString'); listen('pause');", "toString", "");
    check(
        "JSON.stringify = JSON.parse = String = Object.create = function () { throw 1; };"
        "Array.prototype.push = Array.prototype.indexOf = Array.prototype.slice = null;"
        "omidReceive = null; Array = Object = Function.prototype.call = null;",
        "midpoint", "");
    finish();
    EXPECT_EQ(messages_.back().type, ScriptMessage::Finished);
}

}  // namespace

}  // namespace OMIDKorvonet1

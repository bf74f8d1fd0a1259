// What one script does that is too much: whether it goes on, and what is told of it.
#include <gtest/gtest.h>

#include <functional>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/omruntime/detail/Bridge.h"
#include "VKTCoreKit/omruntime/detail/EmbeddedServiceScript.h"
#include "VKTCoreKit/omruntime/detail/ScriptRun.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "tests/support/VKTRecordedLog.h"

namespace OMIDKorvonet1 {

namespace {

// A script in this process, whose requests wait to be answered.
class Attack : public testing::Test, public MeasurementObserver {
  protected:
    using HTTP = VKTFakeHTTPSession;

    Attack() {
        runtime_.activate();
        runtime_.setTrustsScripts(true);
        runtime_.setURLSession(
            VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(HTTP_)));
        runtime_.setObserver(std::shared_ptr<MeasurementObserver>(owner_, this));
        HTTP_->setHandler([](const VKTURLRequest&) { return VKTFakeHTTPAnswer::withStatus(204); });
    }
    ~Attack() override {
        run_.reset();
        advance(100);
        HTTP_->deliverAll();  // what was cancelled, too: a request lives until it has ended
        drain();
        runtime_.setLimits({});
        runtime_.setURLSession(VKTURLSession::sharedInstance());
    }

    void scriptSentURL(const ScriptIdentity&, const std::string& URL, bool isSent) override {
        (isSent ? sent_ : refused_).push_back(URL);
    }
    void scriptFailed(const ScriptIdentity&, const VKTError& error) override {
        failures_ += error.localizedDescription().value_or("") + "\n";
    }
    void scriptLost(const ScriptIdentity&, const VKTError&) override { isLost_ = true; }

    void begin(const std::string& script) {
        HTTP_->setAnswer("http://h/script", VKTFakeHTTPAnswer::withBody(script));
        const VKTDictionary data{{"context", VKTDictionary{{"app", VKTDictionary{{"libraryVersion", "1"}}}}}};
        run_ =
            ScriptRun::start({"ID", *VerificationScriptResource::initWithURL(
                                        *VKTURL::URLWithString("http://h/script"), "v\nx", "p")},
                             std::string(embeddedServiceScript()), startMessage("ID", 1, data, "v\nx", "p"));
        HTTP_->deliverAll();
        drain();
    }
    void tell(const std::string& event) {
        run_->send(eventMessage(event, 2, {}));
        drain();
    }
    void drain() { test_.mainRunLoop->drain(); }
    void advance(double seconds) { test_.mainRunLoop->advance(VKTTimeInterval(seconds)); }

    VKTTestPlatform test_ = vkt_makeTestPlatform();
    VKTScopedPlatform scope_{test_.platform};
    const std::shared_ptr<HTTP> HTTP_ = std::make_shared<HTTP>(HTTP::Delivery::ByHand);
    const std::shared_ptr<int> owner_ = std::make_shared<int>();  // of the fixture as an observer
    SDK& runtime_ = SDK::sharedInstance();
    std::shared_ptr<ScriptRun> run_;
    std::vector<std::string> sent_, refused_;
    std::string failures_;
    bool isLost_ = false;
};

TEST_F(Attack, OnlyWhatIsFatalEndsTheScript) {
    struct Case {
        const char* name;
        const char* script;
        const char* failure;  // a part of what is told; empty: nothing is
        bool isFatal = false;
    };
    const Case cases[] = {
        {"long error", "throw new Error(new Array(300001).join('x'))", "Error: "},
        {"error without text", "throw {toString: function () { throw 1; }}", "text"},
        {"URL of escapes", "omid3p.sendUrl('http://h/' + new Array(16370).join('\\u0001'))", ""},
        {"URL of quotes", "omid3p.sendUrl(new Array(16385).join('\"'))", ""},
        {"URL of halves", "omid3p.sendUrl('http://h/' + new Array(16370).join('\\ud800'))", ""},
        {"URL of emojis", "omid3p.sendUrl('http://h/' + new Array(8180).join('\\ud83d\\ude00'))", ""},
        {"URL too long", "omid3p.sendUrl('http://h/' + new Array(16385).join('x'))", "16384"},
        {"memory, caught", "try { for (var t = 'x';;) t += t; } catch (e) { t = null; }", ""},
        {"memory", "for (var t = 'x';;) t += t;", "alloc failed"},
        {"deep", "(function f() { f(); })()", "RangeError"},
        {"many timers", "for (var i = 0; i < 300; ++i) setTimeout(function () {}, 5);",
         "SDKLimits::timerLimit"},
        {"flood", "for (var i = 0; i < 21000; ++i) omid3p.sendUrl('')", "SDKLimits::messageRateLimit", true}};
    SDKLimits limits;
    limits.turnLimit = std::chrono::seconds(10);  // sanitizers take their time
    runtime_.setLimits(limits);
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        failures_.clear();
        isLost_ = false;
        begin(
            std::string("omid3p.addEventListener('loaded', function () {") + each.script +
            "}); omid3p.addEventListener('impression', function () { omid3p.sendUrl('http://h/alive'); });");
        tell("loaded");
        tell("impression");
        EXPECT_EQ(isLost_, each.isFatal) << failures_;
        EXPECT_EQ(run_->isOver(), each.isFatal);
        EXPECT_NE(failures_.find(each.failure), std::string::npos) << failures_;
        EXPECT_EQ(failures_.empty(), std::string(each.failure).empty()) << failures_;
        EXPECT_EQ(sent_.empty() ? "" : sent_.back(), each.isFatal ? "" : "http://h/alive");
        sent_.clear();
        HTTP_->deliverAll();
        drain();
    }
}

TEST_F(Attack, ATurnThatTakesTooLongEndsTheScript) {
    SDKLimits limits;
    limits.turnLimit =
        std::chrono::milliseconds(50);  // of the processor, of which a busy machine gives little
    runtime_.setLimits(limits);
    begin(
        "omid3p.addEventListener('loaded', function () { for (var end = Date.now() + 500; Date.now() < "
        "end;); });");
    tell("loaded");
    EXPECT_TRUE(isLost_);
    EXPECT_NE(failures_.find("SDKLimits::turnLimit"), std::string::npos) << failures_;
}

TEST_F(Attack, RequestsThatWaitAreBoundedInBytesAndTime) {
    begin(R"(
        var blanks = new Array(16370).join(' '), failures = 0;
        omid3p.addEventListener('loaded', function () {
            for (var i = 0; i < 200; ++i) omid3p.sendUrl('http://h/' + blanks, null, function () { ++failures; });
        });
        omid3p.addEventListener('impression', function () { omid3p.sendUrl('http://h/failed/' + failures); });)");
    VKTRecordedLog log;
    tell("loaded");
    // Each takes 49,116 bytes with its blanks escaped: 8 under way, and 21 in a MiB.
    EXPECT_EQ(sent_.size(), 29U);
    EXPECT_EQ(refused_.size(), 171U);
    advance(31);
    HTTP_->deliverNext();  // one of those that hung
    drain();
    tell("impression");
    EXPECT_EQ(sent_.back(), "http://h/failed/192") << "all but those under way have failed";
    const std::vector<std::string> lines = log.take();
    ASSERT_EQ(lines.size(), 1U) << testing::PrintToString(lines);
    EXPECT_NE(lines[0].find("v x, http://h/script: 21 requests are dropped"), std::string::npos) << lines[0];
}

TEST_F(Attack, WhatIsLeftSomeSecondsAfterTheEndIsDropped) {
    begin("for (var i = 0; i < 100; ++i) omid3p.sendUrl('http://h/a');");
    const auto requests = HTTP_->requests().size();
    VKTRecordedLog log;
    run_.reset();
    advance(4.9);
    HTTP_->deliverNext();
    drain();
    EXPECT_EQ(HTTP_->requests().size(), requests + 1) << "the next is sent";
    advance(0.2);
    HTTP_->deliverAll();
    drain();
    EXPECT_EQ(HTTP_->requests().size(), requests + 1);
    const std::vector<std::string> lines = log.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines[0].find("99 requests are dropped"), std::string::npos) << lines[0];
}

TEST_F(Attack, LimitsAreTheIntegratorsToSet) {
    SDKLimits limits;
    limits.timerLimit = 1;
    limits.requestLimit = 1;
    limits.waitingRequestLimit = 1;
    limits.messageLimit = 500;
    runtime_.setLimits(limits);
    begin(R"(
        for (var i = 0; i < 2; ++i) setTimeout(function () {}, 5);
        for (i = 0; i < 3; ++i) omid3p.sendUrl('http://h/a');
        try { omid3p.sendUrl('http://h/' + new Array(500).join('x')); } catch (e) { omid3p.sendUrl('caught'); })");
    EXPECT_EQ(failures_, "The script has set 1 timers (SDKLimits::timerLimit): clear some\n");
    EXPECT_EQ(sent_.size(), 2U);
    EXPECT_EQ(refused_, (std::vector<std::string>{"http://h/a", "caught"}));
}

}  // namespace

}  // namespace OMIDKorvonet1

// The contract of script worlds.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "VKTCoreKit/platform/VKTScriptExecutor.h"
#include "VKTCoreKit/platform/testing/VKTSimulatedRunLoop.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"
#include "VKTCoreKit/platform/testing/contract/VKTContractMaker.h"

/// Makes a world, as `VKTPlatform::makeScriptExecutor` does.
using VKTScriptWorldMaker =
    VKTContractMaker<std::unique_ptr<VKTScriptExecutor>, VKTScriptOptions, VKTScriptHandlers>;

/// Far above what a busy machine needs.
inline constexpr std::chrono::seconds VKTScriptPatience{60};

/// One world at a time on a main loop of its own, and the log of what it reported.
class VKTScriptWorld {
  protected:
    using Log = std::vector<std::string>;

    explicit VKTScriptWorld(VKTScriptExecutorMaker make) : make_(std::move(make)) {
        // Sanitizers and neighbours take their share of the time.
        options_.turnLimit = std::chrono::seconds(20);
        options_.loadLimit = std::chrono::seconds(20);
    }

    VKTScriptHandlers handlers() {
        return {.onMessage = [this](const std::string& message) { log_.push_back(message); },
                .onException = [this](const VKTError& error) { note("exception", error); },
                .onEnd = [this](const VKTError& error) { note("end", error); }};
    }

    void note(const std::string& what, const VKTError& error) {
        EXPECT_EQ(error.domain(), VKTScriptErrorDomain);
        description_ = error.localizedDescription().value_or("");
        log_.push_back(what + " " + std::to_string(error.code()));
    }

    void openAndEvaluate(const std::string& script) {
        world_ = make_(options_, handlers());
        world_->evaluate(script, "test.js");
    }

    bool runUntilLogged(std::size_t count) {
        return loop_->runUntil([&] { return log_.size() >= count; }, VKTScriptPatience);
    }

    bool runUntilLast(const std::string& entry) {
        return loop_->runUntil([&] { return !log_.empty() && log_.back() == entry; }, VKTScriptPatience);
    }

    static VKTPlatform platformOver(const std::shared_ptr<VKTRunLoop>& loop) {
        VKTPlatform platform = VKTPlatform::current();
        platform.mainRunLoop = loop;
        return platform;
    }

    const VKTScriptExecutorMaker make_;
    const std::shared_ptr<VKTRunLoop> loop_ = std::make_shared<VKTSimulatedRunLoop>(1);
    const VKTScopedPlatform inForce_{platformOver(loop_)};
    VKTScriptOptions options_;
    Log log_;
    std::string description_;
    std::unique_ptr<VKTScriptExecutor> world_;
};

class VKTScriptExecutorContract : public testing::TestWithParam<VKTScriptWorldMaker>, public VKTScriptWorld {
  protected:
    VKTScriptExecutorContract() : VKTScriptWorld(GetParam().make) {}
};

TEST_P(VKTScriptExecutorContract, ReportsInOrderOnTheLoopAndGoesOnAfterExceptions) {
    openAndEvaluate("var count = 0; function add(o) { count += o.n; postToHost('n' + count + o.s); }");
    world_->call("add", R"({"n":1,"s":"\u00e9😀"})");
    world_->evaluate("postToHost('before'); throw new TypeError('oh')", "bad.js");
    world_->call("add", R"({"n":)");
    world_->call("missing", "1");
    world_->evaluate("var = 3", "syntax.js");
    world_->evaluate("(function f() { f(); })()", "deep.js");
    world_->evaluate("postToHost(7)", "number.js");
    world_->call("add", R"({"n":2,"s":""})");
    EXPECT_TRUE(log_.empty());
    ASSERT_TRUE(runUntilLast("n3"));
    const std::string thrown = "exception 1";
    EXPECT_EQ(log_, (std::vector<std::string>{"n1é😀", "before", thrown, thrown, thrown, thrown, thrown,
                                              thrown, "n3"}));
    EXPECT_NE(description_.find("(number.js:1)"), std::string::npos) << description_;
}

TEST_P(VKTScriptExecutorContract, HasTheLanguageAndNothingElse) {
    openAndEvaluate(R"(
        var extra = ['Duktape', 'CBOR', 'Buffer', 'require', 'print', 'alert', 'performance', 'setTimeout'];
        postToHost(extra.filter(function (name) { return name in globalThis; }).join() + typeof JSON.parse);)");
    ASSERT_TRUE(runUntilLogged(1));
    EXPECT_EQ(log_, std::vector<std::string>{"function"});
}

TEST_P(VKTScriptExecutorContract, RefusesWhatIsTooMuchInTheScriptAndGoesOn) {
    options_.messageLimit = 1000;
    const std::string caught = "caught ";
    const std::string thrown = "exception 1";
    // The script; what it logs, which is followed by what the next one does; a part of what is told of it.
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"var s = 'x'; for (;;) s += s;", thrown, "SDKLimits::memoryLimit"},
        {"var a = []; for (;;) a.push({});", thrown, "SDKLimits::memoryLimit"},
        {"try { var s = 'x'; for (;;) s += s; } catch (e) { s = null; postToHost('caught ') }", caught, ""},
        {"postToHost(new Array(1002).join('x'))", thrown, "SDKLimits::messageLimit"},
        {"try { postToHost(new Array(1002).join('x')) } catch (e) { postToHost('caught ') }", caught, ""},
        {"throw new Error(new Array(100000).join('x'))", thrown, "xxx"}};
    for (const auto& [script, logged, description] : cases) {
        log_.clear();
        description_.clear();
        openAndEvaluate(std::string("(function () {") + script + "})()");
        world_->evaluate("postToHost('still here')", "after.js");
        ASSERT_TRUE(runUntilLogged(2)) << script;
        EXPECT_EQ(log_, (Log{logged, "still here"})) << script << description_;
        EXPECT_NE(description_.find(description), std::string::npos) << script << description_;
    }
}

TEST_P(VKTScriptExecutorContract, EndsOnceWhenALimitIsPassedAndNamesIt) {
    options_.backlogLimit = 200;
    const std::string busy = "for (var end = Date.now() + 200; Date.now() < end;);";
    const std::tuple<std::string, std::string, const char*> cases[] = {
        {"for (var i = 0; i < 5000; ++i) postToHost('')", "end 4", "::backlogLimit"},
        {busy, "end 3", "::loadLimit"},
        {"function run() {" + busy + "}", "end 3", "::turnLimit"}};
    for (const auto& [script, end, limit] : cases) {
        log_.clear();
        const auto limitOf = [limit = std::string(limit)](const char* name) {
            return limit == name ? std::chrono::milliseconds(5) : std::chrono::seconds(20);
        };
        options_.loadLimit = limitOf("::loadLimit");
        options_.turnLimit = limitOf("::turnLimit");
        openAndEvaluate(script);
        if (script.starts_with("function")) world_->call("run", "1");
        world_->evaluate("postToHost('still here')", "after.js");
        ASSERT_TRUE(runUntilLast(end)) << script << description_;
        EXPECT_NE(description_.find(limit), std::string::npos) << description_;
        world_->evaluate("postToHost('still here')", "later.js");
        loop_->drain();
        EXPECT_EQ(log_.back(), end);
        EXPECT_EQ(std::count(log_.begin(), log_.end(), "still here"), 0) << script;
    }
}

TEST_P(VKTScriptExecutorContract, MayBeDestroyedByEachOfItsHandlers) {
    int calls = 0;
    const auto drop = [&](const auto&) {
        ++calls;
        world_.reset();
    };
    for (const char* script : {"postToHost('a'); postToHost('b')", "throw 1",
                               "for (var end = Date.now() + 200; Date.now() < end;);"}) {
        options_.loadLimit = std::chrono::milliseconds(calls == 2 ? 5 : 20'000);
        world_ = make_(options_, {drop, drop, drop});
        world_->evaluate(script, "test.js");
        world_->evaluate(script, "again.js");
        ASSERT_TRUE(loop_->runUntil([&] { return world_ == nullptr; }, VKTScriptPatience)) << script;
        loop_->drain();
    }
    EXPECT_EQ(calls, 3);
    // With everything it was asked still waiting.
    openAndEvaluate("postToHost('never')");
    world_.reset();
    loop_->drain();
    EXPECT_TRUE(log_.empty());
}

#include "VKTCoreKit/omruntime/detail/ScriptRun.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/omruntime/SDK.h"
#include "VKTCoreKit/omruntime/detail/EmbeddedWorldScript.h"
#include "VKTCoreKit/omruntime/detail/Errors.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace OMIDKorvonet1 {

namespace {

constexpr std::string_view lostAll = "the script measures nothing from now on";
constexpr std::string_view lostLastWords = "what was to be measured at the finish";
constexpr std::string_view lostCall = "the call that failed; the script goes on";

std::chrono::nanoseconds monotonicNow() {
    return VKTPlatform::current().clock->monotonicNow();
}

bool isUnavailable(const VKTError& error) {
    return error.domain() == VKTScriptErrorDomain && error.code() == VKTScriptErrorUnavailable;
}

// A vendor that measures nothing is worth a warning. What keeps every world from being made (no host program,
// no system call filter, no thread) would repeat itself with every ad: it is one until it changes.
VKTLogLevel levelOfLoss(const VKTError& error) {
    if (!isUnavailable(error)) return VKTLogLevelWarning;
    static std::optional<std::string> lastTold;  // the main thread's own
    const auto description = error.localizedDescription();
    const bool isTold = std::exchange(lastTold, description) == description;
    return isTold ? VKTLogLevelDebug : VKTLogLevelWarning;
}

VKTError scriptError(VKTScriptErrorCode code, std::string description) {
    return VKTUtils::errorWithDomain(VKTScriptErrorDomain, code, std::move(description));
}

// "Verification script of vendor demo, http://h/script.js", for the log.
std::string nameOf(const ScriptIdentity& script) {
    return vkt_stringWithFormat("Verification script of vendor %@, %@",
                                {script.resource.vendorKey(), script.resource.URL().absoluteString()});
}

// What a script says, for the log: as much as a person reads.
std::string shownText(std::string_view text) {
    constexpr std::size_t limit = 200;  // bytes
    return vkt_onOneLine(text.substr(0, limit));
}

}  // namespace

ScriptRun::ScriptRun(ScriptIdentity identity)
    : identity_(std::move(identity)),
      limits_(SDK::sharedInstance().limits()),
      requests_(
          std::make_shared<ScriptRequests>(SDK::sharedInstance().URLSession(), limits_, nameOf(identity_))) {}

std::shared_ptr<ScriptRun> ScriptRun::start(ScriptIdentity identity, std::string serviceScript,
                                            const std::string& startMessage) {
    std::shared_ptr<ScriptRun> run(new ScriptRun(std::move(identity)));
    if (worldCount_ >= run->limits_.scriptLimit) {
        VKTPlatform::current().mainRunLoop->post([run] {
            run->fail(
                runtimeError(ErrorCodeTooManyScripts,
                             vkt_stringWithFormat("%ld verification scripts run already "
                                                  "(SDKLimits::scriptLimit): finish sessions that are over",
                                                  {static_cast<std::uint64_t>(worldCount_)})),
                lostAll);
            run->tellEnd();
        });
        return run;
    }
    run->makeWorld();
    run->executor_->evaluate(std::string(embeddedWorldScript()), "world script");
    run->executor_->evaluate(std::move(serviceScript), "service script");
    run->send(startMessage);
    run->loadScript(run->identity_.resource.URL(), std::nullopt);
    return run;
}

void ScriptRun::makeWorld() {
    const SDK& runtime = SDK::sharedInstance();
    VKTScriptOptions options{limits_, {}};
    options.hostPath = runtime.scriptHostPath();
    options.allowsMissingSystemCallFilter = runtime.allowsMissingSystemCallFilter();
    const std::weak_ptr<ScriptRun> weakSelf = weak_from_this();
    VKTScriptHandlers handlers;
    handlers.onMessage = [weakSelf](const std::string& text) {
        if (const auto self = weakSelf.lock()) self->receive(text);
    };
    handlers.onException = [weakSelf](const VKTError& error) {
        if (const auto self = weakSelf.lock()) self->fail(error, lostCall);
    };
    handlers.onEnd = [weakSelf](const VKTError& error) {
        const auto self = weakSelf.lock();
        if (!self) return;
        self->fail(error, lostAll);
        self->end();
        if (isUnavailable(error) && self->unavailableHandler_) self->unavailableHandler_();
    };
    const VKTPlatform& platform = VKTPlatform::current();
    const auto& makeExecutor =
        runtime.trustsScripts() ? platform.makeTrustedScriptExecutor : platform.makeScriptExecutor;
    executor_ = makeExecutor(std::move(options), std::move(handlers));
    ++worldCount_;
}

void ScriptRun::send(const std::string& message) {
    if (!executor_) return;
    if (isFinishing_) ++unhandledCount_;
    executor_->call(BridgeFunction, message);
}

void ScriptRun::finish(const std::string& message, std::chrono::nanoseconds limit) {
    isFinishing_ = true;
    finishLimit_ = limit;
    send(message);
}

void ScriptRun::endWhenAllIsSaid() {
    const bool isDue = std::any_of(timers_.begin(), timers_.end(),
                                   [this](const auto& timer) { return timer.second <= finishLimit_; });
    if (hasHandledFinish_ && unhandledCount_ == 0 && awaitedCount_ == 0 && !isDue) end();
}

void ScriptRun::giveUp() {
    if (!executor_) return;
    if (!hasLoaded_) {
        fail(runtimeError(ErrorCodeScriptDownload,
                          "The session finished, and within 1 second the script had not arrived"),
             lostAll);
    } else if (!hasHandledFinish_) {
        fail(scriptError(VKTScriptErrorTime,
                         "The finish was not handled within 1 second: the script hangs, or the service "
                         "script does not post 'finished'"),
             lostLastWords);
    }
    end();
}

void ScriptRun::end() {
    if (!executor_) return;
    executor_.reset();
    --worldCount_;
    nextTimers_.reset();
    timers_.clear();
    for (const auto& download : std::exchange(downloads_, {})) {
        if (const auto task = download.lock()) task->cancel();
    }
    requests_->endSoon();
    tellEnd();
}

void ScriptRun::tellLoaded() {
    if (const auto observer = SDK::sharedInstance().observer()) observer->scriptLoaded(identity_);
}

void ScriptRun::tellEnd() {
    if (const auto observer = SDK::sharedInstance().observer()) observer->scriptEnded(identity_);
}

// ---- scripts ----

void ScriptRun::loadScript(const VKTURL& URL, std::optional<std::int64_t> replyIdentifier) {
    ++awaitedCount_;
    downloads_.push_back(
        downloadScript(*SDK::sharedInstance().URLSession(), URL, limits_.scriptSizeLimit,
                       [weakSelf = weak_from_this(), name = URL.absoluteString(), replyIdentifier](
                           const std::string& script, const std::optional<VKTError>& error) {
                           const auto self = weakSelf.lock();
                           if (!self || self->isOver()) return;
                           --self->awaitedCount_;
                           const bool isFirst = !std::exchange(self->hasLoaded_, true);
                           if (error) {
                               self->fail(*error, isFirst ? lostAll : lostCall);
                               if (isFirst) self->end();
                           } else {
                               self->executor_->evaluate(script, name);
                               self->send(evaluatedMessage());
                               if (isFirst) self->tellLoaded();
                           }
                           self->reply(replyIdentifier, !error);
                           self->endWhenAllIsSaid();
                       }));
}

void ScriptRun::loadAnotherScript(const ScriptMessage& message) {
    const auto URL = VKTURL::URLWithDocumentText(message.text);
    if (URL && isRequestable(*URL) && downloads_.size() <= limits_.loadedScriptLimit) {
        loadScript(*URL, message.reply);
        return;
    }
    reply(message.reply, false);
    if (std::exchange(hasToldRefusal_, true)) return;
    VKTLog::sharedInstance()->logMessage(
        vkt_onOneLine(vkt_stringWithFormat(
            "%@ asks for the script %@, which is not loaded: only %ld scripts with an http or https address "
            "are (SDKLimits::loadedScriptLimit). Tell the vendor.",
            {nameOf(identity_), shownText(message.text),
             static_cast<std::uint64_t>(limits_.loadedScriptLimit)})),
        VKTLogLevelWarning);
}

// ---- messages ----

void ScriptRun::receive(const std::string& text) {
    if (!executor_) return;
    if (isFlood()) {
        fail(scriptError(VKTScriptErrorFlood,
                         vkt_stringWithFormat(
                             "The script posts more than %ld messages a second (SDKLimits::messageRateLimit)",
                             {static_cast<std::uint64_t>(limits_.messageRateLimit)})),
             lostAll);
        end();
        return;
    }
    if (const auto message = scriptMessageFromText(text)) {
        act(*message);
    } else {
        fail(scriptError(VKTScriptErrorException,
                         "The script posts what is no message of the bridge: " + shownText(text)),
             lostCall);
    }
}

bool ScriptRun::isFlood() {
    const auto now = monotonicNow();
    if (now - countedFrom_ >= std::chrono::seconds(1)) {
        countedFrom_ = now;
        messageCount_ = 0;
    }
    return ++messageCount_ > limits_.messageRateLimit;
}

void ScriptRun::act(const ScriptMessage& message) {
    switch (message.type) {
        case ScriptMessage::Heard:
            if (const auto observer = SDK::sharedInstance().observer())
                observer->scriptHeardEvent(identity_, message.text, message.time);
            return;
        case ScriptMessage::Error:
            fail(scriptError(VKTScriptErrorException, message.text), lostCall);
            return;
        case ScriptMessage::SetTimer:
            setTimer(message);
            return;
        case ScriptMessage::ClearTimer:
            timers_.erase(message.identifier);
            return;
        case ScriptMessage::SendURL:
            sendURL(message);
            return;
        case ScriptMessage::LoadScript:
            loadAnotherScript(message);
            return;
        case ScriptMessage::Log:
            log(message.text);
            return;
        case ScriptMessage::Finished:
            if (!isFinishing_) return;
            hasHandledFinish_ = true;
            if (unhandledCount_ > 0) --unhandledCount_;
            endWhenAllIsSaid();
            return;
    }
}

void ScriptRun::sendURL(const ScriptMessage& message) {
    const auto URL = VKTURL::URLWithDocumentText(message.text);
    ScriptRequests::Completion completion;
    if (message.reply) {
        completion = [weakSelf = weak_from_this(), identifier = message.reply](bool isSuccess) {
            const auto self = weakSelf.lock();
            if (!self) return;
            --self->awaitedCount_;
            self->reply(identifier, isSuccess);
        };
    }
    const bool isSent = URL && isRequestable(*URL) && requests_->send(*URL, std::move(completion));
    if (!isSent)
        reply(message.reply, false);
    else if (message.reply)
        ++awaitedCount_;
    if (const auto observer = SDK::sharedInstance().observer())
        observer->scriptSentURL(identity_, message.text, isSent);
}

void ScriptRun::reply(std::optional<std::int64_t> identifier, bool isSuccess) {
    if (identifier) send(replyMessage(*identifier, isSuccess));
}

// ---- timers ----

void ScriptRun::setTimer(const ScriptMessage& message) {
    if (timers_.size() >= limits_.timerLimit && !timers_.contains(message.identifier)) {
        fail(scriptError(
                 VKTScriptErrorException,
                 vkt_stringWithFormat("The script has set %ld timers (SDKLimits::timerLimit): clear some",
                                      {static_cast<std::uint64_t>(limits_.timerLimit)})),
             "the timer; the script goes on");
        return;
    }
    timers_[message.identifier] = monotonicNow() + std::chrono::ceil<std::chrono::nanoseconds>(message.delay);
    scheduleTimers();
}

// All that are due together make one message, and messages keep the shortest delay between them.
void ScriptRun::scheduleTimers() {
    nextTimers_.reset();
    const auto next =
        std::min_element(timers_.begin(), timers_.end(),
                         [](const auto& left, const auto& right) { return left.second < right.second; });
    if (next == timers_.end()) return;
    const VKTTimeInterval untilDue = next->second - monotonicNow();
    const VKTTimeInterval sinceFired = monotonicNow() - firedAt_;
    nextTimers_ = VKTPlatform::current().mainRunLoop->schedule(
        std::max(untilDue, ShortestTimerDelay - sinceFired), [weakSelf = weak_from_this()] {
            if (const auto self = weakSelf.lock()) self->fireTimers();
        });
}

void ScriptRun::fireTimers() {
    firedAt_ = monotonicNow();
    std::vector<std::pair<std::chrono::nanoseconds, std::int64_t>> due;
    for (const auto& [identifier, time] : timers_) {
        if (time <= firedAt_) due.emplace_back(time, identifier);
    }
    std::sort(due.begin(), due.end());
    std::vector<std::int64_t> identifiers;
    for (const auto& [time, identifier] : due) {
        identifiers.push_back(identifier);
        timers_.erase(identifier);
    }
    if (!identifiers.empty()) send(timersMessage(identifiers));
    scheduleTimers();
}

// ---- failures ----

void ScriptRun::log(const std::string& text) const {
    VKTLog::sharedInstance()->logDebug(vkt_onOneLine(vkt_stringWithFormat(
        "Verification script of vendor %@ says: %@", {identity_.resource.vendorKey(), text})));
}

void ScriptRun::fail(const VKTError& error, std::string_view loss) {
    const bool isLoss = loss == lostAll || loss == lostLastWords;
    if (!std::exchange(isLoss ? isLost_ : hasFailed_, true)) {
        const std::string text =
            vkt_stringWithFormat("%@: %@. Lost: %@", {nameOf(identity_), error.localizedDescription(), loss});
        VKTLog::sharedInstance()->logMessage(vkt_onOneLine(text),
                                             isLoss ? levelOfLoss(error) : VKTLogLevelDebug);
    }
    const auto observer = SDK::sharedInstance().observer();
    if (!observer) return;
    observer->scriptFailed(identity_, error);
    if (isLoss) observer->scriptLost(identity_, error);
}

}  // namespace OMIDKorvonet1

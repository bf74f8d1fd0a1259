// One verification script in its world.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/omruntime/MeasurementObserver.h"
#include "VKTCoreKit/omruntime/SDKLimits.h"
#include "VKTCoreKit/omruntime/detail/Bridge.h"
#include "VKTCoreKit/omruntime/detail/ScriptRequests.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/platform/VKTScriptExecutor.h"

namespace OMIDKorvonet1 {

/// Runs the service script and the vendor's script, passes messages between them and the session, and does
/// for them what a world cannot: timers and requests. Whatever goes wrong stays here; the observer is told,
/// and the log of the first failure that costs a call and of the one that costs the world.
///
/// Main thread only. Requests and handlers know it weakly; its world ends with it.
class ScriptRun : public std::enable_shared_from_this<ScriptRun> {
  public:
    /// Starts the world and the download of the script. Without a place for it, it is over at once, and the
    /// observer hears so later.
    static std::shared_ptr<ScriptRun> start(ScriptIdentity identity, std::string serviceScript,
                                            const std::string& startMessage);
    ~ScriptRun() { end(); }
    ScriptRun(const ScriptRun&) = delete;
    ScriptRun& operator=(const ScriptRun&) = delete;

    void send(const std::string& message);

    /// The end of the session. The world ends when all is said: the service script has handled it and
    /// whatever else it was told, no answer is awaited, and no timer is due by `limit`, a time of the
    /// monotonic clock, at which whoever waits calls `giveUp`.
    void finish(const std::string& message, std::chrono::nanoseconds limit);

    /// Ends the world. A failure, unless the finish was handled: what still runs then, as a timer that
    /// repeats does, is none.
    void giveUp();
    [[nodiscard]] bool isOver() const { return !executor_; }

    /// Called when it turns out that there was never a world.
    void setUnavailableHandler(std::function<void()> handler) { unavailableHandler_ = std::move(handler); }

  private:
    explicit ScriptRun(ScriptIdentity identity);

    void makeWorld();
    void loadScript(const VKTURL& URL, std::optional<std::int64_t> replyIdentifier);
    void receive(const std::string& text);
    void act(const ScriptMessage& message);
    void sendURL(const ScriptMessage& message);
    void loadAnotherScript(const ScriptMessage& message);
    void reply(std::optional<std::int64_t> identifier, bool isSuccess);
    void setTimer(const ScriptMessage& message);
    void scheduleTimers();
    void fireTimers();
    bool isFlood();
    void fail(const VKTError& error, std::string_view loss);
    void end();
    void log(const std::string& text) const;
    void endWhenAllIsSaid();
    void tellLoaded();
    void tellEnd();

    const ScriptIdentity identity_;
    const SDKLimits limits_;
    const std::shared_ptr<ScriptRequests> requests_;
    std::unique_ptr<VKTScriptExecutor> executor_;
    std::function<void()> unavailableHandler_;
    bool hasLoaded_ = false;  // the vendor's script, or failed to
    bool isFinishing_ = false;
    bool hasHandledFinish_ = false;
    std::size_t unhandledCount_ = 0;  // messages to the service script since the finish, and it
    std::size_t awaitedCount_ = 0;    // answers that the script will hear of
    std::chrono::nanoseconds finishLimit_{0};
    bool hasFailed_ = false;
    bool isLost_ = false;
    bool hasToldRefusal_ = false;
    std::vector<std::weak_ptr<VKTURLSessionTask>> downloads_;
    std::map<std::int64_t, std::chrono::nanoseconds> timers_;  // when each is due
    std::unique_ptr<VKTRunLoopTimer> nextTimers_;
    std::chrono::nanoseconds firedAt_{0};
    std::chrono::nanoseconds countedFrom_{0};
    std::size_t messageCount_ = 0;

    inline static std::size_t worldCount_ = 0;
};

}  // namespace OMIDKorvonet1

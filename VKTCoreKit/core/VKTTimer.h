// One-shot and repeating timers on the main run loop.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"

enum VKTTimerType : std::uint8_t {
    VKTTimerTypeNonRepeating = 0,
    VKTTimerTypeFiniteRepetitions = 1,
    VKTTimerTypeInfiniteRepetitions = 2,
};

enum VKTTimerStatus : std::uint8_t {
    VKTTimerStatusIdle = 0,  ///< never started
    VKTTimerStatusRunning = 1,
    VKTTimerStatusFinished = 2,
    VKTTimerStatusStopped = 3,
};

/// When and how often a timer ticks. A value.
struct VKTTimerInterval {
    VKTTimerType type = VKTTimerTypeNonRepeating;
    VKTTimeInterval time{0};  ///< to the first tick, and from tick to tick
    std::uint32_t count = 0;  ///< ticks in all, for finite repetitions; there is one at least

    static VKTTimerInterval initWithType(VKTTimerType type, VKTTimeInterval time, std::uint32_t count) {
        return {type, time, count};
    }
    static VKTTimerInterval nonRepeatingWithTime(VKTTimeInterval time) {
        return {VKTTimerTypeNonRepeating, time, 0};
    }
    static VKTTimerInterval finiteRepetitionsWithTime(VKTTimeInterval time, std::uint32_t count) {
        return {VKTTimerTypeFiniteRepetitions, time, count};
    }
    static VKTTimerInterval infiniteRepetitionsWithTime(VKTTimeInterval time) {
        return {VKTTimerTypeInfiniteRepetitions, time, 0};
    }
};

/// What the run loop calls and keeps alive in a timer's place. Main thread only.
class VKT_EXPORT VKTTimerTarget {
  public:
    static std::shared_ptr<VKTTimerTarget> initWithCompletionHandler(std::function<void()> completionHandler);

    /// Calls the handler, unless the target has been invalidated.
    void timerFired() const;
    void invalidate() { invalidated_ = true; }

    [[nodiscard]] const std::function<void()>& completionHandler() const { return completionHandler_; }
    [[nodiscard]] bool invalidated() const { return invalidated_; }

  private:
    explicit VKTTimerTarget(std::function<void()> completionHandler)
        : completionHandler_(std::move(completionHandler)) {}

    const std::function<void()> completionHandler_;
    bool invalidated_ = false;
};

class VKTTimer;

/// Hears a timer's ticks, on the main thread. It may stop, restart or let go of the timer: the tick then ends
/// there.
class VKT_EXPORT VKTTimerDelegate {
  public:
    virtual ~VKTTimerDelegate() = default;

    virtual void timerFired(VKTTimer& /*timer*/) {}
};

/// Ticks once, a number of times, or until it is stopped; each tick is scheduled by the one before it.
///
/// Main thread only. Holds its delegate weakly, and the run loop does not hold the timer: one that is
/// destroyed while running logs that and stops.
///
/// ```cpp
/// struct Clock : VKTTimerDelegate {
///     void timerFired(VKTTimer& timer) override { std::cout << timer.timerCount() << '\n'; }
/// };
/// auto clock = std::make_shared<Clock>();  // held weakly
/// auto timer = VKTTimer::initWithInterval(
///     VKTTimerInterval::finiteRepetitionsWithTime(VKTTimeInterval(1), 10), clock);
/// timer->start();
/// timer->stop();
/// ```
class VKT_EXPORT VKTTimer : public std::enable_shared_from_this<VKTTimer> {
  public:
    using StopHandler = std::function<void(VKTTimer& timer)>;

    /// Idle, with a random ID.
    static std::shared_ptr<VKTTimer> initWithInterval(
        VKTTimerInterval interval, const std::shared_ptr<VKTTimerDelegate>& delegate = nullptr);

    ~VKTTimer();
    VKTTimer(const VKTTimer&) = delete;
    VKTTimer& operator=(const VKTTimer&) = delete;

    /// Begins with a full interval. Does nothing while running.
    void start();

    /// In any state; calls the stop handler last. A timer that comes to its end by itself does not.
    void stop();
    [[nodiscard]] bool timerCanBeStarted() const { return status_ != VKTTimerStatusRunning; }

    /// Has the target called once, after the interval's time.
    void scheduleTimerWithInterval(const VKTTimerInterval& interval, std::shared_ptr<VKTTimerTarget> target);

    [[nodiscard]] std::uint32_t ID() const { return ID_; }
    [[nodiscard]] const VKTTimerInterval& interval() const { return interval_; }
    [[nodiscard]] VKTTimerStatus status() const { return status_; }
    [[nodiscard]] std::uint32_t timerCount() const { return timerCount_; }  ///< scheduled since `start`
    [[nodiscard]] const std::shared_ptr<VKTTimerTarget>& timerTarget() const { return timerTarget_; }

    /// The scheduled call of the target, or the last one; null before a start and after a stop.
    [[nodiscard]] const std::unique_ptr<VKTRunLoopTimer>& timer() const { return timer_; }

    [[nodiscard]] std::shared_ptr<VKTTimerDelegate> delegate() const { return delegate_.lock(); }
    void setDelegate(const std::shared_ptr<VKTTimerDelegate>& delegate) { delegate_ = delegate; }

    [[nodiscard]] const StopHandler& stopHandler() const { return stopHandler_; }
    void setStopHandler(StopHandler stopHandler) { stopHandler_ = std::move(stopHandler); }

    /// Equal IDs.
    [[nodiscard]] bool isEqualToTimer(const VKTTimer& other) const { return ID_ == other.ID_; }

  private:
    VKTTimer(VKTTimerInterval interval, const std::shared_ptr<VKTTimerDelegate>& delegate);

    void tick();
    [[nodiscard]] bool hasTicksLeft() const;

    const std::uint32_t ID_;
    const VKTTimerInterval interval_;
    VKTTimerStatus status_ = VKTTimerStatusIdle;
    std::uint32_t timerCount_ = 0;
    std::weak_ptr<VKTTimerDelegate> delegate_;
    StopHandler stopHandler_;
    std::shared_ptr<VKTTimerTarget> timerTarget_;
    std::unique_ptr<VKTRunLoopTimer> timer_;
};

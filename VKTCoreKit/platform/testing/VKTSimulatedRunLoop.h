// A run loop whose time is simulated.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <thread>
#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTClock.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"

/// For what shall happen as on a device, but faster: runs tasks in the order of their simulated times and,
/// between two of them, waits for the real time between them divided by the speed. (`VKTManualRunLoop` does
/// not wait, so nothing of other threads can come in between.) Its clock stands still while a task runs and
/// while nothing is due, so tasks find themselves at their exact times. The wall clock starts at the real
/// one.
///
/// `post`, `postAfter`, `stop` and the clock may be used on any thread, everything else on the loop's.
class VKTSimulatedRunLoop final : public VKTRunLoop, public VKTClock {
  public:
    /// At speed 0 it does not wait.
    explicit VKTSimulatedRunLoop(double speed) : speed_(speed) {}

    [[nodiscard]] VKTDate now() const override;
    [[nodiscard]] std::chrono::nanoseconds monotonicNow() const override {
        return std::chrono::nanoseconds(now_);
    }

    void post(VKTTask task) override { postAfter(VKTTimeInterval(0), std::move(task)); }
    void postAfter(VKTTimeInterval delay, VKTTask task) override;
    [[nodiscard]] std::unique_ptr<VKTRunLoopTimer> schedule(VKTTimeInterval delay, VKTTask task) override;
    [[nodiscard]] bool isCurrentThread() const override { return thread_ == std::this_thread::get_id(); }
    void run() override;

    /// `timeout` is real time: what the loop then waits for comes from other threads.
    bool runUntil(const std::function<bool()>& done, VKTTimeInterval timeout) override;
    std::size_t drain() override;
    void stop() override;

    /// The same as `runUntil`, but the simulated time stands still: runs only what is due, which is what
    /// other threads post.
    bool holdUntil(const std::function<bool()>& done, VKTTimeInterval timeout);

    /// The same as `runUntil`, but at speed 1: what other threads need their time for is not outrun.
    bool runInRealTimeUntil(const std::function<bool()>& done, VKTTimeInterval timeout);

  private:
    using RealTime = std::chrono::steady_clock::time_point;
    using Calls = std::multimap<std::chrono::nanoseconds, std::shared_ptr<VKTTask>>;
    class Timer;

    std::shared_ptr<VKTTask> add(VKTTimeInterval delay, VKTTask task);
    bool runNext(RealTime deadline);
    std::shared_ptr<VKTTask> takeNext(RealTime deadline);
    void wait(RealTime wakeTime, VKTLock& lock);
    [[nodiscard]] RealTime realTimeOf(std::chrono::nanoseconds time) const VKT_REQUIRES(mutex_);

    const VKTDate start_ = std::chrono::time_point_cast<VKTDate::duration>(std::chrono::system_clock::now());
    std::atomic<std::chrono::nanoseconds::rep> now_ = 0;
    std::atomic<std::thread::id> thread_ = std::this_thread::get_id();

    VKTMutex mutex_;
    std::condition_variable_any changed_;
    Calls calls_ VKT_GUARDED_BY(mutex_);
    bool stopRequested_ VKT_GUARDED_BY(mutex_) = false;
    bool isHeld_ VKT_GUARDED_BY(mutex_) = false;
    double speed_ VKT_GUARDED_BY(mutex_);
    // When the simulated time became what it is.
    RealTime realNow_ VKT_GUARDED_BY(mutex_) = std::chrono::steady_clock::now();
};

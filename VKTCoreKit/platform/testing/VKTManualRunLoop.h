// A run loop, serial queues and pools that a test steps by hand.
#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <thread>
#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/platform/testing/VKTManualClock.h"

/// Time passes only when the clock is advanced: `advance` moves it from one timer to the next and runs what
/// is due, and `run` and `runUntil` do so without waiting.
class VKTManualRunLoop final : public VKTRunLoop {
  public:
    explicit VKTManualRunLoop(std::shared_ptr<VKTManualClock> clock) : clock_(std::move(clock)) {}

    void post(VKTTask task) override { postAfter(VKTTimeInterval(0), std::move(task)); }
    void postAfter(VKTTimeInterval delay, VKTTask task) override;
    [[nodiscard]] std::unique_ptr<VKTRunLoopTimer> schedule(VKTTimeInterval delay, VKTTask task) override;
    [[nodiscard]] bool isCurrentThread() const override;

    /// Returns when nothing is left to run, too: nothing else could ever happen.
    void run() override;
    bool runUntil(const std::function<bool()>& done, VKTTimeInterval timeout) override;
    std::size_t drain() override;
    void stop() override;

    /// Runs everything that is due within `interval`, each at its time, and leaves the clock at its end.
    void advance(VKTTimeInterval interval);

  private:
    struct Call {
        VKTTask task;
    };
    class Timer;

    std::shared_ptr<Call> add(VKTTimeInterval delay, VKTTask task);
    bool runNext(std::chrono::nanoseconds limit);
    void moveClockTo(std::chrono::nanoseconds time);
    void adopt();

    const std::shared_ptr<VKTManualClock> clock_;
    mutable VKTMutex mutex_;
    std::multimap<std::chrono::nanoseconds, std::shared_ptr<Call>> calls_ VKT_GUARDED_BY(mutex_);
    std::thread::id thread_ VKT_GUARDED_BY(mutex_) = std::this_thread::get_id();
    std::atomic<bool> stopRequested_ = false;
};

/// A serial queue without a thread: its tasks wait until they are run, on the caller's thread. What is left
/// is run when it is destroyed.
class VKTManualSerialQueue final : public VKTSerialQueue {
  public:
    ~VKTManualSerialQueue() override { runAll(); }

    void post(VKTTask task) override;

    /// True while a task runs: nothing but a task is ever on the queue.
    [[nodiscard]] bool isCurrentThread() const override;

    /// Runs what was posted, and what that posts. Returns the number of tasks run.
    std::size_t runAll();

  private:
    mutable VKTMutex mutex_;
    std::deque<VKTTask> tasks_ VKT_GUARDED_BY(mutex_);
    std::thread::id runningThread_ VKT_GUARDED_BY(mutex_);
};

/// The same as a pool: what is left is dropped when it is destroyed.
class VKTManualPool final : public VKTConcurrentPool {
  public:
    void post(VKTTask task) override;
    std::size_t runAll();

  private:
    VKTMutex mutex_;
    std::deque<VKTTask> tasks_ VKT_GUARDED_BY(mutex_);
};

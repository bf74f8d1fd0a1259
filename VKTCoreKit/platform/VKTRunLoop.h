// The main run loop, serial queues and concurrent pools.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "VKTCoreKit/foundation/VKTDate.h"

using VKTTask = std::function<void()>;

/// A scheduled call. Owned by whoever scheduled it: destroying or cancelling it means that the call does not
/// happen any more. Use it on the loop's thread only.
class VKTRunLoopTimer {
  public:
    virtual ~VKTRunLoopTimer() = default;
    virtual void cancel() = 0;
};

/// The main thread's event loop. `post` and `postAfter` may be called on any thread, everything else on the
/// loop's thread. An embedder with a loop of its own implements this interface over it.
class VKTRunLoop {
  public:
    virtual ~VKTRunLoop() = default;

    /// Runs `task` on the loop's thread, after everything posted before it. Never before `post` returns.
    virtual void post(VKTTask task) = 0;

    /// The same, no earlier than `delay` from now.
    virtual void postAfter(VKTTimeInterval delay, VKTTask task) = 0;

    /// A cancellable `postAfter`.
    [[nodiscard]] virtual std::unique_ptr<VKTRunLoopTimer> schedule(VKTTimeInterval delay, VKTTask task) = 0;

    /// Whether the caller is on the loop's thread: the thread that made the loop, until a thread that calls
    /// one of the running operations adopts it.
    [[nodiscard]] virtual bool isCurrentThread() const = 0;

    /// Runs tasks until `stop`.
    virtual void run() = 0;

    /// Runs tasks until `done` holds (asked after each task) or `timeout` has passed. True when `done` holds.
    virtual bool runUntil(const std::function<bool()>& done, VKTTimeInterval timeout) = 0;

    /// Runs what is due now, and what that posts, without waiting. Returns the number of tasks run.
    virtual std::size_t drain() = 0;

    /// Ends `run` after the current task. Any thread.
    virtual void stop() = 0;
};

/// Runs tasks one at a time, in the order of posting, on a thread of its own. Any thread may post.
class VKTSerialQueue {
  public:
    /// Runs what was posted before, then joins the thread; destroyed on its own thread it does not wait. One
    /// that never got a thread runs on the destroying thread what it has kept.
    virtual ~VKTSerialQueue() = default;

    virtual void post(VKTTask task) = 0;

    /// The same; false when the queue has no thread and none can be started. The task is then dropped, and
    /// it is for the caller to do without it. (`post` keeps such a task until a later call finds a thread.)
    [[nodiscard]] virtual bool tryPost(VKTTask task) {
        post(std::move(task));
        return true;
    }

    /// Names the thread for whoever looks at the process from outside, before the first task is posted. A
    /// queue need not have names.
    virtual void setName(const std::string& /*name*/) {}

    [[nodiscard]] virtual bool isCurrentThread() const = 0;
};

/// Runs tasks on a bounded number of threads. Any thread may post.
class VKTConcurrentPool {
  public:
    /// Drops what has not started and waits for what has; destroyed on one of its own threads it does not
    /// wait.
    virtual ~VKTConcurrentPool() = default;

    virtual void post(VKTTask task) = 0;

    /// The same; false when the pool has no thread at all and none can be started, and in a forked child,
    /// which has none of the pool's threads. The task is then dropped, and it is for the caller to do without
    /// it. With fewer threads than it may have, a pool goes on. (`post` keeps such a task until a later call
    /// finds a thread; in a forked child it drops it.)
    [[nodiscard]] virtual bool tryPost(VKTTask task) {
        post(std::move(task));
        return true;
    }

    /// The same, for a task of the group that `group` stands for: any address, which is only compared. A pool
    /// that knows groups serves them in turn, that of which the fewest tasks run first, each in the order of
    /// posting, and gives each a thread of its own beyond the bound while nothing else of it runs: a group
    /// whose tasks all hang delays no other. Whoever posts sees to it that there are not many groups.
    [[nodiscard]] virtual bool tryPostInGroup(VKTTask task, const void* /*group*/) {
        return tryPost(std::move(task));
    }
};

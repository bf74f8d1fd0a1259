// The main run loop, serial queues and concurrent pools.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTExport.h"

using VKTTask = std::function<void()>;

/// A scheduled call. Owned by whoever scheduled it: destroying or cancelling it means that the call does not
/// happen any more, also when it is due already. Either may happen inside the call itself, which goes on with
/// all that the task has captured, and after the loop is gone. Use it on the loop's thread only.
class VKT_EXPORT VKTRunLoopTimer {
  public:
    virtual ~VKTRunLoopTimer() = default;
    virtual void cancel() = 0;
};

/// The main thread's event loop, as far as the library calls it: these four operations and no others. An
/// application with a loop of its own implements them over it, usually below `VKTRunLoop`, which
/// `VKTPlatform::mainRunLoop` is.
///
/// What holds for every implementation, as the suite platform/testing/contract/VKTMainLoopContract.h checks:
/// - A task runs on the loop's thread alone, one after another, and never inside the operation that takes it.
/// - Tasks run in the order of their times; with the same time, in the order of posting. Never too early.
/// - A task may post, schedule, and cancel or destroy any timer, its own too.
/// - A loop that nobody runs, or that has ended, keeps what it is given until it is run (again). Destroying
///   the loop drops what is left, without running it; timers may outlive it.
///
/// The library's own tasks do not throw. What becomes of an exception of the application's is for the loop to
/// say.
class VKT_EXPORT VKTMainLoop {
  public:
    virtual ~VKTMainLoop() = default;

    /// Runs `task` as soon as what is due before it has run. Called on any thread, as answers and reports of
    /// the library's own threads come back this way; wakes the loop when it waits.
    virtual void post(VKTTask task) = 0;

    /// The same, no earlier than `delay` from now, in seconds; at once for 0 and below. One that is longer
    /// than a year may be taken for a year. Called on any thread, for tries that are made again later.
    virtual void postAfter(VKTTimeInterval delay, VKTTask task) = 0;

    /// A cancellable `postAfter`; never null. Called on the loop's thread only, by each timer of the library,
    /// again for each tick.
    [[nodiscard]] virtual std::unique_ptr<VKTRunLoopTimer> schedule(VKTTimeInterval delay, VKTTask task) = 0;

    /// Whether the caller is on the loop's thread: the one that made the loop, until another one runs it.
    /// Called on any thread, at the start of every operation that belongs to the main thread.
    [[nodiscard]] virtual bool isCurrentThread() const = 0;
};

/// A main loop that can be run, by an application without a loop of its own, by tools and tests. The library
/// calls none of these four, and they are called on the thread that the loop shall belong to from then on,
/// but for `stop`.
///
/// A loop that the application runs by its own means need not override them. They then run nothing, say so
/// once in the log, and return what is true.
class VKT_EXPORT VKTRunLoop : public VKTMainLoop {
  public:
    /// Runs tasks until `stop`. Called once, by the application's main function, usually.
    virtual void run();

    /// Runs tasks until `done` holds (asked before the first and after each task) or `timeout` has passed.
    /// True when `done` holds. Called for one thing to wait for; a task may call it, too.
    virtual bool runUntil(const std::function<bool()>& done, VKTTimeInterval timeout);

    /// Runs what is due now, and what that posts, without waiting. Returns the number of tasks run. Called
    /// again and again by an application that gives the loop turns within one of its own.
    virtual std::size_t drain();

    /// Ends `run` after the current task, or the next `run` at once when none is under way. What is left
    /// stays for later. Called on any thread.
    virtual void stop();
};

/// Runs tasks one at a time, in the order of posting, on a thread of its own. Any thread may post.
class VKT_EXPORT VKTSerialQueue {
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
class VKT_EXPORT VKTConcurrentPool {
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

// The result of a task that runs in the background.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

inline constexpr const char* VKTFutureErrorDomain = "VKTFutureError";

enum VKTFutureErrorCode : std::uint16_t {
    VKTFutureErrorTimedOut = 1000,
    VKTFutureErrorNotStarted = 1001,  ///< the pool has no thread and could start none: the task never runs
};

/// Runs one task on the platform's global pool and lets callers wait for its result. `Result` is a type with
/// an empty value (a pointer, an optional), `Result()`, which stands for "none".
///
/// Every operation may be called on any thread; those that get the result block, so keep them off the main
/// thread and off the global pool. A value: copies share the task. It may be dropped while the task runs.
///
/// ```cpp
/// auto answer = VKTFuture<std::optional<int>>::initWithTask([]() -> std::optional<int> { return 42; });
/// std::optional<VKTError> error;
/// if (auto number = answer.getWithTimeout(VKTTimeInterval(1), &error)) std::cout << *number << '\n';
/// ```
template <typename Result>
class VKTFuture {
  public:
    /// Runs once, on a pool thread. One that throws, or is empty, has no result, and the log says so. When
    /// the pool cannot start any thread it never runs, and the future is done at once, without a result.
    using Task = std::function<Result()>;
    using Deadline = std::chrono::steady_clock::time_point;

    static VKTFuture initWithTask(Task task) {
        VKTFuture future;
        const bool isStarted =
            VKTPlatform::current().globalPool->tryPost([state = future.state_, task = std::move(task)] {
                Result result = Result();
                vkt_callGuarded("the task of a VKTFuture", [&] { result = task(); });
                state->finish(std::move(result));
            });
        if (!isStarted) future.state_->finishWithoutStart();
        return future;
    }

    /// Waits for 1 millisecond at most.
    [[nodiscard]] bool isDone() const {
        return state_->waitUntil(std::chrono::steady_clock::now() + std::chrono::milliseconds(1));
    }

    /// The result, or none as long as the task runs. Does not wait.
    [[nodiscard]] Result result() const { return state_->result(); }

    /// Waits without limit.
    Result get() const { return getWithTimeout(noLimit); }

    /// The result. When the time is over first: none, and the error, when asked for, has the code
    /// `VKTFutureErrorTimedOut`; the task goes on, and a later call may have its result. A time that is not
    /// positive, or not a number, is over at once. A task that could not be started gives none at once, and
    /// the code `VKTFutureErrorNotStarted`.
    Result getWithTimeout(VKTTimeInterval timeout, std::optional<VKTError>* error = nullptr) const {
        return getWithDeadline(deadlineAfter(timeout), error);
    }

    /// The same, until an instant; `Deadline::max()` is no limit.
    Result getWithDeadline(Deadline deadline, std::optional<VKTError>* error = nullptr) const {
        const bool isOver = isDone() || state_->waitUntil(deadline);
        if (isOver && state_->isStarted()) return state_->result();
        if (error != nullptr)
            *error =
                VKTError(VKTFutureErrorDomain, isOver ? VKTFutureErrorNotStarted : VKTFutureErrorTimedOut);
        return Result();
    }

  private:
    // 2 to the 64th seconds.
    static constexpr VKTTimeInterval noLimit{18446744073709551616.0};

    class State {
      public:
        void finish(Result result) {
            const VKTLock lock(mutex_);
            result_ = std::move(result);
            isDone_ = true;
            done_.notify_all();
        }

        void finishWithoutStart() {
            isStarted_ = false;
            finish(Result());
        }

        [[nodiscard]] bool isStarted() const { return isStarted_; }

        bool waitUntil(Deadline deadline) {
            VKTLock lock(mutex_);
            while (!isDone_) {
                if (deadline == Deadline::max()) {
                    done_.wait(lock);
                } else if (done_.wait_until(lock, deadline) == std::cv_status::timeout) {
                    return isDone_;
                }
            }
            return true;
        }

        Result result() {
            const VKTLock lock(mutex_);
            return result_;
        }

      private:
        bool isStarted_ = true;  // settled before anybody else has the future
        VKTMutex mutex_;
        std::condition_variable_any done_;
        bool isDone_ VKT_GUARDED_BY(mutex_) = false;
        Result result_ VKT_GUARDED_BY(mutex_){};
    };

    VKTFuture() = default;

    static Deadline deadlineAfter(VKTTimeInterval timeout) {
        constexpr VKTTimeInterval century = std::chrono::years(100);  // beyond it the clock would overflow
        const Deadline now = std::chrono::steady_clock::now();
        if (timeout >= century) return Deadline::max();
        if (!(timeout > VKTTimeInterval(0))) return now;
        return now + std::chrono::duration_cast<std::chrono::nanoseconds>(timeout);
    }

    std::shared_ptr<State> state_ = std::make_shared<State>();
};

#include "VKTCoreKit/platform/linux/VKTAsioRunLoop.h"

#include <unistd.h>

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <thread>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"

namespace {

using WorkGuard = asio::executor_work_guard<asio::io_context::executor_type>;

// Far above any delay that is meant, far below what overflows the clock.
constexpr VKTTimeInterval longestDelay = std::chrono::hours(24 * 365);

std::chrono::steady_clock::duration clockDuration(VKTTimeInterval interval) {
    const VKTTimeInterval bounded =
        interval > VKTTimeInterval(0) ? std::min(interval, longestDelay) : VKTTimeInterval(0);
    return std::chrono::ceil<std::chrono::steady_clock::duration>(bounded);
}

pid_t currentThread() {
    thread_local const pid_t identifier = gettid();
    return identifier;
}

// Owned by its pending wait alone, so it never outlives the context.
struct PendingCall {
    PendingCall(asio::io_context& context, VKTTask theTask) : timer(context), task(std::move(theTask)) {}

    asio::steady_timer timer;
    VKTTask task;
};

class AsioTimer final : public VKTRunLoopTimer {
  public:
    explicit AsioTimer(std::weak_ptr<PendingCall> call) : call_(std::move(call)) {}
    ~AsioTimer() override { cancelCall(); }
    void cancel() override { cancelCall(); }

  private:
    void cancelCall() {
        const auto call = call_.lock();
        if (!call) return;
        const VKTTask dropped = std::exchange(call->task, nullptr);
        asio::error_code ignored;  // by destructors too, so nothing is thrown
        call->timer.cancel(ignored);
    }

    std::weak_ptr<PendingCall> call_;
};

class AsioRunLoop final : public VKTRunLoop {
  public:
    explicit AsioRunLoop(pid_t thread) : work_(context_.get_executor()), thread_(thread) {}

    void post(VKTTask task) override {
        asio::post(context_, [this, task = std::move(task)] { runTask(task); });
    }

    void postAfter(VKTTimeInterval delay, VKTTask task) override { startCall(delay, std::move(task)); }

    [[nodiscard]] std::unique_ptr<VKTRunLoopTimer> schedule(VKTTimeInterval delay, VKTTask task) override {
        return std::make_unique<AsioTimer>(startCall(delay, std::move(task)));
    }

    [[nodiscard]] bool isCurrentThread() const override { return thread_ == currentThread(); }

    void run() override {
        thread_ = currentThread();
        while (!stopRequested_.exchange(false)) {
            context_.run_one();
        }
    }

    bool runUntil(const std::function<bool()>& done, VKTTimeInterval timeout) override {
        thread_ = currentThread();
        const auto deadline = std::chrono::steady_clock::now() + clockDuration(timeout);
        while (!done()) {
            if (context_.run_one_until(deadline) == 0) return done();
        }
        return true;
    }

    std::size_t drain() override {
        thread_ = currentThread();
        const std::size_t before = tasksRun_;
        context_.poll();
        return tasksRun_ - before;
    }

    void stop() override {
        stopRequested_ = true;
        asio::post(context_, [] {});
    }

  private:
    std::weak_ptr<PendingCall> startCall(VKTTimeInterval delay, VKTTask task) {
        auto call = std::make_shared<PendingCall>(context_, std::move(task));
        call->timer.expires_after(clockDuration(delay));
        std::weak_ptr<PendingCall> handle = call;
        asio::steady_timer& timer = call->timer;
        timer.async_wait([this, call = std::move(call)](const std::error_code&) {
            if (const VKTTask due = std::exchange(call->task, nullptr)) runTask(due);
        });
        return handle;
    }

    void runTask(const VKTTask& task) {
        ++tasksRun_;
        task();
    }

    asio::io_context context_{1};
    WorkGuard work_;
    std::atomic<pid_t> thread_;
    std::atomic<bool> stopRequested_ = false;
    std::size_t tasksRun_ = 0;
};

class AsioSerialQueue final : public VKTSerialQueue {
  public:
    ~AsioSerialQueue() override {
        std::thread thread;
        {
            VKTLock lock(mutex_);
            thread.swap(thread_);
        }
        if (!thread.joinable()) return;
        state_->work.reset();
        if (isCurrentThread()) {
            thread.detach();
        } else {
            thread.join();
        }
    }

    void post(VKTTask task) override {
        asio::post(state_->context, std::move(task));
        VKTLock lock(mutex_);
        if (thread_.joinable()) return;
        thread_ = std::thread([state = state_] {
            state->thread = currentThread();
            state->context.run();
        });
    }

    [[nodiscard]] bool isCurrentThread() const override { return state_->thread == currentThread(); }

  private:
    // Shared with the thread, which may outlive the queue by the tasks that are left.
    struct State {
        asio::io_context context{1};
        WorkGuard work{context.get_executor()};
        std::atomic<pid_t> thread = 0;
    };

    std::shared_ptr<State> state_ = std::make_shared<State>();
    VKTMutex mutex_;
    std::thread thread_ VKT_GUARDED_BY(mutex_);
};

class AsioConcurrentPool final : public VKTConcurrentPool {
  public:
    explicit AsioConcurrentPool(std::size_t threads) : limit_(std::max<std::size_t>(threads, 1)) {}

    ~AsioConcurrentPool() override {
        context_.stop();
        std::vector<std::thread> threads;
        {
            VKTLock lock(mutex_);
            threads.swap(threads_);
        }
        for (std::thread& thread : threads)
            thread.join();
    }

    void post(VKTTask task) override {
        startThreadIfBusy();
        asio::post(context_, [this, task = std::move(task)] {
            task();
            VKTLock lock(mutex_);
            --unfinished_;
        });
    }

  private:
    void startThreadIfBusy() {
        VKTLock lock(mutex_);
        ++unfinished_;
        if (unfinished_ > threads_.size() && threads_.size() < limit_) {
            threads_.emplace_back([this] { context_.run(); });
        }
    }

    const std::size_t limit_;
    asio::io_context context_;
    WorkGuard work_{context_.get_executor()};
    VKTMutex mutex_;
    std::size_t unfinished_ VKT_GUARDED_BY(mutex_) = 0;
    std::vector<std::thread> threads_ VKT_GUARDED_BY(mutex_);
};

}  // namespace

std::shared_ptr<VKTRunLoop> vkt_makeAsioRunLoop() {
    return std::make_shared<AsioRunLoop>(currentThread());
}

std::shared_ptr<VKTRunLoop> vkt_makeAsioMainRunLoop() {
    return std::make_shared<AsioRunLoop>(getpid());
}

std::unique_ptr<VKTSerialQueue> vkt_makeAsioSerialQueue() {
    return std::make_unique<AsioSerialQueue>();
}

std::unique_ptr<VKTConcurrentPool> vkt_makeAsioConcurrentPool(std::size_t threads) {
    return std::make_unique<AsioConcurrentPool>(threads);
}

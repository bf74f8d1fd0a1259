#include "VKTCoreKit/platform/linux/VKTAsioQueues.h"

#include <unistd.h>

#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <atomic>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/linux/VKTThread.h"

namespace {

using WorkGuard = asio::executor_work_guard<asio::io_context::executor_type>;

pid_t currentThread() {
    thread_local const pid_t identifier = gettid();
    return identifier;
}

class AsioSerialQueue final : public VKTSerialQueue {
  public:
    explicit AsioSerialQueue(std::string name) : name_(std::move(name)) {}

    ~AsioSerialQueue() override {
        state_->work.reset();
        VKTThread thread;
        {
            VKTLock lock(mutex_);
            thread.swap(thread_);
        }
        if (!thread.isJoinable()) {
            state_->run();  // what has waited for a thread in vain
        } else if (isCurrentThread()) {
            thread.detach();
        } else {
            thread.join();
        }
    }

    void post(VKTTask task) override {
        enqueue(std::move(task));
        static_cast<void>(hasThread());
    }

    [[nodiscard]] bool tryPost(VKTTask task) override {
        if (!hasThread()) return false;
        enqueue(std::move(task));
        return true;
    }

    void setName(const std::string& name) override {
        VKTLock lock(mutex_);
        name_ = name;
    }

    [[nodiscard]] bool isCurrentThread() const override { return state_->thread == currentThread(); }

  private:
    // Shared with the thread, which may outlive the queue by the tasks that are left.
    struct State {
        void run() {
            thread = currentThread();
            asio::error_code ignored;  // by the destructor too, so nothing is thrown
            context.run(ignored);
        }

        asio::io_context context{1};
        WorkGuard work{context.get_executor()};
        std::atomic<pid_t> thread = 0;
    };

    void enqueue(VKTTask task) {
        asio::post(state_->context,
                   [task = std::move(task)] { vkt_callGuarded("a task of a serial queue", task); });
    }

    // Starts it when there is none.
    bool hasThread() {
        VKTLock lock(mutex_);
        return thread_.isJoinable() || thread_.start(name_, [state = state_] { state->run(); }) == 0;
    }

    const std::shared_ptr<State> state_ = std::make_shared<State>();
    VKTMutex mutex_;
    std::string name_ VKT_GUARDED_BY(mutex_);
    VKTThread thread_ VKT_GUARDED_BY(mutex_);
};

class AsioConcurrentPool final : public VKTConcurrentPool {
  public:
    AsioConcurrentPool(std::size_t threads, std::string name)
        : limit_(std::max<std::size_t>(threads, 1)), name_(std::move(name)) {}

    ~AsioConcurrentPool() override {
        context_.stop();
        std::vector<VKTThread> threads;
        {
            VKTLock lock(mutex_);
            threads.swap(threads_);
        }
        for (VKTThread& thread : threads)
            thread.join();
    }

    void post(VKTTask task) override {
        static_cast<void>(hasThreadForOneMore(true));
        enqueue(std::move(task));
    }

    [[nodiscard]] bool tryPost(VKTTask task) override {
        if (!hasThreadForOneMore(false)) return false;
        enqueue(std::move(task));
        return true;
    }

  private:
    void enqueue(VKTTask task) {
        asio::post(context_, [this, task = std::move(task)] {
            vkt_callGuarded("a task of a pool", task);
            VKTLock lock(mutex_);
            --unfinished_;
        });
    }

    // Starts the threads that are missing, also those that an earlier task could not have, and counts one
    // more task, unless there is no thread at all and it is not to be kept. True when there is any thread.
    bool hasThreadForOneMore(bool isKept) {
        VKTLock lock(mutex_);
        while (unfinished_ + 1 > threads_.size() && threads_.size() < limit_) {
            VKTThread thread;
            if (thread.start(name_, [this] { context_.run(); }) != 0) break;
            threads_.push_back(std::move(thread));
        }
        const bool hasThread = !threads_.empty();
        if (hasThread || isKept) ++unfinished_;
        return hasThread;
    }

    const std::size_t limit_;
    const std::string name_;
    asio::io_context context_;
    WorkGuard work_{context_.get_executor()};
    VKTMutex mutex_;
    std::size_t unfinished_ VKT_GUARDED_BY(mutex_) = 0;
    std::vector<VKTThread> threads_ VKT_GUARDED_BY(mutex_);
};

}  // namespace

std::unique_ptr<VKTSerialQueue> vkt_makeAsioSerialQueue(const std::string& name) {
    return std::make_unique<AsioSerialQueue>(name);
}

std::unique_ptr<VKTConcurrentPool> vkt_makeAsioConcurrentPool(std::size_t threads, const std::string& name) {
    return std::make_unique<AsioConcurrentPool>(threads, name);
}

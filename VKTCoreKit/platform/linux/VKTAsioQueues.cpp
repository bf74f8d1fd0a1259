#include "VKTCoreKit/platform/linux/VKTAsioQueues.h"

#include <unistd.h>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <atomic>
#include <utility>

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

}  // namespace

std::unique_ptr<VKTSerialQueue> vkt_makeAsioSerialQueue(const std::string& name) {
    return std::make_unique<AsioSerialQueue>(name);
}

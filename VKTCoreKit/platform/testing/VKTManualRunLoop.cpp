#include "VKTCoreKit/platform/testing/VKTManualRunLoop.h"

#include <algorithm>

namespace {

// Far above any delay that is meant, far below what overflows the clock.
constexpr VKTTimeInterval longestDelay = std::chrono::hours(24 * 365);

}  // namespace

class VKTManualRunLoop::Timer final : public VKTRunLoopTimer {
  public:
    explicit Timer(std::weak_ptr<Call> call) : call_(std::move(call)) {}
    ~Timer() override { cancelCall(); }
    void cancel() override { cancelCall(); }

  private:
    void cancelCall() {
        if (const auto call = call_.lock()) call->task = nullptr;
    }

    std::weak_ptr<Call> call_;
};

std::shared_ptr<VKTManualRunLoop::Call> VKTManualRunLoop::add(VKTTimeInterval delay, VKTTask task) {
    auto call = std::make_shared<Call>(Call{std::move(task)});
    const auto wait =
        std::chrono::ceil<std::chrono::nanoseconds>(std::clamp(delay, VKTTimeInterval(0), longestDelay));
    VKTLock lock(mutex_);
    calls_.emplace(clock_->monotonicNow() + wait, call);
    return call;
}

void VKTManualRunLoop::postAfter(VKTTimeInterval delay, VKTTask task) {
    add(delay, std::move(task));
}

std::unique_ptr<VKTRunLoopTimer> VKTManualRunLoop::schedule(VKTTimeInterval delay, VKTTask task) {
    return std::make_unique<Timer>(add(delay, std::move(task)));
}

bool VKTManualRunLoop::isCurrentThread() const {
    VKTLock lock(mutex_);
    return thread_ == std::this_thread::get_id();
}

// Moves the clock to the first call that is due by `limit` and runs it; false when there is none.
bool VKTManualRunLoop::runNext(std::chrono::nanoseconds limit) {
    std::shared_ptr<Call> call;
    while (!call) {
        VKTLock lock(mutex_);
        if (calls_.empty() || calls_.begin()->first > limit) return false;
        const auto first = calls_.begin();
        if (first->second->task) {
            call = first->second;
            moveClockTo(first->first);
        }
        calls_.erase(first);
    }
    const VKTTask task = std::exchange(call->task, nullptr);
    task();
    return true;
}

void VKTManualRunLoop::run() {
    adopt();
    while (!stopRequested_.exchange(false) && runNext(std::chrono::nanoseconds::max())) {
    }
}

bool VKTManualRunLoop::runUntil(const std::function<bool()>& done, VKTTimeInterval timeout) {
    adopt();
    const auto limit = clock_->monotonicNow() + std::chrono::round<std::chrono::nanoseconds>(timeout);
    while (!done()) {
        if (runNext(limit)) continue;
        moveClockTo(limit);
        return done();
    }
    return true;
}

std::size_t VKTManualRunLoop::drain() {
    adopt();
    std::size_t count = 0;
    while (runNext(clock_->monotonicNow()))
        ++count;
    return count;
}

void VKTManualRunLoop::advance(VKTTimeInterval interval) {
    runUntil([] { return false; }, interval);
}

void VKTManualRunLoop::stop() {
    stopRequested_ = true;
}

void VKTManualRunLoop::moveClockTo(std::chrono::nanoseconds time) {
    clock_->advance(std::max(time - clock_->monotonicNow(), std::chrono::nanoseconds(0)));
}

void VKTManualRunLoop::adopt() {
    VKTLock lock(mutex_);
    thread_ = std::this_thread::get_id();
}

void VKTManualSerialQueue::post(VKTTask task) {
    VKTLock lock(mutex_);
    tasks_.push_back(std::move(task));
}

bool VKTManualSerialQueue::isCurrentThread() const {
    VKTLock lock(mutex_);
    return runningThread_ == std::this_thread::get_id();
}

std::size_t VKTManualSerialQueue::runAll() {
    std::size_t count = 0;
    while (true) {
        VKTTask task;
        {
            VKTLock lock(mutex_);
            runningThread_ = {};
            if (tasks_.empty()) return count;
            task = std::move(tasks_.front());
            tasks_.pop_front();
            runningThread_ = std::this_thread::get_id();
        }
        task();
        ++count;
    }
}

void VKTManualPool::post(VKTTask task) {
    VKTLock lock(mutex_);
    tasks_.push_back(std::move(task));
}

std::size_t VKTManualPool::runAll() {
    std::size_t count = 0;
    while (true) {
        VKTTask task;
        {
            VKTLock lock(mutex_);
            if (tasks_.empty()) return count;
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        task();
        ++count;
    }
}

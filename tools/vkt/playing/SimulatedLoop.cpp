#include "playing/SimulatedLoop.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

using std::chrono::nanoseconds;
using std::chrono::steady_clock;

// Whole nanoseconds, from 0 to a century.
nanoseconds nanosecondsOf(VKTTimeInterval interval) {
    constexpr double century = 100 * 365.0 * 86400;
    return nanoseconds(std::llround(std::clamp(interval.count(), 0.0, century) * 1e9));
}

}  // namespace

// The call is dropped by taking its task away.
class SimulatedLoop::Timer : public VKTRunLoopTimer {
  public:
    explicit Timer(const std::shared_ptr<VKTTask>& call) : call_(call) {}
    ~Timer() override { drop(); }
    void cancel() override { drop(); }

  private:
    void drop() const {
        if (const auto call = call_.lock()) *call = nullptr;
    }

    const std::weak_ptr<VKTTask> call_;
};

VKTDate SimulatedLoop::now() const {
    return start_ + std::chrono::duration_cast<VKTDate::duration>(monotonicNow());
}

void SimulatedLoop::postAfter(VKTTimeInterval delay, VKTTask task) {
    add(delay, std::move(task));
}

std::unique_ptr<VKTRunLoopTimer> SimulatedLoop::schedule(VKTTimeInterval delay, VKTTask task) {
    return std::make_unique<Timer>(add(delay, std::move(task)));
}

std::shared_ptr<VKTTask> SimulatedLoop::add(VKTTimeInterval delay, VKTTask task) {
    auto call = std::make_shared<VKTTask>(std::move(task));
    {
        const std::lock_guard lock(mutex_);
        if (calls_.empty()) realNow_ = steady_clock::now();
        calls_.emplace(monotonicNow() + nanosecondsOf(delay), call);
    }
    changed_.notify_one();
    return call;
}

void SimulatedLoop::run() {
    thread_ = std::this_thread::get_id();
    while (runNext(steady_clock::time_point::max())) {
    }
}

bool SimulatedLoop::runUntil(const std::function<bool()>& done, VKTTimeInterval timeout) {
    thread_ = std::this_thread::get_id();
    const auto deadline = steady_clock::now() + nanosecondsOf(timeout);
    while (!done()) {
        if (!runNext(deadline)) return done();
    }
    return true;
}

bool SimulatedLoop::holdUntil(const std::function<bool()>& done, VKTTimeInterval timeout) {
    const auto hold = [this](bool isHeld) {
        const std::lock_guard lock(mutex_);
        isHeld_ = isHeld;
        realNow_ = steady_clock::now();
    };
    hold(true);
    const bool isDone = runUntil(done, timeout);
    hold(false);
    return isDone;
}

std::size_t SimulatedLoop::drain() {
    std::size_t count = 0;
    const auto isDue = [this] {
        const std::lock_guard lock(mutex_);
        return !calls_.empty() && calls_.begin()->first <= monotonicNow();
    };
    while (isDue() && runNext(steady_clock::time_point::max()))
        ++count;
    return count;
}

void SimulatedLoop::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopRequested_ = true;
    }
    changed_.notify_one();
}

SimulatedLoop::RealTime SimulatedLoop::realTimeOf(nanoseconds time) const {
    if (time <= monotonicNow()) return realNow_;
    if (isHeld_) return RealTime::max();
    if (speed_ <= 0) return realNow_;
    return realNow_ + nanosecondsOf(VKTTimeInterval(time - monotonicNow()) / speed_);
}

// Waits for the next call and runs it. False when the deadline came first or `stop` was called.
bool SimulatedLoop::runNext(RealTime deadline) {
    std::shared_ptr<VKTTask> call;
    {
        std::unique_lock lock(mutex_);
        while (true) {
            if (std::exchange(stopRequested_, false)) return false;
            const auto first = calls_.begin();
            const RealTime due = first == calls_.end() ? RealTime::max() : realTimeOf(first->first);
            const RealTime now = steady_clock::now();
            if (due <= now) break;
            if (deadline <= now) return false;
            const RealTime wakeTime = std::min(due, deadline);
            if (wakeTime == RealTime::max()) {
                changed_.wait(lock);
            } else {
                changed_.wait_until(lock, wakeTime);
            }
        }
        const auto first = calls_.begin();
        realNow_ = realTimeOf(first->first);
        now_ = std::max(first->first, monotonicNow()).count();
        call = std::move(first->second);
        calls_.erase(first);
    }
    // Taken out first: the task may be the owner of its own timer.
    if (const VKTTask task = std::exchange(*call, nullptr)) task();
    return true;
}

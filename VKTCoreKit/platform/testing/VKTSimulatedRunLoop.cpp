#include "VKTCoreKit/platform/testing/VKTSimulatedRunLoop.h"

#include <algorithm>
#include <cmath>

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
class VKTSimulatedRunLoop::Timer : public VKTRunLoopTimer {
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

VKTDate VKTSimulatedRunLoop::now() const {
    return start_ + std::chrono::duration_cast<VKTDate::duration>(monotonicNow());
}

void VKTSimulatedRunLoop::postAfter(VKTTimeInterval delay, VKTTask task) {
    add(delay, std::move(task));
}

std::unique_ptr<VKTRunLoopTimer> VKTSimulatedRunLoop::schedule(VKTTimeInterval delay, VKTTask task) {
    return std::make_unique<Timer>(add(delay, std::move(task)));
}

std::shared_ptr<VKTTask> VKTSimulatedRunLoop::add(VKTTimeInterval delay, VKTTask task) {
    auto call = std::make_shared<VKTTask>(std::move(task));
    {
        const VKTLock lock(mutex_);
        if (calls_.empty()) realNow_ = steady_clock::now();
        calls_.emplace(monotonicNow() + nanosecondsOf(delay), call);
    }
    changed_.notify_one();
    return call;
}

void VKTSimulatedRunLoop::run() {
    thread_ = std::this_thread::get_id();
    while (runNext(steady_clock::time_point::max())) {
    }
}

bool VKTSimulatedRunLoop::runUntil(const std::function<bool()>& done, VKTTimeInterval timeout) {
    thread_ = std::this_thread::get_id();
    const auto deadline = steady_clock::now() + nanosecondsOf(timeout);
    while (!done()) {
        if (!runNext(deadline)) return done();
    }
    return true;
}

bool VKTSimulatedRunLoop::holdUntil(const std::function<bool()>& done, VKTTimeInterval timeout) {
    const auto hold = [this](bool isHeld) {
        const VKTLock lock(mutex_);
        isHeld_ = isHeld;
        realNow_ = steady_clock::now();
    };
    hold(true);
    const bool isDone = runUntil(done, timeout);
    hold(false);
    return isDone;
}

bool VKTSimulatedRunLoop::runInRealTimeUntil(const std::function<bool()>& done, VKTTimeInterval timeout) {
    const auto setSpeed = [this](double speed) {
        const VKTLock lock(mutex_);
        realNow_ = steady_clock::now();
        return std::exchange(speed_, speed);
    };
    const double speed = setSpeed(1);
    const bool isDone = runUntil(done, timeout);
    setSpeed(speed);
    return isDone;
}

std::size_t VKTSimulatedRunLoop::drain() {
    thread_ = std::this_thread::get_id();
    std::size_t count = 0;
    const auto isDue = [this] {
        const VKTLock lock(mutex_);
        return !calls_.empty() && calls_.begin()->first <= monotonicNow();
    };
    while (isDue() && runNext(steady_clock::time_point::max()))
        ++count;
    return count;
}

void VKTSimulatedRunLoop::stop() {
    {
        const VKTLock lock(mutex_);
        stopRequested_ = true;
    }
    changed_.notify_one();
}

VKTSimulatedRunLoop::RealTime VKTSimulatedRunLoop::realTimeOf(nanoseconds time) const {
    if (time <= monotonicNow()) return realNow_;
    if (isHeld_) return RealTime::max();
    if (speed_ <= 0) return realNow_;
    return realNow_ + nanosecondsOf(VKTTimeInterval(time - monotonicNow()) / speed_);
}

// Waits for the next call and runs it. False when the deadline came first or `stop` was called.
bool VKTSimulatedRunLoop::runNext(RealTime deadline) {
    const auto call = takeNext(deadline);
    if (!call) return false;
    // Taken out first: the task may be the owner of its own timer.
    if (const VKTTask task = std::exchange(*call, nullptr)) task();
    return true;
}

std::shared_ptr<VKTTask> VKTSimulatedRunLoop::takeNext(RealTime deadline) {
    VKTLock lock(mutex_);
    while (!std::exchange(stopRequested_, false)) {
        const RealTime due = calls_.empty() ? RealTime::max() : realTimeOf(calls_.begin()->first);
        const RealTime now = steady_clock::now();
        if (due <= now) {
            realNow_ = due;
            const auto first = calls_.extract(calls_.begin());
            now_ = std::max(first.key(), monotonicNow()).count();
            return first.mapped();
        }
        if (deadline <= now) return nullptr;
        wait(std::min(due, deadline), lock);
    }
    return nullptr;
}

void VKTSimulatedRunLoop::wait(RealTime wakeTime, VKTLock& lock) {
    if (wakeTime == RealTime::max()) {
        changed_.wait(lock);  // a wait until then would overflow
    } else {
        changed_.wait_until(lock, wakeTime);
    }
}

#include "VKTCoreKit/platform/linux/VKTLinuxRunLoop.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <map>
#include <optional>
#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"

namespace {

using Clock = std::chrono::steady_clock;

// Far above any delay that is meant, far below what overflows the clock.
constexpr VKTTimeInterval longestDelay = std::chrono::hours(24 * 365);

Clock::duration clockDuration(VKTTimeInterval interval) {
    const VKTTimeInterval bounded =
        interval > VKTTimeInterval(0) ? std::min(interval, longestDelay) : VKTTimeInterval(0);
    return std::chrono::ceil<Clock::duration>(bounded);
}

pid_t currentThread() {
    thread_local const pid_t identifier = gettid();
    return identifier;
}

// What is to be run, in the order of its time; with the same time, in the order of adding. Any thread.
class Agenda {
  public:
    // The time when it is due, and what tells it from others of that time.
    using Key = std::pair<Clock::time_point, std::uint64_t>;

    Key add(Clock::duration delay, VKTTask task) {
        const VKTLock lock(mutex_);
        const Key key(Clock::now() + delay, ++added_);
        tasks_.emplace(key, std::move(task));
        changed_.notify_all();
        return key;
    }

    // The task is let go of after the lock: that may run anything.
    void remove(const Key& key) {
        VKTTask removed;
        const VKTLock lock(mutex_);
        const auto found = tasks_.find(key);
        if (found == tasks_.end()) return;
        removed.swap(found->second);
        tasks_.erase(found);
    }

    // The first task as soon as it is due; nothing when that is not by `deadline`.
    std::optional<VKTTask> takeUntil(Clock::time_point deadline) {
        VKTLock lock(mutex_);
        while (tasks_.empty() || tasks_.begin()->first.first > Clock::now()) {
            if (Clock::now() >= deadline) return std::nullopt;
            waitUntil(tasks_.empty() ? deadline : std::min(deadline, tasks_.begin()->first.first), lock);
        }
        return std::move(tasks_.extract(tasks_.begin()).mapped());
    }

  private:
    void waitUntil(Clock::time_point time, VKTLock& lock) {
        if (time == Clock::time_point::max()) {
            changed_.wait(lock);  // a wait until then would overflow
        } else {
            changed_.wait_until(lock, time);
        }
    }

    VKTMutex mutex_;
    std::condition_variable_any changed_;
    std::map<Key, VKTTask> tasks_ VKT_GUARDED_BY(mutex_);
    std::uint64_t added_ VKT_GUARDED_BY(mutex_) = 0;
};

class LinuxTimer final : public VKTRunLoopTimer {
  public:
    LinuxTimer(std::weak_ptr<Agenda> agenda, Agenda::Key key) : agenda_(std::move(agenda)), key_(key) {}
    ~LinuxTimer() override { removeCall(); }
    LinuxTimer(const LinuxTimer&) = delete;
    LinuxTimer& operator=(const LinuxTimer&) = delete;

    void cancel() override { removeCall(); }

  private:
    void removeCall() {
        if (const auto agenda = agenda_.lock()) agenda->remove(key_);
    }

    const std::weak_ptr<Agenda> agenda_;
    const Agenda::Key key_;
};

class LinuxRunLoop final : public VKTRunLoop {
  public:
    explicit LinuxRunLoop(pid_t thread) : thread_(thread) {}

    void post(VKTTask task) override { agenda_->add(Clock::duration(0), std::move(task)); }

    void postAfter(VKTTimeInterval delay, VKTTask task) override {
        agenda_->add(clockDuration(delay), std::move(task));
    }

    [[nodiscard]] std::unique_ptr<VKTRunLoopTimer> schedule(VKTTimeInterval delay, VKTTask task) override {
        return std::make_unique<LinuxTimer>(agenda_, agenda_->add(clockDuration(delay), std::move(task)));
    }

    [[nodiscard]] bool isCurrentThread() const override { return thread_ == currentThread(); }

    void run() override {
        thread_ = currentThread();
        while (!stopRequested_.exchange(false)) {
            runOne(Clock::time_point::max());
        }
    }

    bool runUntil(const std::function<bool()>& done, VKTTimeInterval timeout) override {
        thread_ = currentThread();
        const auto deadline = Clock::now() + clockDuration(timeout);
        while (!done()) {
            if (Clock::now() >= deadline || !runOne(deadline)) return done();
        }
        return true;
    }

    std::size_t drain() override {
        thread_ = currentThread();
        const std::size_t before = tasksRun_;
        while (runOne(Clock::time_point::min())) {
        }
        return tasksRun_ - before;
    }

    void stop() override {
        stopRequested_ = true;
        post(nullptr);  // so that the loop looks
    }

  private:
    bool runOne(Clock::time_point deadline) {
        const std::optional<VKTTask> task = agenda_->takeUntil(deadline);
        if (!task) return false;
        if (*task) {
            ++tasksRun_;
            (*task)();
        }
        return true;
    }

    const std::shared_ptr<Agenda> agenda_ = std::make_shared<Agenda>();
    std::atomic<pid_t> thread_;
    std::atomic<bool> stopRequested_ = false;
    std::size_t tasksRun_ = 0;
};

}  // namespace

std::shared_ptr<VKTRunLoop> vkt_makeLinuxRunLoop() {
    return std::make_shared<LinuxRunLoop>(currentThread());
}

std::shared_ptr<VKTRunLoop> vkt_makeLinuxMainRunLoop() {
    return std::make_shared<LinuxRunLoop>(getpid());
}

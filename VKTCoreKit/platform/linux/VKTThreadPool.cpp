#include "VKTCoreKit/platform/linux/VKTThreadPool.h"

#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/linux/VKTThread.h"

namespace {

using Name = const void*;  // of a group; null for the tasks that have none

// Shared with the threads, one of which may destroy the pool.
class PoolState : public std::enable_shared_from_this<PoolState> {
  public:
    PoolState(std::size_t limit, std::string name) : limit_(limit), name_(std::move(name)) {}

    // False when there is no thread and the task is not to be kept; it is then dropped.
    bool add(VKTTask task, Name group, bool isKept) {
        if (isForked()) return false;
        VKTTask dropped;  // without the lock
        const VKTLock lock(mutex_);
        if (isStopped_) return false;
        const auto [found, isNew] = groups_.try_emplace(group);
        Group& added = found->second;
        if (isNew) added.lastTurn = ++turn_;
        added.waiting.push_back(std::move(task));
        ++unfinished_;
        startMissingThreads();
        const bool hasThread = !threads_.empty();
        if (!hasThread && !isKept) {
            dropped.swap(added.waiting.back());
            added.waiting.pop_back();
            forgetIfDone(group);
            --unfinished_;
        }
        changed_.notify_one();
        return hasThread || isKept;
    }

    // Drops what waits and waits for what runs, unless that is the caller.
    void stop() {
        if (isForked()) return;
        std::map<Name, Group> dropped;
        std::vector<VKTThread> threads;
        {
            const VKTLock lock(mutex_);
            isStopped_ = true;
            threads.swap(threads_);
            for (auto& [name, group] : groups_)
                dropped[name].waiting.swap(group.waiting);
            changed_.notify_all();
        }
        const bool isOwnThread =
            std::any_of(threads.begin(), threads.end(), [](const auto& each) { return each.isCurrent(); });
        for (VKTThread& thread : threads)
            isOwnThread ? thread.detach() : thread.join();
    }

  private:
    struct Group {
        std::deque<VKTTask> waiting;
        std::size_t running = 0;
        std::uint64_t lastTurn = 0;
    };
    struct Work {
        VKTTask task;
        Name group;
    };

    void run() {
        while (std::optional<Work> work = nextWork()) {
            vkt_callGuarded("a task of a pool", work->task);
            work->task = nullptr;  // what it holds goes while the task still counts
            const VKTLock lock(mutex_);
            --groups_.at(work->group).running;
            --running_;
            --unfinished_;
            forgetIfDone(work->group);
        }
    }

    // Waits for it. Nothing when the thread has to end.
    std::optional<Work> nextWork() {
        VKTLock lock(mutex_);
        while (!isStopped_) {
            if (auto work = takeWork()) return work;
            if (threads_.size() > limit_) {
                leave();
                return std::nullopt;
            }
            changed_.wait(lock);
        }
        return std::nullopt;
    }

    // Of the groups with something to do, the one of which the fewest run, and of these the one whose turn is
    // longest ago. When as many run as may, only one of which nothing runs.
    std::optional<Work> takeWork() VKT_REQUIRES(mutex_) {
        auto next = groups_.end();
        for (auto each = groups_.begin(); each != groups_.end(); ++each) {
            if (!each->second.waiting.empty() &&
                (next == groups_.end() || isBefore(each->second, next->second)))
                next = each;
        }
        if (next == groups_.end()) return std::nullopt;
        Group& group = next->second;
        if (running_ >= limit_ && group.running > 0) return std::nullopt;
        Work work{std::move(group.waiting.front()), next->first};
        group.waiting.pop_front();
        group.lastTurn = ++turn_;
        ++group.running;
        ++running_;
        return work;
    }

    static bool isBefore(const Group& one, const Group& other) {
        return std::pair(one.running, one.lastTurn) < std::pair(other.running, other.lastTurn);
    }

    // As many as there are tasks, up to the limit, and one for each group of which nothing runs; also those
    // that an earlier task could not have.
    void startMissingThreads() VKT_REQUIRES(mutex_) {
        const auto groupsWithoutThread =
            static_cast<std::size_t>(std::count_if(groups_.begin(), groups_.end(), [](const auto& each) {
                return each.second.running == 0 && !each.second.waiting.empty();
            }));
        const std::size_t wanted = std::max(std::min(unfinished_, limit_), running_ + groupsWithoutThread);
        while (threads_.size() < wanted) {
            VKTThread thread;
            if (thread.start(name_, [self = shared_from_this()] { self->run(); }) != 0) return;
            threads_.push_back(std::move(thread));
        }
    }

    void forgetIfDone(Name group) VKT_REQUIRES(mutex_) {
        const auto found = groups_.find(group);
        if (found->second.running == 0 && found->second.waiting.empty()) groups_.erase(found);
    }

    // The calling thread is needed no more; nobody joins it.
    void leave() VKT_REQUIRES(mutex_) {
        const auto own =
            std::find_if(threads_.begin(), threads_.end(), [](const auto& each) { return each.isCurrent(); });
        own->detach();
        threads_.erase(own);
    }

    // A forked child has none of the threads, and nobody there unlocks what one of them had locked.
    [[nodiscard]] bool isForked() const { return process_ != getpid(); }

    const std::size_t limit_;
    const std::string name_;
    const pid_t process_ = getpid();
    VKTMutex mutex_;
    std::condition_variable_any changed_;
    std::map<Name, Group> groups_ VKT_GUARDED_BY(mutex_);  // with a task
    std::size_t running_ VKT_GUARDED_BY(mutex_) = 0;
    std::size_t unfinished_ VKT_GUARDED_BY(mutex_) = 0;  // running or waiting
    std::uint64_t turn_ VKT_GUARDED_BY(mutex_) = 0;
    bool isStopped_ VKT_GUARDED_BY(mutex_) = false;
    std::vector<VKTThread> threads_ VKT_GUARDED_BY(mutex_);
};

class ThreadPool final : public VKTConcurrentPool {
  public:
    ThreadPool(std::size_t limit, const std::string& name)
        : state_(std::make_shared<PoolState>(limit, name)) {}
    ~ThreadPool() override { state_->stop(); }

    void post(VKTTask task) override { state_->add(std::move(task), nullptr, true); }

    [[nodiscard]] bool tryPost(VKTTask task) override { return state_->add(std::move(task), nullptr, false); }

    [[nodiscard]] bool tryPostInGroup(VKTTask task, const void* group) override {
        return state_->add(std::move(task), group, false);
    }

  private:
    const std::shared_ptr<PoolState> state_;
};

}  // namespace

std::unique_ptr<VKTConcurrentPool> vkt_makeThreadPool(std::size_t threads, const std::string& name) {
    return std::make_unique<ThreadPool>(std::max<std::size_t>(threads, 1), name);
}

#include "VKTCoreKit/platform/linux/glib/VKTGLibRunLoop.h"

#include <glib.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <optional>
#include <thread>
#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTProblemLog.h"

namespace {

// Far above any delay that is meant, far below what overflows the clock.
constexpr VKTTimeInterval longestDelay = std::chrono::hours(24 * 365);

// In microseconds of GLib's clock, which counts whole ones: one more, as this one has begun.
gint64 dueAfter(VKTTimeInterval delay) {
    const gint64 now = g_get_monotonic_time();
    if (!(delay > VKTTimeInterval(0))) return now;
    return now + std::chrono::ceil<std::chrono::microseconds>(std::min(delay, longestDelay)).count() + 1;
}

// The context has one source for all tasks, which is ready when the first of them is due. It is shared by the
// loop, its timers (weakly), the source, and by operations that a task may destroy the loop under.
class Agenda {
  public:
    // The time when it is due, and what tells it from others of that time.
    using Key = std::pair<gint64, std::uint64_t>;

    static std::shared_ptr<Agenda> inContext(GMainContext* context) {
        std::shared_ptr<Agenda> agenda(new Agenda(context));
        g_source_set_callback(agenda->source_, runFirst, new std::shared_ptr<Agenda>(agenda), release);
        g_source_attach(agenda->source_, agenda->context_);
        return agenda;
    }
    ~Agenda() {
        g_source_unref(source_);
        g_main_context_unref(context_);
    }
    Agenda(const Agenda&) = delete;
    Agenda& operator=(const Agenda&) = delete;

    Key add(VKTTimeInterval delay, VKTTask task) {
        const VKTLock lock(mutex_);
        const Key key(dueAfter(delay), ++added_);
        tasks_.emplace(key, std::move(task));
        awaitFirst();
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
        awaitFirst();
    }

    [[nodiscard]] bool hasDueTask() {
        const VKTLock lock(mutex_);
        return !tasks_.empty() && tasks_.begin()->first.first <= g_get_monotonic_time();
    }

    // The loop is gone.
    void close() {
        isClosed_ = true;
        g_source_destroy(source_);
        g_main_context_wakeup(context_);
        std::map<Key, VKTTask> dropped;
        const VKTLock lock(mutex_);
        dropped.swap(tasks_);
    }

    [[nodiscard]] bool isClosed() const { return isClosed_; }
    [[nodiscard]] GMainContext* context() const { return context_; }
    [[nodiscard]] std::size_t tasksRun() const { return tasksRun_; }

    void adopt() { thread_ = std::this_thread::get_id(); }
    [[nodiscard]] bool isCurrentThread() const {
        return thread_ == std::this_thread::get_id() || g_main_context_is_owner(context_) != FALSE;
    }

  private:
    explicit Agenda(GMainContext* context)
        : context_(g_main_context_ref(context != nullptr ? context : g_main_context_default())),
          source_(g_source_new(&functions, sizeof(GSource))) {
        // A task may run the loop, too.
        g_source_set_can_recurse(source_, TRUE);
    }

    static gboolean dispatch(GSource* /*source*/, GSourceFunc callback, gpointer data) {
        return callback(data);
    }

    static gboolean runFirst(gpointer data) {
        const std::shared_ptr<Agenda> self = *static_cast<std::shared_ptr<Agenda>*>(data);
        self->adopt();
        if (const VKTTask task = self->takeDue()) {
            ++self->tasksRun_;
            vkt_callGuarded("A task of the main run loop", task);
        }
        return G_SOURCE_CONTINUE;
    }

    static void release(gpointer data) { delete static_cast<std::shared_ptr<Agenda>*>(data); }

    VKTTask takeDue() {
        const VKTLock lock(mutex_);
        if (tasks_.empty() || tasks_.begin()->first.first > g_get_monotonic_time()) return nullptr;
        const auto first = tasks_.extract(tasks_.begin());
        awaitFirst();
        return std::move(first.mapped());
    }

    // Wakes the context when that is to happen earlier than before.
    void awaitFirst() VKT_REQUIRES(mutex_) {
        g_source_set_ready_time(source_, tasks_.empty() ? -1 : tasks_.begin()->first.first);
    }

    static inline GSourceFuncs functions = {nullptr, nullptr, dispatch, nullptr, nullptr, nullptr};

    GMainContext* const context_;
    GSource* const source_;
    std::atomic<std::thread::id> thread_ = std::this_thread::get_id();
    std::atomic<std::size_t> tasksRun_ = 0;
    std::atomic<bool> isClosed_ = false;
    VKTMutex mutex_;
    std::map<Key, VKTTask> tasks_ VKT_GUARDED_BY(mutex_);
    std::uint64_t added_ VKT_GUARDED_BY(mutex_) = 0;
};

class GLibTimer final : public VKTRunLoopTimer {
  public:
    GLibTimer(std::weak_ptr<Agenda> agenda, Agenda::Key key) : agenda_(std::move(agenda)), key_(key) {}
    ~GLibTimer() override { removeCall(); }
    GLibTimer(const GLibTimer&) = delete;
    GLibTimer& operator=(const GLibTimer&) = delete;

    void cancel() override { removeCall(); }

  private:
    void removeCall() {
        if (const auto agenda = agenda_.lock()) agenda->remove(key_);
    }

    const std::weak_ptr<Agenda> agenda_;
    const Agenda::Key key_;
};

// The right to iterate the context, which one thread has at a time.
class Ownership {
  public:
    explicit Ownership(const std::shared_ptr<Agenda>& agenda)
        : agenda_(agenda), isGranted_(g_main_context_acquire(agenda->context()) != FALSE) {
        if (isGranted_) {
            agenda->adopt();
            return;
        }
        vkt_logWarning(
            "VKTGLibRunLoop: nothing is run, as another thread runs the context at this time. Call run, "
            "runUntil and "
            "drain on that thread, or post what is to be run.");
    }
    ~Ownership() {
        if (isGranted_) g_main_context_release(agenda_->context());
    }
    Ownership(const Ownership&) = delete;
    Ownership& operator=(const Ownership&) = delete;

    [[nodiscard]] bool isGranted() const { return isGranted_; }

  private:
    const std::shared_ptr<Agenda> agenda_;
    const bool isGranted_;
};

// No operation that iterates the context uses the loop itself afterwards, as a task may have destroyed it.
class GLibRunLoop final : public VKTRunLoop {
  public:
    explicit GLibRunLoop(GMainContext* context) : agenda_(Agenda::inContext(context)) {}
    ~GLibRunLoop() override { agenda_->close(); }
    GLibRunLoop(const GLibRunLoop&) = delete;
    GLibRunLoop& operator=(const GLibRunLoop&) = delete;

    void post(VKTTask task) override { agenda_->add(VKTTimeInterval(0), std::move(task)); }

    void postAfter(VKTTimeInterval delay, VKTTask task) override { agenda_->add(delay, std::move(task)); }

    [[nodiscard]] std::unique_ptr<VKTRunLoopTimer> schedule(VKTTimeInterval delay, VKTTask task) override {
        return std::make_unique<GLibTimer>(agenda_, agenda_->add(delay, std::move(task)));
    }

    [[nodiscard]] bool isCurrentThread() const override { return agenda_->isCurrentThread(); }

    void run() override {
        const auto agenda = agenda_;
        const auto stopRequested = stopRequested_;
        const Ownership ownership(agenda);
        if (!ownership.isGranted()) return;
        while (!agenda->isClosed() && !stopRequested->exchange(false))
            g_main_context_iteration(agenda->context(), TRUE);
    }

    bool runUntil(const std::function<bool()>& done, VKTTimeInterval timeout) override {
        const auto agenda = agenda_;
        const Ownership ownership(agenda);
        if (!ownership.isGranted()) return done();
        const gint64 deadline = dueAfter(timeout);
        const GLibTimer wakeUp(agenda, agenda->add(timeout, nullptr));
        while (!done()) {
            if (agenda->isClosed() || g_get_monotonic_time() >= deadline) return done();
            g_main_context_iteration(agenda->context(), TRUE);
        }
        return true;
    }

    std::size_t drain() override {
        const auto agenda = agenda_;
        const Ownership ownership(agenda);
        if (!ownership.isGranted()) return 0;
        const std::size_t before = agenda->tasksRun();
        while (agenda->hasDueTask())
            g_main_context_iteration(agenda->context(), FALSE);
        return agenda->tasksRun() - before;
    }

    void stop() override {
        *stopRequested_ = true;
        g_main_context_wakeup(agenda_->context());
    }

  private:
    const std::shared_ptr<Agenda> agenda_;
    const std::shared_ptr<std::atomic<bool>> stopRequested_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace

std::shared_ptr<VKTRunLoop> vkt_makeGLibRunLoop(GMainContext* context) {
    return std::make_shared<GLibRunLoop>(context);
}

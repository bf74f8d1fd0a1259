// The one place where the library starts threads.
#pragma once

#include <pthread.h>

#include <functional>
#include <string>
#include <utility>

/// A thread, or none. It has a name and a modest stack, and signals are blocked on it from its first
/// instruction: those of the application go to the application's own threads, and a lost connection raises
/// none (SIGPIPE). Only the faults of the thread itself (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS)
/// are not: blocked, they would end the process behind the back of its crash reporter.
///
/// A value that is moved, not shared; join or detach it before it is destroyed, as a std::thread. Use it on
/// one thread at a time; `body` must not ask it.
class VKTThread {
  public:
    VKTThread() = default;
    ~VKTThread();
    VKTThread(VKTThread&& other) noexcept { swap(other); }
    VKTThread& operator=(VKTThread&& other) noexcept {
        swap(other);
        return *this;
    }
    VKTThread(const VKTThread&) = delete;
    VKTThread& operator=(const VKTThread&) = delete;

    /// Starts `body`, which must not throw; not while there is a thread. 0, or the system's error (EAGAIN
    /// when a limit of threads or memory is reached); `body` is then not called. Linux cuts the name after 15
    /// bytes.
    [[nodiscard]] int start(const std::string& name, std::function<void()> body);

    [[nodiscard]] bool isJoinable() const { return isJoinable_; }
    [[nodiscard]] bool isCurrent() const {
        return isJoinable_ && pthread_equal(thread_, pthread_self()) != 0;
    }
    void join();
    void detach();

    void swap(VKTThread& other) noexcept {
        std::swap(thread_, other.thread_);
        std::swap(isJoinable_, other.isJoinable_);
    }

  private:
    pthread_t thread_{};
    bool isJoinable_ = false;
};

// A mutex that clang's thread-safety analysis understands, and the marks for the members that it guards.
//
// With other compilers the marks vanish. Members stand under the lock that guards them:
//     VKTMutex mutex_;
//     int count_ VKT_GUARDED_BY(mutex_) = 0;
#pragma once

#include <mutex>

#if defined(__clang__)
#define VKT_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define VKT_THREAD_ATTRIBUTE(x)
#endif

#define VKT_GUARDED_BY(mutex) VKT_THREAD_ATTRIBUTE(guarded_by(mutex))
#define VKT_PT_GUARDED_BY(mutex) VKT_THREAD_ATTRIBUTE(pt_guarded_by(mutex))
#define VKT_REQUIRES(mutex) VKT_THREAD_ATTRIBUTE(requires_capability(mutex))

/// A mutex that one thread holds once; `VKTLock` holds it.
class VKT_THREAD_ATTRIBUTE(capability("mutex")) VKTMutex {
  public:
    void lock() VKT_THREAD_ATTRIBUTE(acquire_capability()) { mutex_.lock(); }
    void unlock() VKT_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }

  private:
    std::mutex mutex_;
};

/// A mutex that its owner may lock again.
class VKT_THREAD_ATTRIBUTE(capability("mutex")) VKTRecursiveMutex {
  public:
    void lock() VKT_THREAD_ATTRIBUTE(acquire_capability()) { mutex_.lock(); }
    void unlock() VKT_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }

  private:
    std::recursive_mutex mutex_;
};

/// Holds a `VKTRecursiveMutex` from construction to destruction.
class VKT_THREAD_ATTRIBUTE(scoped_lockable) VKTRecursiveLock {
  public:
    explicit VKTRecursiveLock(VKTRecursiveMutex& mutex) VKT_THREAD_ATTRIBUTE(acquire_capability(mutex))
        : mutex_(mutex) {
        mutex_.lock();
    }
    ~VKTRecursiveLock() VKT_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }
    VKTRecursiveLock(const VKTRecursiveLock&) = delete;
    VKTRecursiveLock& operator=(const VKTRecursiveLock&) = delete;

  private:
    VKTRecursiveMutex& mutex_;
};

/// Holds a `VKTMutex` from construction to destruction. Also a lockable, so that a
/// `std::condition_variable_any` can wait on it.
class VKT_THREAD_ATTRIBUTE(scoped_lockable) VKTLock {
  public:
    explicit VKTLock(VKTMutex& mutex) VKT_THREAD_ATTRIBUTE(acquire_capability(mutex)) : mutex_(mutex) {
        mutex_.lock();
    }
    ~VKTLock() VKT_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }
    VKTLock(const VKTLock&) = delete;
    VKTLock& operator=(const VKTLock&) = delete;

    void lock() VKT_THREAD_ATTRIBUTE(acquire_capability()) { mutex_.lock(); }
    void unlock() VKT_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }

  private:
    VKTMutex& mutex_;
};

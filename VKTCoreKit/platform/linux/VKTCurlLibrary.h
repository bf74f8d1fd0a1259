// When libcurl may be used: not while the process is being left, and not in a forked child by what its parent
// made.
#pragma once

#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"

/// Has threads inside libcurl that it can call out.
class VKTCurlLibraryUser {
  public:
    virtual ~VKTCurlLibraryUser() = default;

    /// The process is being left: every thread of this user leaves libcurl soon. Called on the thread that
    /// called `exit`, which may be any; must not wait.
    virtual void leaveLibrary() = 0;
};

/// libcurl in one process. Once the process is being left (`exit`, or the return from `main`) nobody enters
/// libcurl any more, and `exit` goes on, to the end of OpenSSL, when those who are inside have come out.
///
/// A forked child has copies of its parent's connections and none of its threads, so nothing that belongs to
/// the parent's library may be used there. Nothing here takes a lock on the way to that answer.
class VKTCurlLibrary {
  public:
    /// This process's. Never destroyed.
    static VKTCurlLibrary& current();

    VKTCurlLibrary(const VKTCurlLibrary&) = delete;
    VKTCurlLibrary& operator=(const VKTCurlLibrary&) = delete;

    /// Whether this is the library of the parent of the calling process.
    [[nodiscard]] bool isForked() const { return process_ != getpid(); }
    [[nodiscard]] bool isLeaving() const { return isLeaving_; }

    /// Whether what belongs to this library may be used and destroyed; if not, it is abandoned.
    [[nodiscard]] bool isUsable() const { return !isLeaving() && !isForked(); }

    void addUser(VKTCurlLibraryUser& user);
    void removeUser(VKTCurlLibraryUser& user);

    /// A thread's stay inside libcurl, which is initialised by the first one. They may nest.
    class Stay {
      public:
        explicit Stay(VKTCurlLibrary& library);
        ~Stay();
        Stay(const Stay&) = delete;
        Stay& operator=(const Stay&) = delete;

        /// False when libcurl may not be used; there is no stay then.
        explicit operator bool() const { return isInside_; }

      private:
        VKTCurlLibrary& library_;
        bool isInside_ = false;
    };

  private:
    VKTCurlLibrary() = default;
    void initialize();
    void comeOut();
    void leaveProcess();

    const pid_t process_ = getpid();
    std::once_flag isInitialized_;
    std::atomic<bool> isLeaving_ = false;
    std::atomic<int> stays_ = 0;
    VKTMutex mutex_;
    std::condition_variable_any cameOut_;
    std::set<VKTCurlLibraryUser*> users_ VKT_GUARDED_BY(mutex_);
};

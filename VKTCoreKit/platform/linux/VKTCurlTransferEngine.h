// All transfers of a session.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/linux/VKTCurlTransferQueue.h"
#include "VKTCoreKit/platform/linux/VKTCurlTransferSet.h"
#include "VKTCoreKit/platform/linux/VKTThread.h"

enum class VKTCurlCommand : std::uint8_t { Start, Cancel };
enum class VKTCurlSubmission : std::uint8_t { Accepted, SessionGone, NoThread };

/// One thread with a set of transfers for the asynchronous requests, and a set for each blocking request,
/// driven by the thread that waits for it: so a blocking request costs no change of threads. Sets that are
/// not used are kept with their connections for a while, and closed by the thread.
///
/// Any thread. In a forked child, and once the process is being left, nothing but `library` and `keepForEver`
/// may be called: nothing can be ended there.
class VKTCurlTransferEngine final : public std::enable_shared_from_this<VKTCurlTransferEngine>,
                                    private VKTCurlLibraryUser {
  public:
    explicit VKTCurlTransferEngine(const VKTHTTPSessionOptions& options);
    ~VKTCurlTransferEngine() override;
    VKTCurlTransferEngine(const VKTCurlTransferEngine&) = delete;
    VKTCurlTransferEngine& operator=(const VKTCurlTransferEngine&) = delete;

    [[nodiscard]] VKTCurlLibrary& library() const { return library_; }

    /// Hands a command to the thread.
    VKTCurlSubmission submit(std::shared_ptr<VKTCurlTask> task, VKTCurlCommand command);

    /// Makes the transfer of a task on the calling thread. False when the session is gone.
    bool perform(const std::shared_ptr<VKTCurlTask>& task);

    /// Lets every blocking transfer look whether it has been cancelled.
    void wakeBlockingTransfers();

    /// Cancels what is under way and ends the thread.
    void stop();

    /// Instead of `stop`: the engine is never destroyed.
    void keepForEver() { self_ = shared_from_this(); }

  private:
    using TimePoint = VKTCurlTransferSet::TimePoint;

    void leaveLibrary() override;
    [[nodiscard]] std::unique_ptr<VKTCurlTransferSet> makeAsynchronousSet() const;
    bool startThread() VKT_REQUIRES(mutex_);
    void run();
    bool takeSubmitted();
    void start(const std::shared_ptr<VKTCurlTask>& task);
    void cancelAll();
    void closeIdleConnections();
    TimePoint closeIdleSets(TimePoint now);
    [[nodiscard]] bool isStopped();
    std::unique_ptr<VKTCurlTransferSet> takeBlockingSet();
    void returnBlockingSet(std::unique_ptr<VKTCurlTransferSet> transfers);

    VKTCurlLibrary& library_;
    const VKTHTTPSessionOptions options_;
    const std::chrono::milliseconds idleTime_;
    std::shared_ptr<VKTCurlTransferEngine> self_;

    VKTMutex mutex_;
    std::vector<std::pair<std::shared_ptr<VKTCurlTask>, VKTCurlCommand>> submitted_ VKT_GUARDED_BY(mutex_);
    VKTThread thread_ VKT_GUARDED_BY(mutex_);
    bool isStopped_ VKT_GUARDED_BY(mutex_) = false;
    VKTCurlTransferSet* asynchronousSet_ VKT_GUARDED_BY(mutex_) = nullptr;  // of the thread; to be woken
    bool looksAfterIdleSets_ VKT_GUARDED_BY(mutex_) = false;                // the thread wakes up for them
    std::vector<std::unique_ptr<VKTCurlTransferSet>> idleSets_ VKT_GUARDED_BY(mutex_);  // oldest first
    std::vector<VKTCurlTransferSet*> busySets_ VKT_GUARDED_BY(mutex_);

    // The thread's own, made before it starts.
    std::unique_ptr<VKTCurlTransferSet> transfers_;
    VKTCurlTransferQueue queue_;
    TimePoint nextClosing_ = TimePoint::max();
};

// The sessions that run.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <vector>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/platform/VKTNotificationCentre.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"

namespace OMIDKorvonet1 {

class SessionRun;

/// Between two looks at geometry and volume.
inline constexpr VKTTimeInterval TickInterval{0.2};

/// How long the scripts of a finished session may take for their last words.
inline constexpr std::chrono::seconds FinishLimit{1};

/// Keeps sessions alive from their start until the scripts of each have handled the finish, and makes them
/// look at their views: one tick for all, on the main loop, while there are any. Main thread only.
class SessionRegistry {
  public:
    void add(std::shared_ptr<SessionRun> session);

    /// The session lets go of its scripts by the limit, a time of the monotonic clock, and the registry of
    /// the session.
    void finish(const std::shared_ptr<SessionRun>& session, std::chrono::nanoseconds limit);

    /// Sessions that run.
    [[nodiscard]] std::size_t runningCount() const { return running_.size(); }

    /// Sessions whose scripts handle the finish.
    [[nodiscard]] std::size_t finishedCount() const { return finished_.size(); }

  private:
    struct Finished {
        std::shared_ptr<SessionRun> session;
        std::chrono::nanoseconds deadline;
    };

    void scheduleTick();
    void tick();
    void tellRunning();

    std::vector<std::shared_ptr<SessionRun>> running_;
    std::vector<Finished> finished_;
    std::unique_ptr<VKTRunLoopTimer> timer_;
    VKTNotificationToken foreground_;
    VKTNotificationToken background_;
};

}  // namespace OMIDKorvonet1

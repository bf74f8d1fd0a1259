// The requests that verification scripts make.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "VKTCoreKit/network/VKTURLSession.h"
#include "VKTCoreKit/omruntime/SDKLimits.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"

namespace OMIDKorvonet1 {

/// Sends one script's URLs, a few at a time, and reads nothing of the answers. What hangs, and what waits for
/// it, is dropped in time. Main thread only. Lives until the last of them is answered or dropped, whatever
/// has become of the script.
class ScriptRequests : public std::enable_shared_from_this<ScriptRequests> {
  public:
    /// Called on the main loop. True for an answer with a status from 200 to 399.
    using Completion = std::function<void(bool isSuccess)>;

    /// `script` names the script in the log.
    ScriptRequests(std::shared_ptr<VKTURLSession> session, SDKLimits limits, std::string script)
        : session_(std::move(session)), limits_(limits), script_(std::move(script)) {}

    /// False, and the completion is never called, when too many wait already. The completion may be null.
    bool send(VKTURL URL, Completion completion);

    /// The script is over: what is left is dropped after `SDKLimits::lastRequestsLimit`, and no completion is
    /// called.
    void endSoon();

  private:
    struct Request {
        VKTURL URL;
        Completion completion;
        std::chrono::nanoseconds deadline;  // of the monotonic clock
    };

    void startNext();
    void start(Request next);
    void finish(std::uint64_t identifier, const Completion& completion, bool isSuccess);
    void dropAll();
    void tellDropped(std::size_t count, std::string_view why);

    const std::shared_ptr<VKTURLSession> session_;
    const SDKLimits limits_;
    const std::string script_;
    std::deque<Request> waiting_;
    std::size_t waitingBytes_ = 0;
    std::map<std::uint64_t, std::shared_ptr<VKTURLSessionTask>> underWay_;  // null for a moment
    std::uint64_t lastIdentifier_ = 0;
    bool hasToldDropped_ = false;
    std::unique_ptr<VKTRunLoopTimer> end_;
};

/// Called on the main loop, once. Without an error the script is there, in UTF-8. An answer of at most
/// `sizeLimit` bytes that is not UTF-8 was read as Windows-1252.
using ScriptDownloadHandler =
    std::function<void(const std::string& script, const std::optional<VKTError>& error)>;

/// Fetches a script. Its error's description names the URL. Never null.
std::shared_ptr<VKTURLSessionTask> downloadScript(const VKTURLSession& session, const VKTURL& URL,
                                                  std::size_t sizeLimit, ScriptDownloadHandler handler);

/// Whether scripts may ask for it.
bool isRequestable(const VKTURL& URL);

}  // namespace OMIDKorvonet1

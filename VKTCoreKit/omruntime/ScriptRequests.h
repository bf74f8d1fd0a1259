// The requests that verification scripts make.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "VKTCoreKit/network/VKTURLSession.h"

namespace OMIDKorvonet1 {

/// Of one script: requests under way, and requests that wait for one of them to end.
inline constexpr std::size_t ScriptRequestLimit = 8;
inline constexpr std::size_t ScriptRequestWaitingLimit = 1024;

/// Bytes of a script.
inline constexpr std::size_t ScriptSizeLimit = std::size_t{2} * 1024 * 1024;

/// Sends one script's URLs, a few at a time, and reads nothing of the answers. Main thread only. Lives until
/// the last of them is answered, whatever has become of the script.
class ScriptRequests : public std::enable_shared_from_this<ScriptRequests> {
  public:
    /// Called on the main loop. True for an answer with a status from 200 to 399.
    using Completion = std::function<void(bool isSuccess)>;

    explicit ScriptRequests(std::shared_ptr<VKTURLSession> session) : session_(std::move(session)) {}

    /// False, and the completion is never called, when too many wait already. The completion may be null.
    bool send(VKTURL URL, Completion completion);

  private:
    struct Request {
        VKTURL URL;
        Completion completion;
    };

    void startNext();
    void finish(const Completion& completion, bool isSuccess);

    const std::shared_ptr<VKTURLSession> session_;
    std::deque<Request> waiting_;
    std::size_t underWay_ = 0;
};

/// Called on the main loop, once. Without an error the script is there, in UTF-8. An answer of at most
/// `ScriptSizeLimit` bytes that is not UTF-8 was read as Windows-1252.
using ScriptDownloadHandler =
    std::function<void(const std::string& script, const std::optional<VKTError>& error)>;

/// Fetches a script. Its error's description names the URL. Never null.
std::shared_ptr<VKTURLSessionTask> downloadScript(const VKTURLSession& session, const VKTURL& URL,
                                                  ScriptDownloadHandler handler);

/// Whether scripts may ask for it.
bool isRequestable(const VKTURL& URL);

}  // namespace OMIDKorvonet1

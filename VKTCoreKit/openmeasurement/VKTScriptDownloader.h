// Loads one text script, from the network or from memory.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/network/VKTURLSession.h"

class VKTScriptDownloader;

inline constexpr const char* VKTScriptDownloaderErrorDomain = "VKTScriptDownloaderErrorDomain";

enum VKTScriptDownloaderErrorCode : std::uint8_t {
    VKTScriptDownloaderErrorInvalidScript = 100,  ///< the body is empty or no UTF-8
};

/// Hears how a load ended, on the main thread. It may load again, cancel the downloader or let go of it.
class VKT_EXPORT VKTScriptDownloaderDelegate {
  public:
    virtual ~VKTScriptDownloaderDelegate() = default;

    /// `withBaseURL`: the folder that the script came from.
    virtual void scriptDownloader(VKTScriptDownloader& /*downloader*/,
                                  const std::string& /*didDownloadScript*/,
                                  const std::optional<VKTURL>& /*withBaseURL*/) {}
    virtual void scriptDownloader(VKTScriptDownloader& /*downloader*/,
                                  const VKTError& /*didFailToLoadWithError*/) {}
};

/// One script, loaded as often as asked for; a new load ends the one under way, of which nothing is heard any
/// more.
///
/// Main thread only. Held by its owner alone: a request under way holds it weakly, and destroying it cancels
/// the request. Holds its delegate weakly.
class VKT_EXPORT VKTScriptDownloader : public std::enable_shared_from_this<VKTScriptDownloader> {
  public:
    /// Maps the script to the text that is delivered.
    using ScriptHandler = std::function<std::string(const std::string& script)>;

    /// Fetches the script. The HTTP status is not looked at. The session must not be null.
    static std::shared_ptr<VKTScriptDownloader> initWithRequest(
        VKTURLRequest request, const std::shared_ptr<VKTScriptDownloaderDelegate>& delegate,
        std::shared_ptr<VKTURLSession> urlSession = VKTURLSession::sharedInstance());

    /// Has the script already, and makes no request.
    static std::shared_ptr<VKTScriptDownloader> initWithScript(
        std::string script, std::optional<VKTURL> baseURL,
        const std::shared_ptr<VKTScriptDownloaderDelegate>& delegate,
        std::shared_ptr<VKTURLSession> urlSession = VKTURLSession::sharedInstance());

    ~VKTScriptDownloader() { cancel(); }
    VKTScriptDownloader(const VKTScriptDownloader&) = delete;
    VKTScriptDownloader& operator=(const VKTScriptDownloader&) = delete;

    /// The delegate hears exactly once how it ended, unless it is cancelled: before this returns when the
    /// script is there already, otherwise on the main loop.
    void load() { loadWithScriptHandler(nullptr); }
    void loadWithScriptHandler(ScriptHandler scriptHandler);

    void cancel();

    /// Delivers the script, or what the handler makes of it.
    void applyScriptHandler(const ScriptHandler& scriptHandler, std::string onScript,
                            const std::optional<VKTURL>& baseURL);

    [[nodiscard]] std::shared_ptr<VKTScriptDownloaderDelegate> delegate() const { return delegate_.lock(); }
    void setDelegate(const std::shared_ptr<VKTScriptDownloaderDelegate>& delegate) { delegate_ = delegate; }

    [[nodiscard]] const std::shared_ptr<VKTURLSession>& urlSession() const { return urlSession_; }
    [[nodiscard]] const std::optional<VKTURLRequest>& urlRequest() const { return urlRequest_; }

    /// The request under way; null when there is none.
    [[nodiscard]] const std::shared_ptr<VKTURLSessionTask>& currentTask() const { return currentTask_; }

    /// Of the last load that brought a script, before the handler; or as given.
    [[nodiscard]] const std::optional<std::string>& script() const { return script_; }
    [[nodiscard]] const std::optional<VKTURL>& baseURL() const { return baseURL_; }

  private:
    VKTScriptDownloader(std::optional<VKTURLRequest> urlRequest, std::optional<std::string> script,
                        std::optional<VKTURL> baseURL,
                        const std::shared_ptr<VKTScriptDownloaderDelegate>& delegate,
                        std::shared_ptr<VKTURLSession> urlSession);

    void didComplete(std::uint64_t generation, const VKTURLSessionResponse& response);
    void deliver(const VKTURLSessionResponse& response, const ScriptHandler& scriptHandler);
    void fail(const VKTError& error);

    const std::optional<VKTURLRequest> urlRequest_;
    const std::shared_ptr<VKTURLSession> urlSession_;
    std::weak_ptr<VKTScriptDownloaderDelegate> delegate_;
    std::optional<std::string> script_;
    std::optional<VKTURL> baseURL_;
    std::shared_ptr<VKTURLSessionTask> currentTask_;
    ScriptHandler scriptHandler_;   // of the load under way; kept here so that it dies on the main thread
    std::uint64_t generation_ = 0;  // tells a cancelled load's late completion from the present one's
};

// Transfers that share connections: a multi handle of libcurl.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "VKTCoreKit/platform/VKTHTTPSessionOptions.h"
#include "VKTCoreKit/platform/linux/VKTCurlTask.h"

/// Used by one thread at a time, inside the library (`VKTCurlLibrary::Stay`), but for `wake`, which any
/// thread may call while the set is there. A set that is destroyed when the library may not be used is
/// abandoned, its connections with it.
///
/// libcurl looks through its unused connections only when it looks for one. A set with transfers under way
/// does that in time; whoever keeps a set without any destroys it when it has not been used for long.
class VKTCurlTransferSet {
  public:
    using Tasks = std::vector<std::shared_ptr<VKTCurlTask>>;
    using TimePoint = std::chrono::steady_clock::time_point;

    /// At most so many connections are kept when they are not used.
    VKTCurlTransferSet(VKTCurlLibrary& library, const VKTHTTPSessionOptions& options,
                       std::size_t connectionLimit);
    ~VKTCurlTransferSet();
    VKTCurlTransferSet(const VKTCurlTransferSet&) = delete;
    VKTCurlTransferSet& operator=(const VKTCurlTransferSet&) = delete;

    void wake() { curl_multi_wakeup(multi_); }

    /// Why a request cannot even begin.
    static std::optional<VKTError> errorBeforeStart(const VKTURLRequest& request);

    /// Begins a transfer, for a request without such an error.
    void begin(const std::shared_ptr<VKTCurlTask>& task);

    /// Moves all transfers on as far as they get without waiting, and completes those that have ended: these
    /// it returns.
    Tasks advance();

    /// Waits for the network, a deadline or `wake`, until `latest`.
    void wait(TimePoint latest);

    [[nodiscard]] bool isActive(const VKTCurlTask& task) const { return active_.contains(&task); }
    [[nodiscard]] bool isIdle() const { return active_.empty(); }
    [[nodiscard]] bool hasConnections() const { return connectionCount_ > 0; }

    /// When a transfer was begun or ended last.
    [[nodiscard]] TimePoint lastUse() const { return lastUse_; }

    /// Completes a task that was settled as cancelled, whether its transfer has begun or not.
    void endCancelled(VKTCurlTask& task);

    /// Cancels all. A task that has been cancelled already is left to that.
    void cancelAll();

  private:
    struct Active {
        VKTCurlTransferSet& set;
        std::shared_ptr<VKTCurlTask> task;
        std::unique_ptr<VKTCurlTransfer> transfer;
    };

    static curl_socket_t openSocket(void* userData, curlsocktype purpose, curl_sockaddr* address);
    static int closeSocket(void* userData, curl_socket_t socket);

    void add(Active& active);
    void applyConnectionOptions(CURL* easy);
    [[nodiscard]] TimePoint nextLook() const;
    void closeUnusedConnections();
    std::unique_ptr<VKTCurlTransfer> takeTransfer();
    void retire(const VKTCurlTask& task);

    VKTCurlLibrary& library_;
    const VKTHTTPSessionOptions& options_;
    CURLM* multi_;
    std::size_t connectionCount_ = 0;  // open sockets
    TimePoint lastUse_ = std::chrono::steady_clock::now();
    TimePoint lastLook_ = lastUse_;  // through the unused connections
    std::unordered_map<const VKTCurlTask*, Active> active_;
    std::vector<std::unique_ptr<VKTCurlTransfer>> idle_;
};

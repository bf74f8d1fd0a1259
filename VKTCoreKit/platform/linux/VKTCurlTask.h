// One request of a session by libcurl, from `resume` or `cancel` to its completion.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "VKTCoreKit/platform/VKTHTTPSession.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/platform/linux/VKTCurlLibrary.h"
#include "VKTCoreKit/platform/linux/VKTCurlTransfer.h"

class VKTCurlTransferEngine;

/// Calls completions, one at a time, on a thread of its own. Shared by a session and its tasks: one that is
/// started when the session is gone still has to be answered.
class VKTCurlDelivery {
  public:
    VKTCurlDelivery(VKTCurlLibrary& library, const std::string& threadName);
    ~VKTCurlDelivery();
    VKTCurlDelivery(const VKTCurlDelivery&) = delete;
    VKTCurlDelivery& operator=(const VKTCurlDelivery&) = delete;

    [[nodiscard]] bool isForked() const { return library_.isForked(); }

    /// Whether the thread runs; starts it when it does not.
    bool start();

    /// Without a thread, and in a forked child, the completion is called here. Once the process is being
    /// left, it is not called at all.
    void deliver(VKTHTTPCompletion completion, VKTCurlResult result);

    /// Returns when everything has been delivered, unless it is called on the very thread.
    void waitUntilDelivered();

  private:
    VKTCurlLibrary& library_;
    std::unique_ptr<VKTSerialQueue> queue_;
    std::atomic<bool> hasThread_ = false;
};

class VKTCurlTask final : public VKTHTTPDataTask, public std::enable_shared_from_this<VKTCurlTask> {
  public:
    VKTCurlTask(VKTURLRequest request, VKTHTTPCompletion completion, std::uint64_t identifier,
                std::weak_ptr<VKTCurlTransferEngine> engine, std::shared_ptr<VKTCurlDelivery> delivery);

    void resume() override;
    void cancel() override;
    [[nodiscard]] std::uint64_t taskIdentifier() const override { return identifier_; }

    [[nodiscard]] const VKTURLRequest& request() const { return request_; }

    /// Decides the outcome: true for the first caller only, who then owes the one completion.
    [[nodiscard]] bool settle() { return !isSettled_.exchange(true); }
    [[nodiscard]] bool isSettled() const { return isSettled_; }

    /// Called once, on the thread that makes the transfer, for a task that is settled.
    void complete(VKTCurlResult result);

  private:
    void resumeAsynchronously();
    void resumeBlocking();
    void completeHere(VKTCurlResult result);
    void deliver(VKTCurlResult result);
    [[nodiscard]] VKTCurlResult failure(VKTURLErrorCode code, const char* what,
                                        std::string_view reason = {}) const;
    [[nodiscard]] VKTCurlResult cancelledFailure() const;
    [[nodiscard]] VKTCurlResult threadlessFailure() const;

    const VKTURLRequest request_;
    VKTHTTPCompletion completion_;
    const std::uint64_t identifier_;
    const std::weak_ptr<VKTCurlTransferEngine> engine_;
    const std::shared_ptr<VKTCurlDelivery> delivery_;
    std::atomic<bool> isStarted_ = false;
    std::atomic<bool> isSettled_ = false;
};

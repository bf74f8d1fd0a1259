// The one request of a command.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

#include "VKTCoreKit/network/VKTURLSession.h"

/// Passes requests to another provider with a time-out of its own, and tells of the end of each after whoever
/// made it has been told. Any thread; holds the other provider.
class WatchedProvider : public VKTURLSessionProviderProtocol {
  public:
    /// Called on the thread that completes the request.
    using EndHandler =
        std::function<void(const VKTURLRequest& request, const VKTURLSessionResponse& response)>;

    WatchedProvider(std::shared_ptr<VKTURLSessionProviderProtocol> provider, VKTTimeInterval timeout,
                    EndHandler onEnd)
        : provider_(std::move(provider)), timeout_(timeout), onEnd_(std::move(onEnd)) {}

    std::shared_ptr<VKTURLSessionTask> dataRequest(const VKTURLRequest& request,
                                                   VKTURLSessionCompletionHandler completionHandler) override;

    [[nodiscard]] bool hasBeenAsked() const { return hasBeenAsked_; }

  private:
    const std::shared_ptr<VKTURLSessionProviderProtocol> provider_;
    const VKTTimeInterval timeout_;
    const EndHandler onEnd_;
    std::atomic<bool> hasBeenAsked_ = false;
};

/// Answers every request with status 200 and an empty body at once, and sends nothing.
class SilentProvider : public VKTURLSessionProviderProtocol {
  public:
    std::shared_ptr<VKTURLSessionTask> dataRequest(const VKTURLRequest& request,
                                                   VKTURLSessionCompletionHandler completionHandler) override;
};

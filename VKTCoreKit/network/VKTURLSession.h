// The layer through which every network call of the library goes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTHTTPSession.h"

/// What one request brought. A value; the body and the response are shared, never copied. Always delivered,
/// whether the transfer failed or not; an HTTP status of failure is no error.
class VKTURLSessionResponse {
  public:
    static VKTURLSessionResponse initWithData(VKTData data, std::shared_ptr<const VKTURLResponse> response,
                                              std::optional<VKTError> error) {
        return {std::move(data), std::move(response), std::move(error)};
    }

    [[nodiscard]] const VKTData& data() const { return data_; }
    [[nodiscard]] const std::shared_ptr<const VKTURLResponse>& response() const { return response_; }
    [[nodiscard]] const std::optional<VKTError>& error() const { return error_; }

  private:
    VKTURLSessionResponse(VKTData data, std::shared_ptr<const VKTURLResponse> response,
                          std::optional<VKTError> error)
        : data_(std::move(data)), response_(std::move(response)), error_(std::move(error)) {}

    VKTData data_;
    std::shared_ptr<const VKTURLResponse> response_;
    std::optional<VKTError> error_;
};

/// One request under way. `resume`, `cancel` and `identifier` may be called on any thread; the test
/// identifier is set before the task is shared. Dropping it does not cancel the request.
class VKT_EXPORT VKTURLSessionTask {
  public:
    /// A null data task is allowed: a provider that makes no transfers then sets a test identifier.
    static std::shared_ptr<VKTURLSessionTask> initWithDataTask(std::shared_ptr<VKTHTTPDataTask> dataTask);

    /// A task of the session, not started. The handler gets what the session reports, unchanged.
    static std::shared_ptr<VKTURLSessionTask> sessionTaskWithSession(VKTHTTPSession& session,
                                                                     const VKTURLRequest& request,
                                                                     VKTHTTPCompletion completionHandler);

    [[nodiscard]] const std::shared_ptr<VKTHTTPDataTask>& dataTask() const { return dataTask_; }

    /// Stands in for the identifier while there is no data task.
    [[nodiscard]] std::uint64_t testIdentifier() const { return testIdentifier_; }
    void setTestIdentifier(std::uint64_t identifier) { testIdentifier_ = identifier; }

    [[nodiscard]] std::uint64_t identifier() const;

    void resume();

    /// Ends the request with error -999 unless it has ended; the handler is still called, later.
    void cancel();

  private:
    explicit VKTURLSessionTask(std::shared_ptr<VKTHTTPDataTask> dataTask) : dataTask_(std::move(dataTask)) {}

    const std::shared_ptr<VKTHTTPDataTask> dataTask_;
    std::uint64_t testIdentifier_ = 0;
};

/// Called exactly once per request, on the HTTP delivery thread.
using VKTURLSessionCompletionHandler = std::function<void(const VKTURLSessionResponse& response,
                                                          const std::shared_ptr<VKTURLSessionTask>& task)>;

/// Makes requests. Called on any thread.
class VKT_EXPORT VKTURLSessionProviderProtocol {
  public:
    virtual ~VKTURLSessionProviderProtocol() = default;

    /// Starts the request and returns its task, never null. The handler may be null; otherwise it is called
    /// exactly once, and possibly before this returns. When the request says `completesOnTransferThread`, it
    /// must be called even while the thread that delivers other completions is busy. When the request has a
    /// canceller, the data task is attached to it before it is resumed.
    virtual std::shared_ptr<VKTURLSessionTask> dataRequest(
        const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) = 0;
};

/// The provider over an HTTP session. Safe from any thread; keeps the session alive, but not for the sake of
/// a request under way.
class VKT_EXPORT VKTURLSessionProvider : public VKTURLSessionProviderProtocol {
  public:
    /// Over the platform's own session. Never destroyed.
    static const std::shared_ptr<VKTURLSessionProvider>& sharedInstance();

    /// The session must not be null.
    static std::shared_ptr<VKTURLSessionProvider> initWithSession(std::shared_ptr<VKTHTTPSession> session);

    [[nodiscard]] const std::shared_ptr<VKTHTTPSession>& session() const { return session_; }

    std::shared_ptr<VKTURLSessionTask> dataRequest(const VKTURLRequest& request,
                                                   VKTURLSessionCompletionHandler completionHandler) override;

  private:
    explicit VKTURLSessionProvider(std::shared_ptr<VKTHTTPSession> session) : session_(std::move(session)) {}

    const std::shared_ptr<VKTHTTPSession> session_;
};

/// Requests, asynchronous and blocking. Safe from any thread; holds its provider strongly. The handler of an
/// asynchronous request may be null. The forms with a URL make a GET request.
///
/// ```cpp
/// auto session = VKTURLSession::sharedInstance();
/// auto task = session->asynchronousDataRequestWithURL(url, [](const auto& response, const auto&) {
///     if (response.response()) std::cout << response.response()->statusCode << '\n';  // on the HTTP thread
/// });
/// task->cancel();
/// auto response = session->synchronousDataRequestWithURL(url);  // blocks
/// ```
class VKT_EXPORT VKTURLSession {
  public:
    static constexpr VKTTimeInterval DEFAULT_TIMEOUT{60.0};
    static constexpr VKTURLRequestCachePolicy DEFAULT_CACHE_POLICY = VKTURLRequestUseProtocolCachePolicy;

    /// Over the shared provider. Never destroyed.
    static const std::shared_ptr<VKTURLSession>& sharedInstance();

    /// The provider must not be null.
    static std::shared_ptr<VKTURLSession> initWithSessionProvider(
        std::shared_ptr<VKTURLSessionProviderProtocol> sessionProvider);

    [[nodiscard]] const std::shared_ptr<VKTURLSessionProviderProtocol>& sessionProvider() const {
        return sessionProvider_;
    }

    std::shared_ptr<VKTURLSessionTask> asynchronousDataRequestWithURLRequest(
        const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) const;
    std::shared_ptr<VKTURLSessionTask> asynchronousDataRequestWithURL(
        const VKTURL& url, VKTURLSessionCompletionHandler completionHandler) const;
    std::shared_ptr<VKTURLSessionTask> asynchronousDataRequestWithURL(
        const VKTURL& url, VKTURLRequestCachePolicy cachePolicy, VKTTimeInterval timeoutInterval,
        VKTURLSessionCompletionHandler completionHandler) const;

    /// Blocks the calling thread, whichever it is, until the request has ended.
    [[nodiscard]] VKTURLSessionResponse synchronousDataRequestWithURLRequest(
        const VKTURLRequest& request) const;
    [[nodiscard]] VKTURLSessionResponse synchronousDataRequestWithURL(const VKTURL& url) const;
    [[nodiscard]] VKTURLSessionResponse synchronousDataRequestWithURL(const VKTURL& url,
                                                                      VKTURLRequestCachePolicy cachePolicy,
                                                                      VKTTimeInterval timeoutInterval) const;

  private:
    explicit VKTURLSession(std::shared_ptr<VKTURLSessionProviderProtocol> sessionProvider)
        : sessionProvider_(std::move(sessionProvider)) {}

    const std::shared_ptr<VKTURLSessionProviderProtocol> sessionProvider_;
};

#include "VKTCoreKit/network/VKTURLSession.h"

#include <condition_variable>

#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

VKTURLRequest requestWithURL(const VKTURL& url, VKTURLRequestCachePolicy cachePolicy,
                             VKTTimeInterval timeoutInterval) {
    VKTURLRequest request;
    request.url = url;
    request.cachePolicy = cachePolicy;
    request.timeoutInterval = timeoutInterval;
    return request;
}

// What a blocking request waits for. It is there, as a rule, before anybody waits.
class Answer {
  public:
    void set(const VKTURLSessionResponse& response) {
        const VKTLock lock(mutex_);
        response_ = response;
        isThere_.notify_one();
    }

    VKTURLSessionResponse wait() {
        VKTLock lock(mutex_);
        while (!response_)
            isThere_.wait(lock);
        return *std::move(response_);
    }

  private:
    VKTMutex mutex_;
    std::condition_variable_any isThere_;
    std::optional<VKTURLSessionResponse> response_ VKT_GUARDED_BY(mutex_);
};

}  // namespace

std::shared_ptr<VKTURLSessionTask> VKTURLSessionTask::initWithDataTask(
    std::shared_ptr<VKTHTTPDataTask> dataTask) {
    return std::shared_ptr<VKTURLSessionTask>(new VKTURLSessionTask(std::move(dataTask)));
}

std::shared_ptr<VKTURLSessionTask> VKTURLSessionTask::sessionTaskWithSession(
    VKTHTTPSession& session, const VKTURLRequest& request, VKTHTTPCompletion completionHandler) {
    return initWithDataTask(session.dataTaskWithRequest(request, std::move(completionHandler)));
}

std::uint64_t VKTURLSessionTask::identifier() const {
    return dataTask_ ? dataTask_->taskIdentifier() : testIdentifier_;
}

void VKTURLSessionTask::resume() {
    if (dataTask_) dataTask_->resume();
}

void VKTURLSessionTask::cancel() {
    if (dataTask_) dataTask_->cancel();
}

const std::shared_ptr<VKTURLSessionProvider>& VKTURLSessionProvider::sharedInstance() {
    static const auto* instance = [] {
        VKTPlatform::noteKeptBy("VKTURLSessionProvider::sharedInstance()");
        return new std::shared_ptr<VKTURLSessionProvider>(
            initWithSession(VKTPlatform::current().HTTPSession));
    }();
    return *instance;
}

std::shared_ptr<VKTURLSessionProvider> VKTURLSessionProvider::initWithSession(
    std::shared_ptr<VKTHTTPSession> session) {
    return std::shared_ptr<VKTURLSessionProvider>(new VKTURLSessionProvider(std::move(session)));
}

std::shared_ptr<VKTURLSessionTask> VKTURLSessionProvider::dataRequest(
    const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) {
    // Holds the task for the handler; emptied by the completion, which ends the cycle through the task.
    const auto pendingTask = std::make_shared<std::shared_ptr<VKTURLSessionTask>>();
    auto completion = [pendingTask, handler = std::move(completionHandler)](
                          VKTData data, std::shared_ptr<const VKTURLResponse> response,
                          std::optional<VKTError> error) {
        const auto task = std::exchange(*pendingTask, nullptr);
        if (!handler) return;
        const auto outcome =
            VKTURLSessionResponse::initWithData(std::move(data), std::move(response), std::move(error));
        vkt_callGuarded("the completion handler of a request", [&] { handler(outcome, task); });
    };
    auto task = VKTURLSessionTask::sessionTaskWithSession(*session_, request, std::move(completion));
    *pendingTask = task;
    if (request.canceller) request.canceller->attach(task->dataTask());
    task->resume();
    return task;
}

const std::shared_ptr<VKTURLSession>& VKTURLSession::sharedInstance() {
    static const auto* instance =
        new std::shared_ptr<VKTURLSession>(initWithSessionProvider(VKTURLSessionProvider::sharedInstance()));
    return *instance;
}

std::shared_ptr<VKTURLSession> VKTURLSession::initWithSessionProvider(
    std::shared_ptr<VKTURLSessionProviderProtocol> sessionProvider) {
    return std::shared_ptr<VKTURLSession>(new VKTURLSession(std::move(sessionProvider)));
}

std::shared_ptr<VKTURLSessionTask> VKTURLSession::asynchronousDataRequestWithURLRequest(
    const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) const {
    return sessionProvider_->dataRequest(request, std::move(completionHandler));
}

std::shared_ptr<VKTURLSessionTask> VKTURLSession::asynchronousDataRequestWithURL(
    const VKTURL& url, VKTURLSessionCompletionHandler completionHandler) const {
    return asynchronousDataRequestWithURL(url, DEFAULT_CACHE_POLICY, DEFAULT_TIMEOUT,
                                          std::move(completionHandler));
}

std::shared_ptr<VKTURLSessionTask> VKTURLSession::asynchronousDataRequestWithURL(
    const VKTURL& url, VKTURLRequestCachePolicy cachePolicy, VKTTimeInterval timeoutInterval,
    VKTURLSessionCompletionHandler completionHandler) const {
    return asynchronousDataRequestWithURLRequest(requestWithURL(url, cachePolicy, timeoutInterval),
                                                 std::move(completionHandler));
}

VKTURLSessionResponse VKTURLSession::synchronousDataRequestWithURLRequest(
    const VKTURLRequest& request) const {
    VKTURLRequest blockingRequest = request;
    blockingRequest.completesOnTransferThread = true;
    // Shared: the completing thread may still be inside `set` when the waiter leaves.
    const auto answer = std::make_shared<Answer>();
    asynchronousDataRequestWithURLRequest(blockingRequest, [answer](const VKTURLSessionResponse& response,
                                                                    const auto&) { answer->set(response); });
    return answer->wait();
}

VKTURLSessionResponse VKTURLSession::synchronousDataRequestWithURL(const VKTURL& url) const {
    return synchronousDataRequestWithURL(url, DEFAULT_CACHE_POLICY, DEFAULT_TIMEOUT);
}

VKTURLSessionResponse VKTURLSession::synchronousDataRequestWithURL(const VKTURL& url,
                                                                   VKTURLRequestCachePolicy cachePolicy,
                                                                   VKTTimeInterval timeoutInterval) const {
    return synchronousDataRequestWithURLRequest(requestWithURL(url, cachePolicy, timeoutInterval));
}

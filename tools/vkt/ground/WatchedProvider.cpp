#include "ground/WatchedProvider.h"

std::shared_ptr<VKTURLSessionTask> WatchedProvider::dataRequest(
    const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) {
    hasBeenAsked_ = true;
    VKTURLRequest limited = request;
    limited.timeoutInterval = timeout_;
    return provider_->dataRequest(
        limited, [limited, onEnd = onEnd_, handler = std::move(completionHandler)](
                     const VKTURLSessionResponse& response, const std::shared_ptr<VKTURLSessionTask>& task) {
            if (handler) handler(response, task);
            onEnd(limited, response);
        });
}

std::shared_ptr<VKTURLSessionTask> SilentProvider::dataRequest(
    const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) {
    auto task = VKTURLSessionTask::initWithDataTask(nullptr);
    const auto response = std::make_shared<VKTURLResponse>();
    response->url = request.url;
    response->statusCode = 200;
    if (completionHandler) {
        completionHandler(VKTURLSessionResponse::initWithData(std::make_shared<std::string>(), response, {}),
                          task);
    }
    return task;
}

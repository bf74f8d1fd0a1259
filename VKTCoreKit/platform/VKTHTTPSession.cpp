#include "VKTCoreKit/platform/VKTHTTPSession.h"

void VKTHTTPCanceller::cancel() {
    std::vector<std::weak_ptr<VKTHTTPDataTask>> tasks;
    {
        VKTLock lock(mutex_);
        isCancelled_ = true;
        tasks = tasks_;
    }
    for (const auto& each : tasks) {
        if (const auto task = each.lock()) task->cancel();
    }
}

void VKTHTTPCanceller::attach(const std::shared_ptr<VKTHTTPDataTask>& task) {
    {
        VKTLock lock(mutex_);
        std::erase_if(tasks_, [](const auto& each) { return each.expired(); });
        tasks_.push_back(task);
        if (!isCancelled_) return;
    }
    task->cancel();
}

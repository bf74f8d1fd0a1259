#include "VKTCoreKit/platform/VKTHTTPSession.h"

void VKTHTTPCanceller::cancel() {
    std::shared_ptr<VKTHTTPDataTask> task;
    {
        VKTLock lock(mutex_);
        isCancelled_ = true;
        task = task_.lock();
    }
    if (task) task->cancel();
}

void VKTHTTPCanceller::attach(const std::shared_ptr<VKTHTTPDataTask>& task) {
    {
        VKTLock lock(mutex_);
        task_ = task;
        if (!isCancelled_) return;
    }
    task->cancel();
}

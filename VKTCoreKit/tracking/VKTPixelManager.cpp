#include "VKTCoreKit/tracking/VKTPixelManager.h"

#include <atomic>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

struct VKTPixelManager::Worker {
    Worker(std::shared_ptr<VKTPixelStore> thePixelStore, std::shared_ptr<VKTURLSession> theURLSession)
        : pixelStore(std::move(thePixelStore)), urlSession(std::move(theURLSession)) {}

    // True when a pass has to be posted; otherwise one that waits will do.
    bool addWaitingPass() {
        VKTLock lock(mutex);
        if (waitingPasses == VKTPixelWaitingPassLimit) return false;
        ++waitingPasses;
        return true;
    }

    void removeWaitingPass() {
        VKTLock lock(mutex);
        --waitingPasses;
    }

    void warnOfNoThread() {
        if (hasWarnedOfNoThread.exchange(true)) return;
        VKTLog::sharedInstance()->logWarning(
            "Pixels are not sent now, since the system gives no thread for them: they stay pending, and the "
            "next "
            "call for pixels tries again. Raise the limit of threads or memory, or start fewer.");
    }

    void send(VKTPixel& pixel) const {
        VKTURLRequest request;
        request.url = pixel.url();
        request.cachePolicy = VKTURLRequestReloadIgnoringLocalCacheData;
        request.timeoutInterval = VKTPixelTimeout;
        request.bodyKeepLimit = VKTPixelBodyLimit;
        request.canceller = canceller;
        bool isDelivered = false;
        vkt_callGuarded("the session of a VKTPixelManager", [&] {
            isDelivered = isResponseSuccessful(urlSession->synchronousDataRequestWithURLRequest(request));
        });
        if (isDelivered) {
            pixel.setStatus(VKTPixelStatusSuccess);
            pixelStore->deletePixel(pixel);
            // Recorded before the next one is sent, so that a killed process repeats one at most.
            pixelStore->saveChanges();
        } else {
            VKTLog::sharedInstance()->logDebugWithFormat("Can't send pixel '%@'!",
                                                         pixel.url().absoluteString());
        }
    }

    void runPass() const {
        pixelStore->deleteObsoletePixels();
        for (const auto& pixel : pixelStore->validPendingPixels()) {
            if (isStopped) break;
            send(*pixel);
        }
        pixelStore->saveToDisk();
    }

    const std::shared_ptr<VKTPixelStore> pixelStore;
    const std::shared_ptr<VKTURLSession> urlSession;
    const std::shared_ptr<VKTHTTPCanceller> canceller = std::make_shared<VKTHTTPCanceller>();
    std::atomic<bool> isStopped = false;
    std::atomic<bool> hasWarnedOfNoThread = false;
    VKTMutex mutex;
    std::size_t waitingPasses VKT_GUARDED_BY(mutex) = 0;  // without a handler
};

const std::shared_ptr<VKTPixelManager>& VKTPixelManager::sharedInstance() {
    static const auto* instance = [] {
        VKTPlatform::noteKeptBy("VKTPixelManager::sharedInstance()");
        return new std::shared_ptr<VKTPixelManager>(
            initWithPixelStore(VKTPixelStore::sharedInstance(), VKTURLSession::sharedInstance()));
    }();
    return *instance;
}

std::shared_ptr<VKTPixelManager> VKTPixelManager::initWithPixelStore(
    std::shared_ptr<VKTPixelStore> pixelStore, std::shared_ptr<VKTURLSession> urlSession) {
    return std::shared_ptr<VKTPixelManager>(
        new VKTPixelManager(std::move(pixelStore), std::move(urlSession)));
}

VKTPixelManager::VKTPixelManager(std::shared_ptr<VKTPixelStore> pixelStore,
                                 std::shared_ptr<VKTURLSession> urlSession)
    : worker_(std::make_shared<Worker>(std::move(pixelStore), std::move(urlSession))),
      queue_(VKTPlatform::current().makeSerialQueue()) {
    queue_->setName("vkt-pixels");
}

VKTPixelManager::~VKTPixelManager() {
    worker_->isStopped = true;
    worker_->canceller->cancel();
}

const std::shared_ptr<VKTPixelStore>& VKTPixelManager::pixelStore() const {
    return worker_->pixelStore;
}

const std::shared_ptr<VKTURLSession>& VKTPixelManager::urlSession() const {
    return worker_->urlSession;
}

void VKTPixelManager::addPixel(const std::shared_ptr<VKTPixel>& pixel) const {
    addPixels({pixel});
}

void VKTPixelManager::addPixels(const VKTPixels& pixels) const {
    bool isAnyAdded = false;
    for (const auto& pixel : pixels)
        isAnyAdded |= pixelStore()->addPixel(pixel);
    if (isAnyAdded) pixelStore()->saveToDisk();
}

void VKTPixelManager::callPixelsWithCompletionHandler(CompletionHandler completionHandler) {
    if (!completionHandler) {
        if (!worker_->addWaitingPass()) return;
        const bool isPosted = queue_->tryPost([worker = worker_] {
            worker->removeWaitingPass();
            if (!worker->isStopped) worker->runPass();
        });
        if (isPosted) return;
        worker_->removeWaitingPass();
        worker_->warnOfNoThread();
        return;
    }
    const auto callHandler = [handler = std::move(completionHandler)] {
        vkt_callGuarded("the completion handler of a VKTPixelManager", handler);
    };
    const bool isPosted = queue_->tryPost([worker = worker_, callHandler] {
        if (!worker->isStopped) worker->runPass();
        callHandler();
    });
    if (isPosted) return;
    worker_->warnOfNoThread();
    callHandler();
}

bool VKTPixelManager::isResponseSuccessful(const VKTURLSessionResponse& response) {
    return response.response() && !response.error() && isStatusCodeValid(response.response()->statusCode);
}

bool VKTPixelManager::isStatusCodeValid(int statusCode) {
    constexpr int notFound = 404;  // a dead URL is not tried again for a whole day
    return (statusCode >= 200 && statusCode < 400) || statusCode == notFound;
}

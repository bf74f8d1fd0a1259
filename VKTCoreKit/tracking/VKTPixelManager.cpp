#include "VKTCoreKit/tracking/VKTPixelManager.h"

#include <atomic>
#include <set>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/tracking/detail/VKTPixelObservers.h"

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

    void tellOfNoThread() {
        tell(&VKTPixelObserver::pixelPassNotRun, VKTPixelPassNoThread);
        if (hasWarnedOfNoThread.exchange(true)) return;
        VKTLog::sharedInstance()->logWarning(
            "Pixels are not sent now, since the system gives no thread for them: they stay pending, and the "
            "next "
            "call for pixels tries again. Raise the limit of threads or memory, or start fewer.");
    }

    template <typename... Parameters, typename... Arguments>
    void tell(void (VKTPixelObserver::*what)(Parameters...), const Arguments&... arguments) const {
        observers.tell(what, arguments...);
    }

    bool add(const std::shared_ptr<VKTPixel>& pixel) const {
        if (!pixel) return false;
        const bool isAdded = observers.isEmpty() ? pixelStore->addPixel(pixel) : tellAndAdd(pixel);
        if (!isAdded) tell(&VKTPixelObserver::pixelFolded, pixel);
        return isAdded;
    }

    // Told before a pass can find it, so that nothing else is told of it before. Another of its ID that comes
    // meanwhile, from the observer or from another thread, is folded into it.
    bool tellAndAdd(const std::shared_ptr<VKTPixel>& pixel) const {
        {
            VKTLock lock(mutex);
            if (!IDsBeingAdded.insert(pixel->ID()).second) return false;
        }
        bool isAdded = false;
        if (!pixelStore->isPixelInStore(*pixel)) {
            tell(&VKTPixelObserver::pixelAdded, pixel);
            isAdded = pixelStore->addPixel(pixel);
        }
        VKTLock lock(mutex);
        IDsBeingAdded.erase(pixel->ID());
        return isAdded;
    }

    void save() const {
        if (!pixelStore->saveToDisk()) tell(&VKTPixelObserver::pixelsNotSaved);
    }

    void send(const std::shared_ptr<VKTPixel>& pixel) const {
        VKTURLRequest request;
        request.url = pixel->url();
        request.cachePolicy = VKTURLRequestReloadIgnoringLocalCacheData;
        request.timeoutInterval = VKTPixelTimeout;
        request.bodyKeepLimit = VKTPixelBodyLimit;
        request.canceller = canceller;
        pixel->addAttempt();
        tell(&VKTPixelObserver::pixelTried, pixel);
        auto response = VKTURLSessionResponse::initWithData(nullptr, nullptr, std::nullopt);
        vkt_callGuarded("the session of a VKTPixelManager",
                        [&] { response = urlSession->synchronousDataRequestWithURLRequest(request); });
        if (isResponseSuccessful(response)) {
            noteDelivery(pixel, response);
        } else {
            noteRefusal(pixel, response);
        }
    }

    void noteDelivery(const std::shared_ptr<VKTPixel>& pixel, const VKTURLSessionResponse& response) const {
        pixel->setStatus(VKTPixelStatusSuccess);
        pixelStore->deletePixel(*pixel);
        // Recorded before the next one is sent, so that a killed process repeats one at most.
        const bool isSaved = pixelStore->saveChanges();
        tell(&VKTPixelObserver::pixelDelivered, pixel, response);
        if (!isSaved) tell(&VKTPixelObserver::pixelsNotSaved);
    }

    void noteRefusal(const std::shared_ptr<VKTPixel>& pixel, const VKTURLSessionResponse& response) const {
        VKTLog::sharedInstance()->logDebugWithFormat("Can't send pixel '%@'!", pixel->url().absoluteString());
        if (observers.isEmpty()) return;
        const bool isTriedAgain =
            !VKTPixelStore::isPixelObsolete(*pixel) && pixelStore->isPixelInStore(*pixel);
        tell(&VKTPixelObserver::pixelRefused, pixel, response, isTriedAgain);
    }

    void runPass() const {
        for (const auto& pixel : pixelStore->deleteObsoletePixels()) {
            if (pixel->status() != VKTPixelStatusSuccess) tell(&VKTPixelObserver::pixelExpired, pixel);
        }
        for (const auto& pixel : pixelStore->validPendingPixels()) {
            if (tellIfStopped()) break;
            send(pixel);
        }
        save();
    }

    void runPassUnlessStopped() const {
        if (!tellIfStopped()) runPass();
    }

    bool tellIfStopped() const {
        if (!isStopped) return false;
        tell(&VKTPixelObserver::pixelPassNotRun, VKTPixelPassStopped);
        return true;
    }

    const std::shared_ptr<VKTPixelStore> pixelStore;
    const std::shared_ptr<VKTURLSession> urlSession;
    const std::shared_ptr<VKTHTTPCanceller> canceller = std::make_shared<VKTHTTPCanceller>();
    std::atomic<bool> isStopped = false;
    std::atomic<bool> hasWarnedOfNoThread = false;
    mutable VKTPixelObservers observers;
    mutable VKTMutex mutex;
    mutable std::set<std::uint32_t> IDsBeingAdded VKT_GUARDED_BY(mutex);  // told of, and not in the store yet
    std::size_t waitingPasses VKT_GUARDED_BY(mutex) = 0;                  // without a handler
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
    const auto worker = worker_;  // the observer may let go of this
    bool isAnyAdded = false;
    for (const auto& pixel : pixels)
        isAnyAdded |= worker->add(pixel);
    if (isAnyAdded) worker->save();
}

bool VKTPixelManager::addPixelWithoutSaving(const std::shared_ptr<VKTPixel>& pixel) const {
    const auto worker = worker_;
    return worker->add(pixel);
}

void VKTPixelManager::savePixels() const {
    const auto worker = worker_;
    worker->save();
}

void VKTPixelManager::setObserver(const std::shared_ptr<VKTPixelObserver>& observer) {
    worker_->observers.set(observer);
}

void VKTPixelManager::addObserver(const std::shared_ptr<VKTPixelObserver>& observer) {
    worker_->observers.add(observer);
}

void VKTPixelManager::removeObserver(const std::shared_ptr<VKTPixelObserver>& observer) {
    worker_->observers.remove(observer);
}

void VKTPixelManager::tellObserver(const VKTPixelURLFailure& failure) const {
    const auto worker = worker_;
    worker->tell(&VKTPixelObserver::pixelURLFailed, failure);
}

void VKTPixelManager::callPixelsWithCompletionHandler(CompletionHandler completionHandler) {
    const auto worker = worker_;  // the observer may let go of this
    if (!completionHandler) {
        if (!worker->addWaitingPass())
            return worker->tell(&VKTPixelObserver::pixelPassNotRun, VKTPixelPassFolded);
        const bool isPosted = queue_->tryPost([worker] {
            worker->removeWaitingPass();
            worker->runPassUnlessStopped();
        });
        if (isPosted) return;
        worker->removeWaitingPass();
        worker->tellOfNoThread();
        return;
    }
    const auto callHandler = [handler = std::move(completionHandler)] {
        vkt_callGuarded("the completion handler of a VKTPixelManager", handler);
    };
    const bool isPosted = queue_->tryPost([worker, callHandler] {
        worker->runPassUnlessStopped();
        callHandler();
    });
    if (isPosted) return;
    worker->tellOfNoThread();
    callHandler();
}

bool VKTPixelManager::isResponseSuccessful(const VKTURLSessionResponse& response) {
    return response.response() && !response.error() && isStatusCodeValid(response.response()->statusCode);
}

bool VKTPixelManager::isStatusCodeValid(int statusCode) {
    constexpr int notFound = 404;  // a dead URL is not tried again for a whole day
    return (statusCode >= 200 && statusCode < 400) || statusCode == notFound;
}

#include "VKTCoreKit/platform/linux/VKTCurlTask.h"

#include <cerrno>
#include <future>
#include <system_error>
#include <utility>

#include "VKTCoreKit/platform/linux/VKTAsioQueues.h"
#include "VKTCoreKit/platform/linux/VKTCurlTransferEngine.h"

VKTCurlDelivery::VKTCurlDelivery(VKTCurlLibrary& library, const std::string& threadName)
    : library_(library), queue_(vkt_makeAsioSerialQueue(threadName)) {}

// A thread that does not exist here, or that may be in a completion while the process is being left, is not
// joined.
VKTCurlDelivery::~VKTCurlDelivery() {
    if (!library_.isUsable()) static_cast<void>(queue_.release());
}

bool VKTCurlDelivery::start() {
    if (!hasThread_) hasThread_ = queue_->tryPost([] {});
    return hasThread_;
}

void VKTCurlDelivery::deliver(VKTHTTPCompletion completion, VKTCurlResult result) {
    if (library_.isLeaving()) return;
    if (library_.isForked() || !start()) {
        return completion(std::move(result.data), std::move(result.response), std::move(result.error));
    }
    // What waits here may outlive this object; the library outlives everything.
    queue_->post([&library = library_, completion = std::move(completion), result = std::move(result)] {
        if (!library.isLeaving()) completion(result.data, result.response, result.error);
    });
}

void VKTCurlDelivery::waitUntilDelivered() {
    if (!hasThread_ || !library_.isUsable() || queue_->isCurrentThread()) return;
    std::promise<void> delivered;
    queue_->post([&] { delivered.set_value(); });
    delivered.get_future().wait();
}

VKTCurlTask::VKTCurlTask(VKTURLRequest request, VKTHTTPCompletion completion, std::uint64_t identifier,
                         std::weak_ptr<VKTCurlTransferEngine> engine,
                         std::shared_ptr<VKTCurlDelivery> delivery)
    : request_(std::move(request)),
      completion_(std::move(completion)),
      identifier_(identifier),
      engine_(std::move(engine)),
      delivery_(std::move(delivery)) {}

void VKTCurlTask::resume() {
    if (isStarted_.exchange(true)) return;
    if (delivery_->isForked()) {
        if (settle()) {
            completeHere(failure(VKTURLErrorResourceUnavailable, "not available in a forked process",
                                 "make a new session after fork"));
        }
    } else if (request_.completesOnTransferThread) {
        resumeBlocking();
    } else {
        resumeAsynchronously();
    }
}

void VKTCurlTask::resumeAsynchronously() {
    const auto engine = engine_.lock();
    auto outcome = VKTCurlSubmission::NoThread;
    if (delivery_->start()) {
        outcome = engine ? engine->submit(shared_from_this(), VKTCurlCommand::Start)
                         : VKTCurlSubmission::SessionGone;
    }
    if (outcome == VKTCurlSubmission::Accepted || !settle()) return;
    deliver(outcome == VKTCurlSubmission::NoThread ? threadlessFailure() : cancelledFailure());
}

// A blocking task that has been resumed is completed here and nowhere else, also when it is cancelled.
void VKTCurlTask::resumeBlocking() {
    const auto engine = engine_.lock();
    if (engine && engine->perform(shared_from_this())) return;
    isSettled_ = true;
    completeHere(cancelledFailure());
}

void VKTCurlTask::cancel() {
    const bool wasStarted = isStarted_.exchange(true);
    if (!settle()) return;
    if (delivery_->isForked()) {
        // What was started before the fork ends in the parent.
        if (!wasStarted) completeHere(cancelledFailure());
        return;
    }
    const auto engine = engine_.lock();
    if (wasStarted && request_.completesOnTransferThread) {
        if (engine) engine->wakeBlockingTransfers();
    } else if (!engine ||
               engine->submit(shared_from_this(), VKTCurlCommand::Cancel) != VKTCurlSubmission::Accepted) {
        deliver(cancelledFailure());
    }
}

void VKTCurlTask::complete(VKTCurlResult result) {
    if (request_.completesOnTransferThread) {
        completeHere(std::move(result));
    } else {
        deliver(std::move(result));
    }
}

void VKTCurlTask::completeHere(VKTCurlResult result) {
    const VKTHTTPCompletion completion = std::move(completion_);
    completion(std::move(result.data), std::move(result.response), std::move(result.error));
}

void VKTCurlTask::deliver(VKTCurlResult result) {
    delivery_->deliver(std::move(completion_), std::move(result));
}

VKTCurlResult VKTCurlTask::failure(VKTURLErrorCode code, const char* what, std::string_view reason) const {
    return {nullptr, nullptr, vkt_transferError(code, what, request_.url, reason)};
}

VKTCurlResult VKTCurlTask::cancelledFailure() const {
    return failure(VKTURLErrorCancelled, "cancelled");
}

VKTCurlResult VKTCurlTask::threadlessFailure() const {
    return failure(VKTURLErrorResourceUnavailable, "cannot start a thread",
                   std::generic_category().message(EAGAIN));
}

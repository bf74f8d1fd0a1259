#include "VKTCoreKit/platform/linux/VKTCurlTransferEngine.h"

#include <algorithm>
#include <iterator>

#include "VKTCoreKit/platform/VKTHeaderRule.h"

namespace {

// Sets kept with their connections: one for each thread of a fan-out of blocking requests.
constexpr std::size_t idleSetLimit = 16;

// Connections kept in each: a blocking request has one for itself and one for each host it is redirected to.
constexpr std::size_t connectionsPerIdleSet = 4;

constexpr std::chrono::minutes longestWait{1};
constexpr std::chrono::milliseconds shortestLook{100};  // after sets that are busy
constexpr VKTTimeInterval longestIdleTime = std::chrono::hours(24);

VKTHTTPSessionOptions bounded(VKTHTTPSessionOptions options) {
    options.connections = std::max<std::size_t>(options.connections, 1);
    options.connectionsPerHost = std::max<std::size_t>(options.connectionsPerHost, 1);
    if (!(options.idleConnectionTime > VKTTimeInterval(0))) options.idleConnectionTime = VKTTimeInterval(0);
    options.idleConnectionTime = std::min(options.idleConnectionTime, longestIdleTime);
    options.headers = vkt_usableHeaders(std::move(options.headers), "VKTHTTPSessionOptions::headers");
    return options;
}

}  // namespace

VKTCurlTransferEngine::VKTCurlTransferEngine(const VKTHTTPSessionOptions& options)
    : library_(VKTCurlLibrary::current()),
      options_(bounded(options)),
      idleTime_(std::chrono::ceil<std::chrono::milliseconds>(options_.idleConnectionTime)),
      queue_(options_.connectionsPerHost, options_.connections) {
    library_.addUser(*this);
}

VKTCurlTransferEngine::~VKTCurlTransferEngine() {
    library_.removeUser(*this);
}

VKTCurlSubmission VKTCurlTransferEngine::submit(std::shared_ptr<VKTCurlTask> task, VKTCurlCommand command) {
    const VKTCurlLibrary::Stay stay(library_);
    VKTLock lock(mutex_);
    if (!stay || isStopped_) return VKTCurlSubmission::SessionGone;
    if (!startThread()) return VKTCurlSubmission::NoThread;
    submitted_.emplace_back(std::move(task), command);
    asynchronousSet_->wake();
    return VKTCurlSubmission::Accepted;
}

bool VKTCurlTransferEngine::perform(const std::shared_ptr<VKTCurlTask>& task) {
    const VKTCurlLibrary::Stay stay(library_);
    std::unique_ptr<VKTCurlTransferSet> transfers = stay ? takeBlockingSet() : nullptr;
    if (!transfers) return false;
    auto error = VKTCurlTransferSet::errorBeforeStart(task->request());
    if (!error && !task->isSettled()) {
        transfers->begin(task);
    } else if (error && task->settle()) {
        task->complete({nullptr, nullptr, std::move(error)});
    } else {
        transfers->endCancelled(*task);
    }
    while (transfers->isActive(*task)) {
        transfers->advance();
        if (!transfers->isActive(*task)) break;
        if (task->isSettled() || (isStopped() && task->settle())) {
            transfers->endCancelled(*task);
        } else {
            transfers->wait(std::chrono::steady_clock::now() + longestWait);
        }
    }
    returnBlockingSet(std::move(transfers));
    return true;
}

void VKTCurlTransferEngine::wakeBlockingTransfers() {
    VKTLock lock(mutex_);
    for (VKTCurlTransferSet* transfers : busySets_)
        transfers->wake();
}

void VKTCurlTransferEngine::stop() {
    VKTThread thread;
    {
        VKTLock lock(mutex_);
        isStopped_ = true;
        thread.swap(thread_);
        if (thread.isJoinable()) asynchronousSet_->wake();
    }
    wakeBlockingTransfers();
    if (!thread.isJoinable()) return;
    if (thread.isCurrent()) {
        thread.detach();
    } else {
        thread.join();
    }
}

void VKTCurlTransferEngine::leaveLibrary() {
    VKTLock lock(mutex_);
    isStopped_ = true;
    if (asynchronousSet_ != nullptr) asynchronousSet_->wake();
    if (thread_.isJoinable()) thread_.detach();  // it ends by itself, and nobody will join it any more
    for (VKTCurlTransferSet* transfers : busySets_)
        transfers->wake();
}

std::unique_ptr<VKTCurlTransferSet> VKTCurlTransferEngine::makeAsynchronousSet() const {
    return std::make_unique<VKTCurlTransferSet>(library_, options_, options_.connections);
}

bool VKTCurlTransferEngine::startThread() {
    if (thread_.isJoinable()) return true;
    if (!transfers_) transfers_ = makeAsynchronousSet();
    asynchronousSet_ = transfers_.get();
    return thread_.start(options_.transferThreadName, [self = shared_from_this()] { self->run(); }) == 0;
}

void VKTCurlTransferEngine::run() {
    const VKTCurlLibrary::Stay stay(library_);
    while (stay && takeSubmitted()) {
        while (const auto task = queue_.next())
            transfers_->begin(task);
        const auto ended = transfers_->advance();
        for (const auto& task : ended)
            queue_.remove(*task);
        closeIdleConnections();
        if (ended.empty()) transfers_->wait(nextClosing_);
    }
    // With the process ends everything, and nobody hears of it any more.
    if (!library_.isLeaving()) cancelAll();
}

// False when the thread has to end.
bool VKTCurlTransferEngine::takeSubmitted() {
    decltype(submitted_) submitted;
    bool hasStopped = false;
    {
        VKTLock lock(mutex_);
        submitted.swap(submitted_);
        hasStopped = isStopped_;
    }
    for (const auto& [task, command] : submitted) {
        if (command == VKTCurlCommand::Cancel || (hasStopped && task->settle())) {
            transfers_->endCancelled(*task);
            queue_.remove(*task);
        } else if (!task->isSettled()) {
            start(task);
        }
    }
    return !hasStopped;
}

void VKTCurlTransferEngine::start(const std::shared_ptr<VKTCurlTask>& task) {
    auto error = VKTCurlTransferSet::errorBeforeStart(task->request());
    if (!error) return queue_.add(task);
    // One that was cancelled meanwhile is ended by the command that follows.
    if (task->settle()) task->complete({nullptr, nullptr, std::move(error)});
}

// Tasks that have been cancelled already are left to that.
void VKTCurlTransferEngine::cancelAll() {
    transfers_->cancelAll();
    while (const auto task = queue_.takeWaiting()) {
        if (task->settle()) transfers_->endCancelled(*task);
    }
}

void VKTCurlTransferEngine::closeIdleConnections() {
    const TimePoint now = std::chrono::steady_clock::now();
    nextClosing_ = std::min(closeIdleSets(now), now + longestWait);
    if (!transfers_->isIdle() || !transfers_->hasConnections()) return;
    const TimePoint due = transfers_->lastUse() + idleTime_;
    if (due > now) {
        nextClosing_ = std::min(nextClosing_, due);
        return;
    }
    std::unique_ptr<VKTCurlTransferSet> old = makeAsynchronousSet();
    old.swap(transfers_);
    VKTLock lock(mutex_);
    asynchronousSet_ = transfers_.get();
    asynchronousSet_->wake();  // somebody may just have woken the old one
}

// When it has to be called again.
VKTCurlTransferEngine::TimePoint VKTCurlTransferEngine::closeIdleSets(TimePoint now) {
    std::vector<std::unique_ptr<VKTCurlTransferSet>> expired;
    VKTLock lock(mutex_);
    const auto firstKept = std::find_if(idleSets_.begin(), idleSets_.end(), [&](const auto& transfers) {
        return transfers->lastUse() + idleTime_ > now;
    });
    expired.assign(std::make_move_iterator(idleSets_.begin()), std::make_move_iterator(firstKept));
    idleSets_.erase(idleSets_.begin(), firstKept);
    // Those that are busy are idle sooner or later: so the thread need not be woken for each that is
    // returned.
    looksAfterIdleSets_ = !idleSets_.empty() || !busySets_.empty();
    if (!idleSets_.empty()) return idleSets_.front()->lastUse() + idleTime_;
    return looksAfterIdleSets_ ? now + std::max(idleTime_, shortestLook) : TimePoint::max();
}

bool VKTCurlTransferEngine::isStopped() {
    VKTLock lock(mutex_);
    return isStopped_;
}

// The set used last: its connections are the warmest.
std::unique_ptr<VKTCurlTransferSet> VKTCurlTransferEngine::takeBlockingSet() {
    VKTLock lock(mutex_);
    if (isStopped_) return nullptr;
    std::unique_ptr<VKTCurlTransferSet> transfers;
    if (idleSets_.empty()) {
        transfers = std::make_unique<VKTCurlTransferSet>(library_, options_, connectionsPerIdleSet);
    } else {
        transfers = std::move(idleSets_.back());
        idleSets_.pop_back();
    }
    busySets_.push_back(transfers.get());
    return transfers;
}

// Connections are kept while there is a thread that closes them in time.
void VKTCurlTransferEngine::returnBlockingSet(std::unique_ptr<VKTCurlTransferSet> transfers) {
    VKTLock lock(mutex_);
    std::erase(busySets_, transfers.get());
    if (isStopped_ || idleSets_.size() >= idleSetLimit) return;
    if (!(transfers->hasConnections() ? startThread() : thread_.isJoinable())) return;
    idleSets_.push_back(std::move(transfers));
    if (!std::exchange(looksAfterIdleSets_, true)) asynchronousSet_->wake();
}

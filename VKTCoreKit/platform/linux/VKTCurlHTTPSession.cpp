#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"

#include <curl/curl.h>
#include <pthread.h>

#include <atomic>
#include <csignal>
#include <future>
#include <thread>
#include <unordered_map>
#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/linux/VKTAsioRunLoop.h"
#include "VKTCoreKit/platform/linux/VKTCurlTransfer.h"

namespace {

// Idle handles kept; more than that many transfers at once are rare.
constexpr std::size_t idleTransferLimit = 8;

// Sets kept with their connections: one for each thread of a fan-out of blocking requests.
constexpr std::size_t idleSetLimit = 16;

constexpr int longestWaitMilliseconds = 60'000;

VKTError cancelledError(const VKTURL& url) {
    return vkt_transferError(VKTURLErrorCancelled, "cancelled", url);
}

class TransferEngine;

enum class Command { Start, Cancel };

class CurlTask final : public VKTHTTPDataTask, public std::enable_shared_from_this<CurlTask> {
  public:
    CurlTask(VKTURLRequest request, VKTHTTPCompletion completion, std::uint64_t identifier,
             std::weak_ptr<TransferEngine> engine, std::shared_ptr<VKTSerialQueue> deliveryQueue)
        : request_(std::move(request)),
          completion_(std::move(completion)),
          identifier_(identifier),
          engine_(std::move(engine)),
          deliveryQueue_(std::move(deliveryQueue)) {}

    void resume() override;
    void cancel() override;
    [[nodiscard]] std::uint64_t taskIdentifier() const override { return identifier_; }

    [[nodiscard]] const VKTURLRequest& request() const { return request_; }

    /// Decides the outcome: true for the first caller only, who then owes the one completion.
    [[nodiscard]] bool settle() { return !isSettled_.exchange(true); }
    [[nodiscard]] bool isSettled() const { return isSettled_; }

    /// Called once, on the thread that makes the transfer, for a task that is settled.
    void complete(VKTCurlResult result) {
        if (!request_.completesOnTransferThread) {
            deliver(std::move(result));
            return;
        }
        const VKTHTTPCompletion completion = std::move(completion_);
        completion(std::move(result.data), std::move(result.response), std::move(result.error));
    }

  private:
    void resumeBlocking(TransferEngine* engine);

    void deliverCancelled() { deliver({nullptr, nullptr, cancelledError(request_.url)}); }

    void deliver(VKTCurlResult result) {
        deliveryQueue_->post([completion = std::move(completion_), result = std::move(result)] {
            completion(result.data, result.response, result.error);
        });
    }

    const VKTURLRequest request_;
    VKTHTTPCompletion completion_;
    const std::uint64_t identifier_;
    const std::weak_ptr<TransferEngine> engine_;
    const std::shared_ptr<VKTSerialQueue> deliveryQueue_;
    std::atomic<bool> isStarted_ = false;
    std::atomic<bool> isSettled_ = false;
};

// A multi handle with its connections and the transfers on it. Used by one thread at a time, but for `wake`.
class TransferSet {
  public:
    /// The options outlive the set.
    explicit TransferSet(const VKTHTTPSessionOptions& options)
        : options_(options), multi_(curl_multi_init()) {}
    ~TransferSet() {
        idle_.clear();
        curl_multi_cleanup(multi_);
    }
    TransferSet(const TransferSet&) = delete;
    TransferSet& operator=(const TransferSet&) = delete;

    void wake() { curl_multi_wakeup(multi_); }

    void begin(const std::shared_ptr<CurlTask>& task) {
        if (auto error = errorBeforeStart(task->request())) {
            if (task->settle()) return task->complete({nullptr, nullptr, std::move(error)});
            // Cancelled meanwhile: a command follows, unless the task is a blocking one.
            if (task->request().completesOnTransferThread) endCancelled(*task);
            return;
        }
        std::unique_ptr<VKTCurlTransfer> transfer = takeTransfer();
        transfer->prepare(task->request(), task.get());
        curl_multi_add_handle(multi_, transfer->easy());
        active_.emplace(task.get(), Active{task, std::move(transfer)});
    }

    /// Moves all transfers on as far as they get without waiting, and completes those that have ended.
    void advance() {
        int running = 0;
        curl_multi_perform(multi_, &running);
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
            if (message->msg != CURLMSG_DONE) continue;
            char* owner = nullptr;
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &owner);
            const Active& active = active_.at(reinterpret_cast<const CurlTask*>(owner));
            const std::shared_ptr<CurlTask> task = active.task;
            const CURLcode code = message->data.result;
            if (!task->isSettled() && active.transfer->followRedirect(code)) {
                curl_multi_remove_handle(multi_, active.transfer->easy());
                active.transfer->prepareNext();
                curl_multi_add_handle(multi_, active.transfer->easy());
                continue;
            }
            // One that was cancelled meanwhile is ended by `endCancelled`.
            if (!task->settle()) continue;
            // Completed first: cleaning up may take its time.
            task->complete(active.transfer->result(code));
            retire(*task);
        }
    }

    /// Waits for the network, a deadline or `wake`.
    void wait() { curl_multi_poll(multi_, nullptr, 0, longestWaitMilliseconds, nullptr); }

    [[nodiscard]] bool isActive(const CurlTask& task) const { return active_.contains(&task); }

    /// Completes a task that was settled as cancelled, whether its transfer has begun or not.
    void endCancelled(CurlTask& task) {
        VKTCurlResult result{nullptr, nullptr, cancelledError(task.request().url)};
        const auto found = active_.find(&task);
        if (found == active_.end()) return task.complete(std::move(result));
        result.response = found->second.transfer->takeFinalResponse();
        const std::shared_ptr<CurlTask> keptAlive = found->second.task;
        task.complete(std::move(result));
        retire(task);
    }

    /// Cancels all. A task that has been cancelled already is left to that.
    void cancelAll() {
        while (!active_.empty()) {
            const std::shared_ptr<CurlTask> task = active_.begin()->second.task;
            if (task->settle()) {
                endCancelled(*task);
            } else {
                retire(*task);
            }
        }
    }

  private:
    struct Active {
        std::shared_ptr<CurlTask> task;
        std::unique_ptr<VKTCurlTransfer> transfer;
    };

    static std::optional<VKTError> errorBeforeStart(const VKTURLRequest& request) {
        const VKTURL& url = request.url;
        const auto scheme = url.scheme();
        if (scheme && !vkt_isHTTPScheme(*scheme)) {
            return vkt_transferError(VKTURLErrorUnsupportedURL, "unsupported URL scheme", url, *scheme);
        }
        if (!scheme || !url.host())
            return vkt_transferError(VKTURLErrorBadURL, "bad URL", url, url.absoluteString());
        if (!(request.timeoutInterval > VKTTimeInterval(0))) {
            return vkt_transferError(VKTURLErrorTimedOut, "timed out", url, "no time was given");
        }
        return std::nullopt;
    }

    std::unique_ptr<VKTCurlTransfer> takeTransfer() {
        if (idle_.empty()) return std::make_unique<VKTCurlTransfer>(options_);
        std::unique_ptr<VKTCurlTransfer> transfer = std::move(idle_.back());
        idle_.pop_back();
        return transfer;
    }

    void retire(const CurlTask& task) {
        const auto found = active_.find(&task);
        // The task, whose request the transfer uses, lives until both have been cleared.
        Active ended = std::move(found->second);
        std::unique_ptr<VKTCurlTransfer> transfer = std::move(ended.transfer);
        active_.erase(found);
        curl_multi_remove_handle(multi_, transfer->easy());
        transfer->clear();
        if (idle_.size() < idleTransferLimit) idle_.push_back(std::move(transfer));
    }

    const VKTHTTPSessionOptions& options_;
    CURLM* multi_;
    std::unordered_map<const CurlTask*, Active> active_;
    std::vector<std::unique_ptr<VKTCurlTransfer>> idle_;
};

// All transfers of a session: one thread with a set of its own, and a set for each blocking request, driven
// by the thread that waits for it. So a blocking request costs no change of threads.
class TransferEngine : public std::enable_shared_from_this<TransferEngine> {
  public:
    explicit TransferEngine(VKTHTTPSessionOptions options) : options_(std::move(options)) {}

    /// Hands a command to the thread. False when the session is gone.
    bool submit(std::shared_ptr<CurlTask> task, Command command) {
        {
            VKTLock lock(mutex_);
            if (isStopped_) return false;
            submitted_.emplace_back(std::move(task), command);
            if (!thread_.joinable()) startThread();
        }
        transfers_->wake();
        return true;
    }

    /// Makes the transfer of a task on the calling thread. False when the session is gone.
    bool perform(const std::shared_ptr<CurlTask>& task) {
        std::unique_ptr<TransferSet> transfers = takeBlockingSet();
        if (!transfers) return false;
        if (task->isSettled()) {
            transfers->endCancelled(*task);
        } else {
            transfers->begin(task);
        }
        while (transfers->isActive(*task)) {
            transfers->advance();
            if (!transfers->isActive(*task)) break;
            if (task->isSettled() || (isStopped() && task->settle())) {
                transfers->endCancelled(*task);
            } else {
                transfers->wait();
            }
        }
        returnBlockingSet(std::move(transfers));
        return true;
    }

    /// Lets every blocking transfer look whether it has been cancelled.
    void wakeBlockingTransfers() {
        VKTLock lock(mutex_);
        for (TransferSet* transfers : busySets_)
            transfers->wake();
    }

    /// Cancels what is under way and ends the thread.
    void stop() {
        std::thread thread;
        {
            VKTLock lock(mutex_);
            isStopped_ = true;
            thread.swap(thread_);
        }
        wakeBlockingTransfers();
        if (!thread.joinable()) return;
        transfers_->wake();
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach();
        } else {
            thread.join();
        }
    }

  private:
    using Submission = std::pair<std::shared_ptr<CurlTask>, Command>;

    static void initializeLibrary() {
        static const CURLcode globalInit = curl_global_init(CURL_GLOBAL_DEFAULT);
        static_cast<void>(globalInit);
    }

    void startThread() VKT_REQUIRES(mutex_) {
        initializeLibrary();
        transfers_ = std::make_unique<TransferSet>(options_);
        thread_ = std::thread([self = shared_from_this()] { self->run(); });
    }

    void run() {
        // The application's signals are not for this thread, and a lost connection raises none (SIGPIPE).
        sigset_t allSignals;
        sigfillset(&allSignals);
        pthread_sigmask(SIG_BLOCK, &allSignals, nullptr);

        while (takeSubmitted()) {
            transfers_->advance();
            transfers_->wait();
        }
        transfers_->cancelAll();
    }

    // False when the thread has to end.
    bool takeSubmitted() {
        std::vector<Submission> submitted;
        bool hasStopped = false;
        {
            VKTLock lock(mutex_);
            submitted.swap(submitted_);
            hasStopped = isStopped_;
        }
        for (const auto& [task, command] : submitted) {
            if (command == Command::Cancel || (hasStopped && task->settle())) {
                transfers_->endCancelled(*task);
            } else if (!task->isSettled()) {
                transfers_->begin(task);
            }
        }
        return !hasStopped;
    }

    [[nodiscard]] bool isStopped() {
        VKTLock lock(mutex_);
        return isStopped_;
    }

    // The set used last: its connections are the warmest.
    std::unique_ptr<TransferSet> takeBlockingSet() {
        VKTLock lock(mutex_);
        if (isStopped_) return nullptr;
        std::unique_ptr<TransferSet> transfers;
        if (idleSets_.empty()) {
            initializeLibrary();
            transfers = std::make_unique<TransferSet>(options_);
        } else {
            transfers = std::move(idleSets_.back());
            idleSets_.pop_back();
        }
        busySets_.push_back(transfers.get());
        return transfers;
    }

    void returnBlockingSet(std::unique_ptr<TransferSet> transfers) {
        VKTLock lock(mutex_);
        std::erase(busySets_, transfers.get());
        if (!isStopped_ && idleSets_.size() < idleSetLimit) idleSets_.push_back(std::move(transfers));
    }

    const VKTHTTPSessionOptions options_;
    VKTMutex mutex_;
    std::vector<Submission> submitted_ VKT_GUARDED_BY(mutex_);
    std::thread thread_ VKT_GUARDED_BY(mutex_);
    bool isStopped_ VKT_GUARDED_BY(mutex_) = false;
    std::vector<std::unique_ptr<TransferSet>> idleSets_ VKT_GUARDED_BY(mutex_);
    std::vector<TransferSet*> busySets_ VKT_GUARDED_BY(mutex_);

    std::unique_ptr<TransferSet> transfers_;  // the thread's own, made before it starts
};

void CurlTask::resume() {
    if (isStarted_.exchange(true)) return;
    const auto engine = engine_.lock();
    if (request_.completesOnTransferThread) {
        resumeBlocking(engine.get());
    } else if ((!engine || !engine->submit(shared_from_this(), Command::Start)) && settle()) {
        deliverCancelled();
    }
}

// A blocking task that has been resumed is completed here and nowhere else, also when it is cancelled.
void CurlTask::resumeBlocking(TransferEngine* engine) {
    if (engine != nullptr && engine->perform(shared_from_this())) return;
    isSettled_ = true;
    complete({nullptr, nullptr, cancelledError(request_.url)});
}

void CurlTask::cancel() {
    const bool wasStarted = isStarted_.exchange(true);
    if (!settle()) return;
    const auto engine = engine_.lock();
    if (wasStarted && request_.completesOnTransferThread) {
        if (engine) engine->wakeBlockingTransfers();
    } else if (!engine || !engine->submit(shared_from_this(), Command::Cancel)) {
        deliverCancelled();
    }
}

class CurlHTTPSession final : public VKTHTTPSession {
  public:
    explicit CurlHTTPSession(const VKTHTTPSessionOptions& options)
        : engine_(std::make_shared<TransferEngine>(options)) {}

    ~CurlHTTPSession() override {
        engine_->stop();
        const bool isUsed = lastIdentifier_ > 0;
        if (!isUsed || deliveryQueue_->isCurrentThread()) return;
        std::promise<void> delivered;
        deliveryQueue_->post([&] { delivered.set_value(); });
        delivered.get_future().wait();
    }

    std::shared_ptr<VKTHTTPDataTask> dataTaskWithRequest(const VKTURLRequest& request,
                                                         VKTHTTPCompletion completion) override {
        return std::make_shared<CurlTask>(request, std::move(completion), ++lastIdentifier_, engine_,
                                          deliveryQueue_);
    }

  private:
    std::shared_ptr<TransferEngine> engine_;

    // Shared with the tasks: one that is started when the session is gone still has to be answered.
    std::shared_ptr<VKTSerialQueue> deliveryQueue_ = vkt_makeAsioSerialQueue();
    std::atomic<std::uint64_t> lastIdentifier_ = 0;
};

}  // namespace

std::shared_ptr<VKTHTTPSession> vkt_makeCurlHTTPSession(const VKTHTTPSessionOptions& options) {
    return std::make_shared<CurlHTTPSession>(options);
}

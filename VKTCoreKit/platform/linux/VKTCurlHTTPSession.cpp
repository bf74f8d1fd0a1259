#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"

#include <curl/curl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <future>
#include <thread>
#include <unordered_map>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/linux/VKTAsioRunLoop.h"

namespace {

// Idle handles kept; more than that many transfers at once are rare.
constexpr std::size_t idleTransferLimit = 8;

// Sets kept with their connections: one for each thread of a fan-out of blocking requests.
constexpr std::size_t idleSetLimit = 16;

constexpr int longestWaitMilliseconds = 60'000;

constexpr bool isRedirectStatus(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

bool isLoopbackHost(std::string_view host) {
    return vkt_equalsIgnoringCase(host, "localhost") || host.starts_with("127.") || host == "::1";
}

bool isHTTPScheme(std::string_view scheme) {
    return vkt_equalsIgnoringCase(scheme, "http") || vkt_equalsIgnoringCase(scheme, "https");
}

bool hasNetworkInterface() {
    ifaddrs* interfaces = nullptr;
    if (getifaddrs(&interfaces) != 0) return true;
    bool isUp = false;
    for (const ifaddrs* each = interfaces; each != nullptr; each = each->ifa_next) {
        isUp = isUp || ((each->ifa_flags & IFF_UP) != 0 && (each->ifa_flags & IFF_LOOPBACK) == 0);
    }
    freeifaddrs(interfaces);
    return isUp;
}

VKTError makeError(VKTURLErrorCode code, const char* what, const VKTURL& url, std::string_view reason = {}) {
    std::string text = what;
    if (const auto host = url.host()) text.append(" (").append(*host).append(")");
    if (!reason.empty()) text.append(": ").append(reason);
    return {VKTURLErrorDomain, code, {{VKTLocalizedDescriptionKey, std::move(text)}}};
}

VKTError cancelledError(const VKTURL& url) {
    return makeError(VKTURLErrorCancelled, "cancelled", url);
}

class TransferEngine;

enum class Command { Start, Cancel };

struct TransferResult {
    VKTData data;
    std::shared_ptr<const VKTURLResponse> response;
    std::optional<VKTError> error;
};

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
    void complete(TransferResult result) {
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

    void deliver(TransferResult result) {
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

// One easy handle and what it has received. Reused; its connection lives in the multi handle.
class Transfer {
  public:
    Transfer() : easy_(curl_easy_init()) {}
    ~Transfer() {
        curl_easy_cleanup(easy_);
        curl_slist_free_all(headers_);
    }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    [[nodiscard]] CURL* easy() const { return easy_; }
    [[nodiscard]] const std::shared_ptr<CurlTask>& task() const { return task_; }

    void prepare(std::shared_ptr<CurlTask> task, const std::string& hostsWithoutProxy) {
        task_ = std::move(task);
        if (!std::exchange(hasBehaviour_, true)) setBehaviour(hostsWithoutProxy);
        setRequest(task_->request());
    }

    TransferResult result(CURLcode code) {
        if (code == CURLE_OK) {
            auto response = takeResponse();
            return {std::make_shared<const std::string>(std::move(body_)), std::move(response), std::nullopt};
        }
        VKTError error = errorForCode(code);
        return {nullptr, takeFinalResponse(), std::move(error)};
    }

    // Nothing while the last header belongs to an answer that only leads on to another.
    std::shared_ptr<const VKTURLResponse> takeFinalResponse() {
        const bool hasLocation =
            std::any_of(response_.headers.begin(), response_.headers.end(),
                        [](const auto& header) { return vkt_equalsIgnoringCase(header.first, "Location"); });
        const bool isFinal =
            response_.statusCode >= 200 && !(isRedirectStatus(response_.statusCode) && hasLocation);
        return isHeaderComplete_ && isFinal ? takeResponse() : nullptr;
    }

    void clear() {
        // What a plain GET sets is overwritten by the next request; everything else starts anew.
        const VKTURLRequest& request = task_->request();
        if (request.HTTPMethod != "GET" || request.HTTPBody || headers_ != nullptr) {
            curl_easy_reset(easy_);
            hasBehaviour_ = false;
        }
        curl_slist_free_all(headers_);
        headers_ = nullptr;
        task_ = nullptr;
        body_ = {};
        response_ = {};
        isHeaderComplete_ = false;
        isBodyTooLarge_ = false;
        reason_.front() = '\0';
    }

  private:
    template <typename Value>
    void set(CURLoption option, Value value) {
        curl_easy_setopt(easy_, option, value);
    }

    void setBehaviour(const std::string& hostsWithoutProxy) {
        set(CURLOPT_PRIVATE, this);
        set(CURLOPT_ERRORBUFFER, reason_.data());
        set(CURLOPT_WRITEFUNCTION, &Transfer::receiveBody);
        set(CURLOPT_WRITEDATA, this);
        set(CURLOPT_HEADERFUNCTION, &Transfer::receiveHeader);
        set(CURLOPT_HEADERDATA, this);
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
        set(CURLOPT_FOLLOWLOCATION, 1L);
        set(CURLOPT_MAXREDIRS, static_cast<long>(VKTHTTPRedirectLimit));
        set(CURLOPT_PATH_AS_IS, 1L);
        set(CURLOPT_ACCEPT_ENCODING, "");
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_QUICK_EXIT, 1L);  // a resolver that is still busy is left behind, not joined
        set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
        set(CURLOPT_NOPROXY, hostsWithoutProxy.c_str());
    }

    void setRequest(const VKTURLRequest& request) {
        set(CURLOPT_URL, request.url.absoluteString().c_str());
        const std::chrono::duration<double, std::milli> timeout = request.timeoutInterval;
        const long milliseconds = static_cast<long>(std::min(std::ceil(timeout.count()), double{INT_MAX}));
        set(CURLOPT_TIMEOUT_MS, milliseconds);
        set(CURLOPT_CONNECTTIMEOUT_MS, milliseconds);
        setMethod(request);
        for (const auto& [name, value] : request.headers)
            addHeader(name, value);
        if (request.cachePolicy == VKTURLRequestReloadIgnoringLocalAndRemoteCacheData) {
            addHeader("Cache-Control", "no-cache");
            addHeader("Pragma", "no-cache");
        }
        set(CURLOPT_HTTPHEADER, headers_);
    }

    void setMethod(const VKTURLRequest& request) {
        const std::string& method = request.HTTPMethod;
        if (request.HTTPBody || method == "POST") {
            const std::string_view body = request.HTTPBody ? std::string_view(*request.HTTPBody) : "";
            set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
            set(CURLOPT_POSTFIELDS, body.data());
            addHeaderLine("Expect:");  // no waiting for a "100 Continue"
            // A custom method would survive the redirects that turn POST into GET.
            if (method != "POST") set(CURLOPT_CUSTOMREQUEST, method.c_str());
        } else if (method == "HEAD") {
            set(CURLOPT_NOBODY, 1L);
        } else if (method != "GET") {
            set(CURLOPT_CUSTOMREQUEST, method.c_str());
        }
    }

    void addHeader(std::string_view name, std::string_view value) {
        std::string line(name);
        // An empty value is written with a semicolon; a colon alone would remove the header.
        if (value.empty()) {
            line += ';';
        } else {
            line.append(": ").append(value);
        }
        // A line break would begin another header.
        std::replace_if(
            line.begin(), line.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; }, ' ');
        addHeaderLine(line.c_str());
    }

    void addHeaderLine(const char* line) { headers_ = curl_slist_append(headers_, line); }

    static std::size_t receiveBody(char* bytes, std::size_t size, std::size_t count, void* userData) {
        Transfer& transfer = *static_cast<Transfer*>(userData);
        const std::size_t length = size * count;
        if (transfer.body_.size() + length > VKTHTTPBodyLimit) {
            transfer.isBodyTooLarge_ = true;
            return 0;
        }
        transfer.body_.append(bytes, length);
        return length;
    }

    static std::size_t receiveHeader(char* bytes, std::size_t size, std::size_t count, void* userData) {
        Transfer& transfer = *static_cast<Transfer*>(userData);
        transfer.addResponseLine(vkt_trimmed(std::string_view(bytes, size * count)));
        return size * count;
    }

    // Each answer of a chain of redirects begins anew; lines after the header are trailers.
    void addResponseLine(std::string_view line) {
        if (line.starts_with("HTTP/")) {
            response_ = {};
            response_.statusCode =
                static_cast<int>(vkt_integerValue(line.substr(std::min(line.find(' '), line.size()))));
            isHeaderComplete_ = false;
        } else if (line.empty()) {
            isHeaderComplete_ = true;
        } else if (const std::size_t colon = line.find(':');
                   colon != std::string_view::npos && !isHeaderComplete_) {
            response_.headers.emplace_back(line.substr(0, colon), vkt_trimmed(line.substr(colon + 1)));
        }
    }

    std::shared_ptr<const VKTURLResponse> takeResponse() {
        response_.url = finalURL();
        return std::make_shared<const VKTURLResponse>(std::move(response_));
    }

    [[nodiscard]] VKTURL finalURL() const {
        const VKTURL& requested = task_->request().url;
        long redirects = 0;
        const char* text = nullptr;
        curl_easy_getinfo(easy_, CURLINFO_REDIRECT_COUNT, &redirects);
        if (redirects == 0) return requested;
        curl_easy_getinfo(easy_, CURLINFO_EFFECTIVE_URL, &text);
        auto url = VKTURL::URLWithString(text);
        if (!url) url = VKTURL::URLWithDocumentText(text);
        return url.value_or(requested);
    }

    [[nodiscard]] VKTError errorForCode(CURLcode code) const {
        const VKTURL url = finalURL();
        const std::string_view reason = reason_.front() != '\0' ? reason_.data() : curl_easy_strerror(code);
        const auto error = [&](VKTURLErrorCode errorCode, const char* what) {
            return makeError(errorCode, what, url, reason);
        };
        switch (code) {
            case CURLE_URL_MALFORMAT:
                return error(VKTURLErrorBadURL, "bad URL");
            case CURLE_OPERATION_TIMEDOUT:
                return error(VKTURLErrorTimedOut, "timed out");
            case CURLE_UNSUPPORTED_PROTOCOL:
                // Also what an answer without a header (HTTP/0.9) is reported as.
                return isHTTPScheme(url.scheme().value_or(""))
                           ? error(VKTURLErrorBadServerResponse, "malformed answer")
                           : error(VKTURLErrorUnsupportedURL, "unsupported URL scheme");
            case CURLE_COULDNT_RESOLVE_HOST:
            case CURLE_COULDNT_RESOLVE_PROXY:
                return isOffline(url) ? error(VKTURLErrorNotConnectedToInternet, "not connected")
                                      : error(VKTURLErrorCannotFindHost, "cannot find host");
            case CURLE_COULDNT_CONNECT:
                return isOffline(url) ? error(VKTURLErrorNotConnectedToInternet, "not connected")
                                      : error(VKTURLErrorCannotConnectToHost, "cannot connect to host");
            case CURLE_GOT_NOTHING:
            case CURLE_PARTIAL_FILE:
            case CURLE_RECV_ERROR:
            case CURLE_SEND_ERROR:
            case CURLE_HTTP2_STREAM:
                return error(VKTURLErrorNetworkConnectionLost, "connection lost");
            case CURLE_TOO_MANY_REDIRECTS:
                return error(VKTURLErrorHTTPTooManyRedirects, "too many redirects");
            case CURLE_SSL_CONNECT_ERROR:
            case CURLE_SSL_ENGINE_NOTFOUND:
            case CURLE_SSL_ENGINE_SETFAILED:
            case CURLE_SSL_ENGINE_INITFAILED:
            case CURLE_SSL_CERTPROBLEM:
            case CURLE_SSL_CIPHER:
            case CURLE_SSL_CACERT_BADFILE:
            case CURLE_SSL_ISSUER_ERROR:
            case CURLE_SSL_INVALIDCERTSTATUS:
            case CURLE_PEER_FAILED_VERIFICATION:
                return error(VKTURLErrorSecureConnectionFailed, "secure connection failed");
            default:
                return isBodyTooLarge_ ? makeError(VKTURLErrorDataLengthExceedsMaximum, "body too large", url)
                                       : error(VKTURLErrorBadServerResponse, "malformed answer");
        }
    }

    [[nodiscard]] bool isOffline(const VKTURL& url) const {
        if (isLoopbackHost(url.host().value_or(""))) return false;
        long systemError = 0;
        curl_easy_getinfo(easy_, CURLINFO_OS_ERRNO, &systemError);
        return systemError == ENETUNREACH || !hasNetworkInterface();
    }

    CURL* easy_;
    std::shared_ptr<CurlTask> task_;
    curl_slist* headers_ = nullptr;
    std::string body_;
    VKTURLResponse response_;
    bool hasBehaviour_ = false;
    bool isHeaderComplete_ = false;
    bool isBodyTooLarge_ = false;
    std::array<char, CURL_ERROR_SIZE> reason_{};
};

// A multi handle with its connections and the transfers on it. Used by one thread at a time, but for `wake`.
class TransferSet {
  public:
    TransferSet() : multi_(curl_multi_init()) {
        // Both names are in use for this list.
        for (const char* name : {"no_proxy", "NO_PROXY"}) {
            const char* hosts = std::getenv(name);
            if (hosts != nullptr) hostsWithoutProxy_.append(",").append(hosts);
        }
    }
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
        std::unique_ptr<Transfer> transfer = takeTransfer();
        transfer->prepare(task, hostsWithoutProxy_);
        curl_multi_add_handle(multi_, transfer->easy());
        active_.emplace(task.get(), std::move(transfer));
    }

    /// Moves all transfers on as far as they get without waiting, and completes those that have ended.
    void advance() {
        int running = 0;
        curl_multi_perform(multi_, &running);
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
            if (message->msg != CURLMSG_DONE) continue;
            char* userData = nullptr;
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &userData);
            Transfer& transfer = *reinterpret_cast<Transfer*>(userData);
            const std::shared_ptr<CurlTask> task = transfer.task();
            // One that was cancelled meanwhile is ended by `endCancelled`.
            if (!task->settle()) continue;
            // Completed first: cleaning up may take its time.
            task->complete(transfer.result(message->data.result));
            retire(*task);
        }
    }

    /// Waits for the network, a deadline or `wake`.
    void wait() { curl_multi_poll(multi_, nullptr, 0, longestWaitMilliseconds, nullptr); }

    [[nodiscard]] bool isActive(const CurlTask& task) const { return active_.contains(&task); }

    /// Completes a task that was settled as cancelled, whether its transfer has begun or not.
    void endCancelled(CurlTask& task) {
        TransferResult result{nullptr, nullptr, cancelledError(task.request().url)};
        const auto found = active_.find(&task);
        if (found == active_.end()) return task.complete(std::move(result));
        result.response = found->second->takeFinalResponse();
        const std::shared_ptr<CurlTask> keptAlive = found->second->task();
        task.complete(std::move(result));
        retire(task);
    }

    /// Cancels all. A task that has been cancelled already is left to that.
    void cancelAll() {
        while (!active_.empty()) {
            const std::shared_ptr<CurlTask> task = active_.begin()->second->task();
            if (task->settle()) {
                endCancelled(*task);
            } else {
                retire(*task);
            }
        }
    }

  private:
    static std::optional<VKTError> errorBeforeStart(const VKTURLRequest& request) {
        const VKTURL& url = request.url;
        const auto scheme = url.scheme();
        if (scheme && !isHTTPScheme(*scheme)) {
            return makeError(VKTURLErrorUnsupportedURL, "unsupported URL scheme", url, *scheme);
        }
        if (!scheme || !url.host()) return makeError(VKTURLErrorBadURL, "bad URL", url, url.absoluteString());
        if (!(request.timeoutInterval > VKTTimeInterval(0))) {
            return makeError(VKTURLErrorTimedOut, "timed out", url, "no time was given");
        }
        return std::nullopt;
    }

    std::unique_ptr<Transfer> takeTransfer() {
        if (idle_.empty()) return std::make_unique<Transfer>();
        std::unique_ptr<Transfer> transfer = std::move(idle_.back());
        idle_.pop_back();
        return transfer;
    }

    void retire(const CurlTask& task) {
        const auto found = active_.find(&task);
        std::unique_ptr<Transfer> transfer = std::move(found->second);
        active_.erase(found);
        curl_multi_remove_handle(multi_, transfer->easy());
        transfer->clear();
        if (idle_.size() < idleTransferLimit) idle_.push_back(std::move(transfer));
    }

    CURLM* multi_;
    std::string hostsWithoutProxy_ = "localhost,127.0.0.0/8,::1";
    std::unordered_map<const CurlTask*, std::unique_ptr<Transfer>> active_;
    std::vector<std::unique_ptr<Transfer>> idle_;
};

// All transfers of a session: one thread with a set of its own, and a set for each blocking request, driven
// by the thread that waits for it. So a blocking request costs no change of threads.
class TransferEngine : public std::enable_shared_from_this<TransferEngine> {
  public:
    /// Hands a command to the thread. False when the session is gone.
    bool submit(std::shared_ptr<CurlTask> task, Command command) {
        {
            VKTLock lock(mutex_);
            if (isStopped_) return false;
            submitted_.push_back({std::move(task), command});
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
        transfers_ = std::make_unique<TransferSet>();
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
            transfers = std::make_unique<TransferSet>();
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
    std::shared_ptr<TransferEngine> engine_ = std::make_shared<TransferEngine>();

    // Shared with the tasks: one that is started when the session is gone still has to be answered.
    std::shared_ptr<VKTSerialQueue> deliveryQueue_ = vkt_makeAsioSerialQueue();
    std::atomic<std::uint64_t> lastIdentifier_ = 0;
};

}  // namespace

std::shared_ptr<VKTHTTPSession> vkt_makeCurlHTTPSession() {
    return std::make_shared<CurlHTTPSession>();
}

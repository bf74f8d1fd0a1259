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

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/linux/VKTAsioRunLoop.h"

namespace {

// Idle handles kept; more than that many transfers at once are rare.
constexpr std::size_t idleTransferLimit = 8;

// The transfer thread sleeps this long when nothing happens.
constexpr int idlePollMilliseconds = 60'000;

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

class TransferThread;

enum class Command { Start, Cancel };

class CurlTask final : public VKTHTTPDataTask, public std::enable_shared_from_this<CurlTask> {
  public:
    CurlTask(VKTURLRequest request, VKTHTTPCompletion completion, std::uint64_t identifier,
             std::weak_ptr<TransferThread> transfers, std::shared_ptr<VKTSerialQueue> deliveryQueue)
        : request_(std::move(request)),
          completion_(std::move(completion)),
          identifier_(identifier),
          transfers_(std::move(transfers)),
          deliveryQueue_(std::move(deliveryQueue)) {}

    void resume() override;
    void cancel() override;
    [[nodiscard]] std::uint64_t taskIdentifier() const override { return identifier_; }

    [[nodiscard]] const VKTURLRequest& request() const { return request_; }

    /// Decides the outcome: true for the first caller only, who then owes the one completion.
    [[nodiscard]] bool settle() { return !isSettled_.exchange(true); }
    [[nodiscard]] bool isSettled() const { return isSettled_; }

    /// The two ways to complete; called once, by whoever has settled the task.
    void completeOnTransferThread(VKTData data, std::shared_ptr<const VKTURLResponse> response,
                                  std::optional<VKTError> error) {
        if (!request_.completesOnTransferThread) {
            completeOnDeliveryThread(std::move(data), std::move(response), std::move(error));
            return;
        }
        const VKTHTTPCompletion completion = std::move(completion_);
        completion(std::move(data), std::move(response), std::move(error));
    }

    void completeOnDeliveryThread(VKTData data, std::shared_ptr<const VKTURLResponse> response,
                                  std::optional<VKTError> error) {
        deliveryQueue_->post([completion = std::move(completion_), data = std::move(data),
                              response = std::move(response),
                              error = std::move(error)] { completion(data, response, error); });
    }

  private:
    void submit(Command command);

    const VKTURLRequest request_;
    VKTHTTPCompletion completion_;
    const std::uint64_t identifier_;
    const std::weak_ptr<TransferThread> transfers_;
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
        setBehaviour(hostsWithoutProxy);
        setRequest(task_->request());
    }

    void finish(CURLcode code) {
        if (code == CURLE_OK) {
            auto response = takeResponse();
            task_->completeOnTransferThread(std::make_shared<const std::string>(std::move(body_)),
                                            std::move(response), std::nullopt);
            return;
        }
        VKTError error = errorForCode(code);
        task_->completeOnTransferThread(nullptr, takeFinalResponse(), std::move(error));
    }

    void finishCancelled() {
        task_->completeOnTransferThread(nullptr, takeFinalResponse(), cancelledError(task_->request().url));
    }

    void clear() {
        curl_easy_reset(easy_);
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

    // Nothing while the last header belongs to an answer that only leads on to another.
    std::shared_ptr<const VKTURLResponse> takeFinalResponse() {
        const bool hasLocation =
            std::any_of(response_.headers.begin(), response_.headers.end(),
                        [](const auto& header) { return vkt_equalsIgnoringCase(header.first, "Location"); });
        const bool isFinal =
            response_.statusCode >= 200 && !(isRedirectStatus(response_.statusCode) && hasLocation);
        return isHeaderComplete_ && isFinal ? takeResponse() : nullptr;
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
    bool isHeaderComplete_ = false;
    bool isBodyTooLarge_ = false;
    std::array<char, CURL_ERROR_SIZE> reason_{};
};

// Drives all transfers of a session. Tasks are handed over under the lock; the rest belongs to the thread.
class TransferThread : public std::enable_shared_from_this<TransferThread> {
  public:
    ~TransferThread() {
        idle_.clear();
        curl_multi_cleanup(multi_);
    }

    /// Starts a task, or ends one that `cancel` has settled. False when the session is gone.
    bool submit(std::shared_ptr<CurlTask> task, Command command) {
        {
            VKTLock lock(mutex_);
            if (isStopped_) return false;
            submitted_.push_back({std::move(task), command});
            if (!thread_.joinable()) start();
        }
        curl_multi_wakeup(multi_);
        return true;
    }

    /// Cancels what is under way and ends the thread.
    void stop() {
        std::thread thread;
        {
            VKTLock lock(mutex_);
            isStopped_ = true;
            thread.swap(thread_);
        }
        if (!thread.joinable()) return;
        curl_multi_wakeup(multi_);
        if (thread.get_id() == std::this_thread::get_id()) {
            thread.detach();
        } else {
            thread.join();
        }
    }

  private:
    void start() VKT_REQUIRES(mutex_) {
        static const CURLcode globalInit = curl_global_init(CURL_GLOBAL_DEFAULT);
        static_cast<void>(globalInit);
        multi_ = curl_multi_init();
        // Both names are in use for this list.
        for (const char* name : {"no_proxy", "NO_PROXY"}) {
            const char* hosts = std::getenv(name);
            if (hosts != nullptr) hostsWithoutProxy_.append(",").append(hosts);
        }
        thread_ = std::thread([self = shared_from_this()] { self->run(); });
    }

    void run() {
        // The application's signals are not for this thread, and a lost connection raises none (SIGPIPE).
        sigset_t allSignals;
        sigfillset(&allSignals);
        pthread_sigmask(SIG_BLOCK, &allSignals, nullptr);

        while (takeSubmitted()) {
            int running = 0;
            curl_multi_perform(multi_, &running);
            finishDone();
            curl_multi_poll(multi_, nullptr, 0, idlePollMilliseconds, nullptr);
        }
        cancelAll();
    }

    // False when the thread has to end.
    bool takeSubmitted() {
        bool isStopped = false;
        {
            VKTLock lock(mutex_);
            taken_.swap(submitted_);
            isStopped = isStopped_;
        }
        for (auto& [task, command] : taken_) {
            if (command == Command::Cancel) {
                finishCancelled(*task);
            } else if (isStopped) {
                completeUnstarted(*task, cancelledError(task->request().url));
            } else if (!task->isSettled()) {
                begin(std::move(task));
            }
        }
        taken_.clear();
        return !isStopped;
    }

    void begin(std::shared_ptr<CurlTask> task) {
        const VKTURLRequest& request = task->request();
        const auto scheme = request.url.scheme();
        if (scheme && !isHTTPScheme(*scheme)) {
            completeUnstarted(
                *task, makeError(VKTURLErrorUnsupportedURL, "unsupported URL scheme", request.url, *scheme));
        } else if (!scheme || !request.url.host()) {
            completeUnstarted(
                *task, makeError(VKTURLErrorBadURL, "bad URL", request.url, request.url.absoluteString()));
        } else if (!(request.timeoutInterval > VKTTimeInterval(0))) {
            completeUnstarted(*task,
                              makeError(VKTURLErrorTimedOut, "timed out", request.url, "no time was given"));
        } else {
            std::unique_ptr<Transfer> transfer = makeTransfer();
            const CurlTask* key = task.get();
            transfer->prepare(std::move(task), hostsWithoutProxy_);
            curl_multi_add_handle(multi_, transfer->easy());
            active_.emplace(key, std::move(transfer));
        }
    }

    static void completeUnstarted(CurlTask& task, VKTError error) {
        if (task.settle()) task.completeOnTransferThread(nullptr, nullptr, std::move(error));
    }

    void finishDone() {
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
            if (message->msg != CURLMSG_DONE) continue;
            char* userData = nullptr;
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &userData);
            Transfer& transfer = *reinterpret_cast<Transfer*>(userData);
            // A task that was cancelled meanwhile is ended by that command.
            if (!transfer.task()->settle()) continue;
            // Completed first: cleaning up may take its time.
            transfer.finish(message->data.result);
            retire(*transfer.task());
        }
    }

    // A cancelled task comes here once, whether its transfer has begun or not.
    void finishCancelled(CurlTask& task) {
        const auto found = active_.find(&task);
        if (found == active_.end()) {
            task.completeOnTransferThread(nullptr, nullptr, cancelledError(task.request().url));
            return;
        }
        found->second->finishCancelled();
        retire(task);
    }

    void cancelAll() {
        for (const auto& [task, transfer] : active_) {
            curl_multi_remove_handle(multi_, transfer->easy());
            if (transfer->task()->settle()) transfer->finishCancelled();
        }
        active_.clear();
    }

    std::unique_ptr<Transfer> makeTransfer() {
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

    using Submission = std::pair<std::shared_ptr<CurlTask>, Command>;

    VKTMutex mutex_;
    std::vector<Submission> submitted_ VKT_GUARDED_BY(mutex_);
    std::thread thread_ VKT_GUARDED_BY(mutex_);
    bool isStopped_ VKT_GUARDED_BY(mutex_) = false;

    CURLM* multi_ = nullptr;  // made before the thread starts
    std::string hostsWithoutProxy_ = "localhost,127.0.0.0/8,::1";
    std::vector<Submission> taken_;
    std::unordered_map<const CurlTask*, std::unique_ptr<Transfer>> active_;
    std::vector<std::unique_ptr<Transfer>> idle_;
};

void CurlTask::resume() {
    if (!isStarted_.exchange(true)) submit(Command::Start);
}

void CurlTask::cancel() {
    isStarted_ = true;
    if (settle()) submit(Command::Cancel);
}

void CurlTask::submit(Command command) {
    const auto transfers = transfers_.lock();
    if (transfers && transfers->submit(shared_from_this(), command)) return;
    if (command == Command::Cancel || settle()) {
        completeOnDeliveryThread(nullptr, nullptr, cancelledError(request_.url));
    }
}

class CurlHTTPSession final : public VKTHTTPSession {
  public:
    ~CurlHTTPSession() override {
        transfers_->stop();
        const bool isUsed = lastIdentifier_ > 0;
        if (!isUsed || deliveryQueue_->isCurrentThread()) return;
        std::promise<void> delivered;
        deliveryQueue_->post([&] { delivered.set_value(); });
        delivered.get_future().wait();
    }

    std::shared_ptr<VKTHTTPDataTask> dataTaskWithRequest(const VKTURLRequest& request,
                                                         VKTHTTPCompletion completion) override {
        return std::make_shared<CurlTask>(request, std::move(completion), ++lastIdentifier_, transfers_,
                                          deliveryQueue_);
    }

  private:
    std::shared_ptr<TransferThread> transfers_ = std::make_shared<TransferThread>();

    // Shared with the tasks: one that is started when the session is gone still has to be answered.
    std::shared_ptr<VKTSerialQueue> deliveryQueue_ = vkt_makeAsioSerialQueue();
    std::atomic<std::uint64_t> lastIdentifier_ = 0;
};

}  // namespace

std::shared_ptr<VKTHTTPSession> vkt_makeCurlHTTPSession() {
    return std::make_shared<CurlHTTPSession>();
}

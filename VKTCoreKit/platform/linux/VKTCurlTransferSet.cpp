#include "VKTCoreKit/platform/linux/VKTCurlTransferSet.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>
#include <utility>

namespace {

// Idle handles kept; more than that many transfers at once are rare.
constexpr std::size_t idleTransferLimit = 8;

std::set<int> openDescriptors() {
    std::set<int> descriptors;
    {
        std::error_code error;
        for (std::filesystem::directory_iterator each("/proc/self/fd", error), end; !error && each != end;
             each.increment(error))
            descriptors.insert(std::atoi(each->path().filename().c_str()));
    }
    // The listing's own is closed by now.
    std::erase_if(descriptors, [](int descriptor) { return fcntl(descriptor, F_GETFD) < 0; });
    return descriptors;
}

// Whether it is one of a pair of sockets between which bytes are under way.
bool carriesBytesOfAPair(int descriptor) {
    sockaddr address{};
    socklen_t length = sizeof address;
    if (getsockname(descriptor, &address, &length) != 0 || address.sa_family != AF_UNIX) return false;
    int received = 0;
    int sent = 0;
    return ioctl(descriptor, FIONREAD, &received) == 0 && ioctl(descriptor, SIOCOUTQ, &sent) == 0 &&
           received + sent > 0;
}

// A multi handle whose wake-up sockets no program inherits. libcurl opens them without close-on-exec and does
// not tell which they are: they are those new descriptors between which a wake-up is under way.
CURLM* makeMulti() {
    const std::set<int> before = openDescriptors();
    CURLM* multi = curl_multi_init();
    curl_multi_wakeup(multi);
    for (const int descriptor : openDescriptors()) {
        if (!before.contains(descriptor) && carriesBytesOfAPair(descriptor))
            fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
    curl_multi_poll(multi, nullptr, 0, 0, nullptr);  // takes the wake-up
    return multi;
}

curl_socket_t openNoSocket(void* /*userData*/, curlsocktype /*purpose*/, curl_sockaddr* /*address*/) {
    return CURL_SOCKET_BAD;
}

std::size_t discard(char* /*bytes*/, std::size_t size, std::size_t count, void* /*userData*/) {
    return size * count;
}

}  // namespace

VKTCurlTransferSet::VKTCurlTransferSet(VKTCurlLibrary& library, const VKTHTTPSessionOptions& options,
                                       std::size_t connectionLimit)
    : library_(library), options_(options), multi_(makeMulti()) {
    curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS,
                      static_cast<long>(std::min<std::size_t>(connectionLimit, INT_MAX)));
}

VKTCurlTransferSet::~VKTCurlTransferSet() {
    const VKTCurlLibrary::Stay stay(library_);
    if (stay) {
        idle_.clear();
        curl_multi_cleanup(multi_);
    } else {
        for (auto& transfer : idle_)
            static_cast<void>(transfer.release());
        for (auto& [task, active] : active_)
            static_cast<void>(active.transfer.release());
    }
}

std::optional<VKTError> VKTCurlTransferSet::errorBeforeStart(const VKTURLRequest& request) {
    const VKTURL& url = request.url;
    const auto scheme = url.scheme();
    if (scheme && !vkt_isHTTPScheme(*scheme))
        return vkt_transferError(VKTURLErrorUnsupportedURL, "unsupported URL scheme", url, *scheme);
    if (!scheme || !url.host())
        return vkt_transferError(VKTURLErrorBadURL, "bad URL", url, url.absoluteString());
    if (!(request.timeoutInterval > VKTTimeInterval(0)))
        return vkt_transferError(VKTURLErrorTimedOut, "timed out", url, "no time was given");
    return std::nullopt;
}

void VKTCurlTransferSet::begin(const std::shared_ptr<VKTCurlTask>& task) {
    std::unique_ptr<VKTCurlTransfer> transfer = takeTransfer();
    transfer->prepare(task->request(), task.get());
    add(active_.emplace(task.get(), Active{*this, task, std::move(transfer)}).first->second);
    lastUse_ = lastLook_ = std::chrono::steady_clock::now();
}

void VKTCurlTransferSet::add(Active& active) {
    CURL* easy = active.transfer->easy();
    applyConnectionOptions(easy);
    curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, &VKTCurlTransferSet::openSocket);
    curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, &active);
    curl_multi_add_handle(multi_, easy);
}

// libcurl counts whole seconds and closes what is older than the number.
void VKTCurlTransferSet::applyConnectionOptions(CURL* easy) {
    const double seconds = std::ceil(options_.idleConnectionTime.count()) - 1;
    curl_easy_setopt(easy, CURLOPT_MAXAGE_CONN, static_cast<long>(std::clamp(seconds, 1.0, 1e6)));
    curl_easy_setopt(easy, CURLOPT_CLOSESOCKETFUNCTION, &VKTCurlTransferSet::closeSocket);
    curl_easy_setopt(easy, CURLOPT_CLOSESOCKETDATA, this);
}

curl_socket_t VKTCurlTransferSet::openSocket(void* userData, curlsocktype /*purpose*/,
                                             curl_sockaddr* address) {
    const Active& active = *static_cast<const Active*>(userData);
    if (!active.transfer->allows(address->addr)) return CURL_SOCKET_BAD;
    const int opened = socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    if (opened >= 0) ++active.set.connectionCount_;
    return opened < 0 ? CURL_SOCKET_BAD : opened;
}

int VKTCurlTransferSet::closeSocket(void* userData, curl_socket_t socket) {
    --static_cast<VKTCurlTransferSet*>(userData)->connectionCount_;
    return close(socket);
}

VKTCurlTransferSet::Tasks VKTCurlTransferSet::advance() {
    if (std::chrono::steady_clock::now() >= nextLook()) closeUnusedConnections();
    int running = 0;
    curl_multi_perform(multi_, &running);
    Tasks ended;
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        char* owner = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &owner);
        Active& active = active_.at(reinterpret_cast<const VKTCurlTask*>(owner));
        const std::shared_ptr<VKTCurlTask> task = active.task;
        const CURLcode code = message->data.result;
        if (!task->isSettled() && active.transfer->followRedirect(code)) {
            curl_multi_remove_handle(multi_, active.transfer->easy());
            active.transfer->prepareNext();
            add(active);
            continue;
        }
        // One that was cancelled meanwhile is ended by `endCancelled`.
        if (!task->settle()) continue;
        // Completed first: cleaning up may take its time.
        task->complete(active.transfer->result(code));
        retire(*task);
        ended.push_back(task);
    }
    return ended;
}

// A set without transfers is not looked through: it is destroyed in time.
VKTCurlTransferSet::TimePoint VKTCurlTransferSet::nextLook() const {
    if (isIdle() || !hasConnections()) return TimePoint::max();
    // libcurl looks once in a second at most.
    const VKTTimeInterval interval = std::max(options_.idleConnectionTime, VKTTimeInterval(1));
    return lastLook_ + std::chrono::ceil<std::chrono::milliseconds>(interval);
}

// A transfer that gets no socket makes libcurl look through its connections, and has ended when it was begun.
void VKTCurlTransferSet::closeUnusedConnections() {
    lastLook_ = std::chrono::steady_clock::now();
    CURL* easy = curl_easy_init();
    applyConnectionOptions(easy);
    curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, &openNoSocket);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &discard);
    curl_easy_setopt(easy, CURLOPT_URL, "http://127.0.0.1:1/");
    curl_easy_setopt(easy, CURLOPT_PROXY, "");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_multi_add_handle(multi_, easy);
    int running = 0;
    curl_multi_perform(multi_, &running);
    curl_multi_remove_handle(multi_, easy);
    curl_easy_cleanup(easy);
}

void VKTCurlTransferSet::wait(TimePoint latest) {
    const TimePoint end = std::min(latest, nextLook());
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    const auto milliseconds = std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, INT_MAX);
    curl_multi_poll(multi_, nullptr, 0, static_cast<int>(milliseconds), nullptr);
}

void VKTCurlTransferSet::endCancelled(VKTCurlTask& task) {
    VKTCurlResult result{nullptr, nullptr,
                         vkt_transferError(VKTURLErrorCancelled, "cancelled", task.request().url)};
    const auto found = active_.find(&task);
    if (found == active_.end()) return task.complete(std::move(result));
    result.response = found->second.transfer->takeFinalResponse();
    const std::shared_ptr<VKTCurlTask> keptAlive = found->second.task;
    task.complete(std::move(result));
    retire(task);
}

void VKTCurlTransferSet::cancelAll() {
    while (!active_.empty()) {
        const std::shared_ptr<VKTCurlTask> task = active_.begin()->second.task;
        if (task->settle()) {
            endCancelled(*task);
        } else {
            retire(*task);
        }
    }
}

std::unique_ptr<VKTCurlTransfer> VKTCurlTransferSet::takeTransfer() {
    if (idle_.empty()) return std::make_unique<VKTCurlTransfer>(options_);
    std::unique_ptr<VKTCurlTransfer> transfer = std::move(idle_.back());
    idle_.pop_back();
    return transfer;
}

void VKTCurlTransferSet::retire(const VKTCurlTask& task) {
    const auto found = active_.find(&task);
    // The task, whose request the transfer uses, lives until both have been cleared.
    Active ended = std::move(found->second);
    std::unique_ptr<VKTCurlTransfer> transfer = std::move(ended.transfer);
    active_.erase(found);
    curl_multi_remove_handle(multi_, transfer->easy());
    transfer->clear();
    if (idle_.size() < idleTransferLimit) idle_.push_back(std::move(transfer));
    lastUse_ = std::chrono::steady_clock::now();
}

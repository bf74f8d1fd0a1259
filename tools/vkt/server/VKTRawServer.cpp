#include "server/VKTRawServer.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

namespace {

// Of a client, in milliseconds: others wait for their turn meanwhile.
constexpr int longestSilence = 10'000;

sockaddr_in loopbackAddress() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int bindToAnyPort(int socket) {
    sockaddr_in address = loopbackAddress();
    socklen_t length = sizeof address;
    if (bind(socket, reinterpret_cast<const sockaddr*>(&address), length) != 0) return 0;
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

std::string urlWithPort(int port, const std::string& path) {
    return "http://127.0.0.1:" + std::to_string(port) + path;
}

}  // namespace

VKTRawServer::VKTRawServer(VKTRawAnswer answer)
    : answer_(std::move(answer)),
      listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      stop_(eventfd(0, EFD_CLOEXEC)),
      port_(bindToAnyPort(listener_)) {
    listen(listener_, SOMAXCONN);
    thread_ = std::thread([this] { run(); });
}

VKTRawServer::~VKTRawServer() {
    eventfd_write(stop_, 1);
    thread_.join();
    for (const int connection : hanging_)
        close(connection);
    close(listener_);
    close(stop_);
}

std::string VKTRawServer::url(const std::string& path) const {
    return urlWithPort(port_, path);
}

// Bound but not listening, and kept so that nobody else takes the port.
std::string VKTRawServer::refusingURL() {
    static const int port = bindToAnyPort(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return urlWithPort(port, "/");
}

bool VKTRawServer::isStopped(std::chrono::milliseconds wait) const {
    pollfd event{stop_, POLLIN, 0};
    return poll(&event, 1, static_cast<int>(wait.count())) > 0;
}

bool VKTRawServer::waitForInput(int descriptor, int milliseconds) const {
    std::array<pollfd, 2> events{{{descriptor, POLLIN, 0}, {stop_, POLLIN, 0}}};
    const bool isAny = poll(events.data(), events.size(), milliseconds) != 0;
    return isAny && events[1].revents == 0;
}

void VKTRawServer::run() {
    while (waitForInput(listener_, -1)) {
        const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection >= 0) answer(connection);
    }
}

std::string VKTRawServer::lastRequest() const {
    VKTLock lock(mutex_);
    return lastRequest_;
}

bool VKTRawServer::receiveHeader(int connection) {
    std::string header;
    do {
        if (!waitForInput(connection, longestSilence)) return false;
        std::array<char, 4096> buffer{};
        const ssize_t length = recv(connection, buffer.data(), buffer.size(), 0);
        if (length <= 0) return false;
        header.append(buffer.data(), static_cast<std::size_t>(length));
    } while (header.find(answer_.requestEnd) == std::string::npos);
    VKTLock lock(mutex_);
    lastRequest_ = std::move(header);
    return true;
}

// Until the client goes, or the server is to end.
void VKTRawServer::sendEndlessly(int connection, const std::string& piece) const {
    bool isOpen = true;
    while (isOpen) {
        std::array<pollfd, 2> events{{{connection, POLLOUT, 0}, {stop_, POLLIN, 0}}};
        poll(events.data(), events.size(), -1);
        isOpen = events[1].revents == 0 &&
                 (send(connection, piece.data(), piece.size(), MSG_NOSIGNAL | MSG_DONTWAIT) > 0 ||
                  errno == EAGAIN);
    }
}

void VKTRawServer::answer(int connection) {
    if (receiveHeader(connection)) {
        ++requestCount_;
        for (const std::string& piece : answer_.pieces) {
            if (send(connection, piece.data(), piece.size(), MSG_NOSIGNAL) < 0 || isStopped(answer_.pause))
                break;
        }
        if (answer_.ending == VKTRawAnswer::Endless) sendEndlessly(connection, answer_.pieces.back());
        if (answer_.ending == VKTRawAnswer::Hang) {
            hanging_.push_back(connection);
            return;
        }
        if (answer_.ending == VKTRawAnswer::Reset) {
            const linger atOnce{1, 0};
            setsockopt(connection, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        }
    }
    close(connection);
}

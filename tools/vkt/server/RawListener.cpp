#include "server/RawListener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <string>
#include <string_view>

namespace {

// The request's header, or as much of it as came within the socket's receive time-out.
std::string readHeader(int connection) {
    std::string header;
    std::array<char, 1024> buffer{};
    while (header.find("\r\n\r\n") == std::string::npos && header.size() < 64 * buffer.size()) {
        const ssize_t count = recv(connection, buffer.data(), buffer.size(), 0);
        if (count <= 0) break;
        header.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return header;
}

void answer(int connection) {
    const timeval timeout{2, 0};
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    if (readHeader(connection).starts_with("GET /reset ")) {
        const linger discard{1, 0};  // closing then sends RST instead of FIN
        setsockopt(connection, SOL_SOCKET, SO_LINGER, &discard, sizeof discard);
    } else {
        constexpr std::string_view garbage = "\x16\x03\x01 this is not HTTP \xff\xfe\r\n\r\n";
        send(connection, garbage.data(), garbage.size(), MSG_NOSIGNAL);
    }
    close(connection);
}

}  // namespace

RawListener::RawListener() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener_, generic, length) != 0 || listen(listener_, SOMAXCONN) != 0 ||
        getsockname(listener_, generic, &length) != 0) {
        return;
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { run(); });
}

RawListener::~RawListener() {
    shutdown(listener_, SHUT_RDWR);  // wakes accept
    if (thread_.joinable()) thread_.join();
    close(listener_);
}

void RawListener::run() const {
    while (true) {
        const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) return;
        answer(connection);
    }
}

#include "server/DemoServerImpl.h"

#include <algorithm>
#include <utility>

namespace {

// Requests that hang hold a thread each, so there are many; with 8 MB for each stack, 32 bits have no
// addresses for more.
constexpr std::size_t threadLimit = sizeof(void*) < 8 ? 128 : 256;
constexpr std::size_t longestBody = std::size_t{1} << 27U;  // of a request; its reader has a limit, too

// What is left of a refused request in its connection would be taken for the next request, and a page of
// another site could have written it: the connection ends with the answer.
void endConnectionWith(httplib::Response& response) {
    if (response.content_provider_) return;
    const std::string type = response.get_header_value("Content-Type");
    response.headers.erase("Content-Type");
    response.set_header("Connection", "close");
    response.set_header("Content-Length", std::to_string(response.body.size()));
    response.set_content_provider(
        type.empty() ? "text/plain" : type,
        [body = std::exchange(response.body, {})](std::size_t, httplib::DataSink& sink) {
            sink.write(body.data(), body.size());
            return false;
        });
}

// Only the body of a POST request is read, and that of a form with parts is not.
bool hasUnreadBody(const httplib::Request& request) {
    if (request.method == "POST") return request.is_multipart_form_data();
    const std::string length = request.get_header_value("Content-Length");
    return request.has_header("Transfer-Encoding") || (!length.empty() && length != "0");
}

}  // namespace

bool isPlain(std::string_view text, std::string_view alsoAllowed) {
    return std::all_of(text.begin(), text.end(), [&](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               alsoAllowed.find(c) != std::string_view::npos;
    });
}

DemoServer::Impl::Impl(const std::string& root, const LineHandler& onLine, const std::string& media)
    : media_(media.empty() ? "" : std::filesystem::canonical(media)),
      pixelLog_(onLine),
      logCollector_(onLine) {
    server_.new_task_queue = [] { return new httplib::ThreadPool(threadLimit); };
    server_.set_tcp_nodelay(true);
    // By itself it takes a port that another server already has, and they would share the requests.
    server_.set_socket_options([](socket_t socket) {
        const int on = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    server_.set_keep_alive_timeout(1);  // an idle connection delays the end by that much
    if (!root.empty()) server_.set_mount_point("/files", root);
    server_.set_error_handler(
        [](const httplib::Request&, httplib::Response& response) { endConnectionWith(response); });
    server_.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
        if (hasUnreadBody(request)) {
            response.status = 415;
            response.set_content("A body goes with POST only, and not in parts.\n", "text/plain");
            return httplib::Server::HandlerResponse::Handled;
        }
        // The body of a POST request is read after this.
        const bool isLater = request.path.starts_with("/files/") || request.method == "POST";
        if (isLater) return httplib::Server::HandlerResponse::Unhandled;
        const bool isGuests = guest_ != nullptr && guest_->answer(request, response, {});
        if (!isGuests) answer(request, response);
        return httplib::Server::HandlerResponse::Handled;
    });
    server_.set_payload_max_length(longestBody);
    server_.Post(".*",
                 [this](const httplib::Request& request, httplib::Response& response,
                        const httplib::ContentReader& content) { answerPost(request, response, content); });
}

std::optional<int> DemoServer::Impl::start(int port, const std::string& address) {
    if (port == 0) {
        port = server_.bind_to_any_port(address);
    } else if (!server_.bind_to_port(address, port)) {
        port = -1;
    }
    if (port <= 0) return std::nullopt;
    const bool isIPv6 = address.find(':') != std::string::npos;
    authority_ = (isIPv6 ? "[" + address + "]" : address) + ":" + std::to_string(port);
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    while (!server_.is_running()) {
        std::this_thread::yield();
    }
    return port;
}

bool DemoServer::Impl::isStopped() {
    const std::lock_guard lock(mutex_);
    return stopped_;
}

void DemoServer::Impl::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
    }
    stopSignal_.notify_all();
    if (guest_ != nullptr) guest_->stop();
    if (!thread_.joinable()) return;
    server_.stop();
    thread_.join();
}

// A body is read to its end even where nobody wants it: what is left of it would be taken for a request.
void DemoServer::Impl::answerPost(const httplib::Request& request, httplib::Response& response,
                                  const httplib::ContentReader& content) {
    bool isRead = false;
    const auto body = [&](std::size_t limit) -> std::optional<std::string> {
        std::string text;
        std::size_t size = 0;
        isRead = true;
        const bool isWhole = content([&](const char* data, std::size_t length) {
            size += length;
            if (size <= limit) text.append(data, length);
            return !isStopped();
        });
        return isWhole && size <= limit ? std::optional(std::move(text)) : std::nullopt;
    };
    if (guest_ != nullptr && guest_->answer(request, response, body)) {
        if (!isRead) body(0);
        return;
    }
    httplib::Request whole = request;
    if (auto text = body(LogCollector::byteLimit)) {
        whole.body = std::move(*text);
        answer(whole, response);
    } else {
        response.status = 413;
    }
}

void DemoServer::Impl::answer(const httplib::Request& request, httplib::Response& response) {
    response.status = 200;
    const bool areLogs = request.path.starts_with("/logs");
    const bool isDelivery = areLogs && request.method == "POST";
    const bool isControl =
        (areLogs && !isDelivery) || request.path == "/tell" || request.path.starts_with("/pixels");
    const std::string told = isControl ? "normal" : toldAnswers_.answerToHit(request.path);
    if (request.path.starts_with("/pixel/")) pixelLog_.add(request.target, told);
    if (told == "normal") {
        dispatch(request, request.path, response);
    } else {
        if (isDelivery) logCollector_.add(request.body, request.get_header_value("User-Agent"), told);
        misbehave(request, response, told);
    }
}

bool DemoServer::Impl::mayChange(const httplib::Request& request, httplib::Response& response) {
    const auto problem = guest_ == nullptr ? std::nullopt : guest_->problemOfChange(request);
    if (!problem) return true;
    response.status = 403;
    response.set_content(*problem + "\n", "text/plain");
    return false;
}

void DemoServer::Impl::waitUnlessStopped(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    stopSignal_.wait_for(lock, time, [this] { return stopped_; });
}

std::string DemoServer::Impl::baseURL(const httplib::Request& request) const {
    const std::string host = request.get_header_value("Host");
    const bool usable = !host.empty() && isPlain(host, "-._:[]");
    return "http://" + (usable ? host : authority_);
}

DemoServer::DemoServer(const std::string& root, const LineHandler& onLine, const std::string& media)
    : impl_(std::make_unique<Impl>(root, onLine, media)) {}
DemoServer::~DemoServer() {
    stop();
}
void DemoServer::setGuest(DemoGuest& guest) {
    impl_->setGuest(guest);
}
std::optional<int> DemoServer::start(int port, const std::string& address) {
    return impl_->start(port, address);
}
void DemoServer::tell(ToldAnswer told) {
    impl_->tell(std::move(told));
}
void DemoServer::stop() {
    impl_->stop();
}

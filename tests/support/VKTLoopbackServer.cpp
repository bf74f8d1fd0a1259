#include "tests/support/VKTLoopbackServer.h"

#include <httplib.h>

#include <map>
#include <thread>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"

std::string VKTServerRequest::header(const std::string& name) const {
    for (const auto& [key, value] : headers) {
        if (vkt_equalsIgnoringCase(key, name)) return value;
    }
    return "";
}

struct VKTLoopbackServer::Impl {
    void answer(const httplib::Request& request, httplib::Response& response) {
        VKTServerRequest received{request.method, request.target, {}, request.body};
        received.headers.assign(request.headers.begin(), request.headers.end());
        Handler handler;
        {
            VKTLock lock(mutex);
            requests.push_back(received);
            const auto found = handlers.find(request.path);
            if (found != handlers.end()) handler = found->second;
        }
        const VKTServerResponse answer = handler ? handler(received) : VKTServerResponse{404, "", {}};
        response.status = answer.statusCode;
        for (const auto& [name, value] : answer.headers)
            response.headers.emplace(name, value);
        response.body = answer.body;
    }

    std::unique_ptr<VKTTestAuthority> authority = nullptr;
    std::unique_ptr<httplib::Server> server = std::make_unique<httplib::Server>();
    int port = 0;
    std::thread thread;
    VKTMutex mutex;
    std::map<std::string, Handler> handlers VKT_GUARDED_BY(mutex);
    std::vector<VKTServerRequest> requests VKT_GUARDED_BY(mutex);
};

VKTLoopbackServer::VKTLoopbackServer() : VKTLoopbackServer(std::make_unique<Impl>()) {}

VKTLoopbackServer::VKTLoopbackServer(VKTTLSCertificate certificate)
    : VKTLoopbackServer([certificate] {
          auto impl = std::make_unique<Impl>();
          impl->authority = std::make_unique<VKTTestAuthority>();
          const VKTTestIdentity identity = impl->authority->identity(certificate);
          impl->server = std::make_unique<httplib::SSLServer>(identity.certificate.get(), identity.key.get());
          return impl;
      }()) {}

VKTLoopbackServer::VKTLoopbackServer(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {
    httplib::Server& server = *impl_->server;
    server.set_tcp_nodelay(true);
    // An idle connection occupies a thread of the server, so it must not be kept for long. Tests of
    // connections that are used again do so over TLS.
    server.set_keep_alive_timeout(impl_->authority ? 20 : 1);
    server.new_task_queue = [] { return new httplib::ThreadPool(32); };
    const auto answer = [this](const httplib::Request& request, httplib::Response& response) {
        impl_->answer(request, response);
    };
    server.Get(".*", answer).Post(".*", answer).Put(".*", answer).Delete(".*", answer);
    impl_->port = server.bind_to_any_port("127.0.0.1");
    impl_->thread = std::thread([this] { impl_->server->listen_after_bind(); });
    while (!server.is_running())
        std::this_thread::yield();
}

VKTLoopbackServer::~VKTLoopbackServer() {
    impl_->server->stop();
    impl_->thread.join();
}

void VKTLoopbackServer::handle(const std::string& path, Handler handler) {
    VKTLock lock(impl_->mutex);
    impl_->handlers[path] = std::move(handler);
}

void VKTLoopbackServer::serve(const std::string& path, std::string body) {
    handle(path, [body = std::move(body)](const VKTServerRequest&) {
        return VKTServerResponse{200, body, {}};
    });
}

std::string VKTLoopbackServer::url(const std::string& path) const {
    return (impl_->authority ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(impl_->port) +
           path;
}

const VKTTestAuthority& VKTLoopbackServer::authority() const {
    return *impl_->authority;
}

std::vector<VKTServerRequest> VKTLoopbackServer::requests() const {
    VKTLock lock(impl_->mutex);
    return impl_->requests;
}

// A well-behaved HTTP or HTTPS server on the loopback interface.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/VKTTestAuthority.h"

struct VKTServerRequest {
    std::string method;
    std::string target;  ///< as it came
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;

    /// The first value of a header, or "".
    [[nodiscard]] std::string header(const std::string& name) const;
};

struct VKTServerResponse {
    int statusCode = 200;
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
};

/// Serves 127.0.0.1 on a free port, from construction to destruction. Handlers run on the server's threads.
class VKTLoopbackServer {
  public:
    using Handler = std::function<VKTServerResponse(const VKTServerRequest&)>;

    VKTLoopbackServer();

    /// Over TLS, with an authority of its own.
    explicit VKTLoopbackServer(VKTTLSCertificate certificate);
    ~VKTLoopbackServer();
    VKTLoopbackServer(const VKTLoopbackServer&) = delete;
    VKTLoopbackServer& operator=(const VKTLoopbackServer&) = delete;

    /// Any common method; paths without a handler are answered with 404.
    void handle(const std::string& path, Handler handler);

    /// An answer with status 200 and this body.
    void serve(const std::string& path, std::string body);

    /// "http://127.0.0.1:PORT" or "https://127.0.0.1:PORT", and the path.
    [[nodiscard]] std::string url(const std::string& path) const;

    /// Of a server over TLS.
    [[nodiscard]] const VKTTestAuthority& authority() const;

    /// What has been asked for so far, in that order.
    [[nodiscard]] std::vector<VKTServerRequest> requests() const;

  private:
    struct Impl;
    explicit VKTLoopbackServer(std::unique_ptr<Impl> impl);

    std::unique_ptr<Impl> impl_;
};

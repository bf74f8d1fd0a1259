// An HTTPS server on the loopback interface, with a certificate authority of its own.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

enum class VKTTLSCertificate : std::uint8_t {
    Good,        ///< for 127.0.0.1 and localhost, signed by the server's authority
    SelfSigned,  ///< for them, but signed by nobody else
    WrongHost,   ///< for another host
    Expired,
};

/// Serves 127.0.0.1 on a free port, from construction to destruction, a thread for each connection. Every
/// GET is answered with status 200 and the body "secure", and its connection stays open; one for "/hang" is
/// never answered.
class VKTTLSServer {
  public:
    explicit VKTTLSServer(VKTTLSCertificate certificate);
    ~VKTTLSServer();
    VKTTLSServer(const VKTTLSServer&) = delete;
    VKTTLSServer& operator=(const VKTTLSServer&) = delete;

    /// "https://127.0.0.1:PORT" and the path.
    [[nodiscard]] std::string url(const std::string& path) const;

    /// The authority's certificate, as a file and as a folder in OpenSSL's form; both go with the server.
    [[nodiscard]] std::string CAFile() const;
    [[nodiscard]] std::string CAFolder() const;

    /// Requests that came whole, over connections whose handshake was completed.
    [[nodiscard]] int requestCount() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

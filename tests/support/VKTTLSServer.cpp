#include "tests/support/VKTTLSServer.h"

#include <netinet/in.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <thread>
#include <vector>

namespace {

template <auto Free>
struct Freer {
    template <typename Object>
    void operator()(Object* object) const {
        Free(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freer<X509_free>>;
using Context = std::unique_ptr<SSL_CTX, Freer<SSL_CTX_free>>;
using Connection = std::unique_ptr<SSL, Freer<SSL_free>>;

constexpr long aDay = 24L * 60 * 60;

// Fixtures that cannot be made end the test program.
void require(bool isMade, const char* what) {
    if (isMade) return;
    std::fprintf(stderr, "VKTTLSServer: cannot make %s\n", what);
    std::abort();
}

void addExtension(X509* certificate, int identifier, const char* value) {
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, identifier, value);
    require(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1, value);
    X509_EXTENSION_free(extension);
}

// Unsigned; valid from two days ago until `lastDay` days from now.
Certificate makeCertificate(const char* name, EVP_PKEY* key, long lastDay) {
    Certificate certificate(X509_new());
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), lastDay + 100);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -2 * aDay);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), lastDay * aDay);
    X509_set_pubkey(certificate.get(), key);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
    return certificate;
}

void sign(X509* certificate, X509* issuer, EVP_PKEY* issuerKey) {
    X509_set_issuer_name(certificate, X509_get_subject_name(issuer));
    require(X509_sign(certificate, issuerKey, EVP_sha256()) > 0, "a signature");
}

void writeCertificate(X509* certificate, const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    require(file != nullptr && PEM_write_X509(file, certificate) == 1, path.c_str());
    std::fclose(file);
}

// The authority: its key, its certificate, and the folder it is published in.
struct Authority {
    Authority()
        : key(EVP_EC_gen("P-256")), certificate(makeCertificate("VKT test authority", key.get(), 10)) {
        addExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
        addExtension(certificate.get(), NID_key_usage, "critical,keyCertSign");
        sign(certificate.get(), certificate.get(), key.get());
        std::string pattern = (std::filesystem::temp_directory_path() / "vkt-ca-XXXXXX").string();
        require(mkdtemp(pattern.data()) != nullptr, pattern.c_str());
        folder = pattern;
        // The folder's form: the hash of the subject, and a number.
        std::array<char, 16> name{};
        std::snprintf(name.data(), name.size(), "/%08lx.0", X509_subject_name_hash(certificate.get()));
        file = folder + name.data();
        writeCertificate(certificate.get(), file);
    }
    ~Authority() { std::filesystem::remove_all(folder); }
    Authority(const Authority&) = delete;
    Authority& operator=(const Authority&) = delete;

    const Key key;
    const Certificate certificate;
    std::string folder;
    std::string file;
};

Context makeContext(const Authority& authority, VKTTLSCertificate kind) {
    const Key key(EVP_EC_gen("P-256"));
    const Certificate leaf =
        makeCertificate("VKT test server", key.get(), kind == VKTTLSCertificate::Expired ? -1 : 10);
    addExtension(
        leaf.get(), NID_subject_alt_name,
        kind == VKTTLSCertificate::WrongHost ? "DNS:elsewhere.example" : "IP:127.0.0.1,DNS:localhost");
    const bool isSelfSigned = kind == VKTTLSCertificate::SelfSigned;
    sign(leaf.get(), isSelfSigned ? leaf.get() : authority.certificate.get(),
         isSelfSigned ? key.get() : authority.key.get());
    Context context(SSL_CTX_new(TLS_server_method()));
    require(SSL_CTX_use_certificate(context.get(), leaf.get()) == 1 &&
                SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1,
            "a TLS context");
    return context;
}

}  // namespace

struct VKTTLSServer::Impl {
    explicit Impl(VKTTLSCertificate certificate)
        : context(makeContext(authority, certificate)),
          listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        require(bind(listener, reinterpret_cast<const sockaddr*>(&address), length) == 0 &&
                    listen(listener, SOMAXCONN) == 0 &&
                    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) == 0,
                "a listening socket");
        port = ntohs(address.sin_port);
        acceptor = std::thread([this] { acceptAll(); });
    }

    ~Impl() {
        // A shut socket wakes whoever waits for it.
        shutdown(listener, SHUT_RDWR);
        acceptor.join();
        close(listener);
        for (const int descriptor : descriptors)
            shutdown(descriptor, SHUT_RDWR);
        for (std::thread& each : servers)
            each.join();
        for (const int descriptor : descriptors)
            close(descriptor);
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void acceptAll() {
        // A write to a closed connection; the threads that are started here inherit it.
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        int descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        while (descriptor >= 0) {
            descriptors.push_back(descriptor);
            servers.emplace_back([this, descriptor] { serve(descriptor); });
            descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        }
    }

    // The descriptor is closed with the server; until then the connection is shut.
    void serve(int descriptor) {
        answerRequests(descriptor);
        shutdown(descriptor, SHUT_RDWR);
    }

    void answerRequests(int descriptor) {
        const Connection connection(SSL_new(context.get()));
        SSL_set_fd(connection.get(), descriptor);
        if (SSL_accept(connection.get()) != 1) return;
        const std::string_view answer = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nsecure";
        std::string received;
        std::array<char, 4096> buffer{};
        int length = SSL_read(connection.get(), buffer.data(), buffer.size());
        while (length > 0) {
            received.append(buffer.data(), static_cast<std::size_t>(length));
            if (received.ends_with("\r\n\r\n")) {
                ++requestCount;
                const bool isAnswered = !received.starts_with("GET /hang ");
                if (isAnswered) SSL_write(connection.get(), answer.data(), static_cast<int>(answer.size()));
                received.clear();
            }
            length = SSL_read(connection.get(), buffer.data(), buffer.size());
        }
    }

    const Authority authority;
    const Context context;
    const int listener;
    int port = 0;
    std::atomic<int> requestCount = 0;
    // The acceptor's, and the destructor's when it has ended.
    std::vector<int> descriptors;
    std::vector<std::thread> servers;
    std::thread acceptor;
};

VKTTLSServer::VKTTLSServer(VKTTLSCertificate certificate) : impl_(std::make_unique<Impl>(certificate)) {}

VKTTLSServer::~VKTTLSServer() = default;

std::string VKTTLSServer::url(const std::string& path) const {
    return "https://127.0.0.1:" + std::to_string(impl_->port) + path;
}

std::string VKTTLSServer::CAFile() const {
    return impl_->authority.file;
}

std::string VKTTLSServer::CAFolder() const {
    return impl_->authority.folder;
}

int VKTTLSServer::requestCount() const {
    return impl_->requestCount;
}

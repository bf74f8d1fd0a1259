// A certificate authority for the servers of tests.
#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstdint>
#include <memory>
#include <string>

enum class VKTTLSCertificate : std::uint8_t {
    Good,        ///< for 127.0.0.1 and localhost, signed by the authority
    SelfSigned,  ///< for them, but signed by nobody else
    WrongHost,   ///< for another host
    Expired,
};

struct VKTTestIdentity {
    template <auto Free>
    struct Freer {
        template <typename Object>
        void operator()(Object* object) const {
            Free(object);
        }
    };
    using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
    using Certificate = std::unique_ptr<X509, Freer<X509_free>>;

    Key key = {};
    Certificate certificate = {};
};

class VKTTestAuthority {
  public:
    VKTTestAuthority();
    ~VKTTestAuthority();
    VKTTestAuthority(const VKTTestAuthority&) = delete;
    VKTTestAuthority& operator=(const VKTTestAuthority&) = delete;

    /// A new one, for a server.
    [[nodiscard]] VKTTestIdentity identity(VKTTLSCertificate kind) const;

    /// The authority's certificate, as a file and as a folder in OpenSSL's form; both go with the authority.
    [[nodiscard]] const std::string& CAFile() const { return file_; }
    [[nodiscard]] const std::string& CAFolder() const { return folder_; }

  private:
    VKTTestIdentity own_;
    std::string folder_;
    std::string file_;
};

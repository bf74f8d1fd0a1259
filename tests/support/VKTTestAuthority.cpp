#include "tests/support/VKTTestAuthority.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

namespace {

using Key = VKTTestIdentity::Key;
using Certificate = VKTTestIdentity::Certificate;

constexpr long aDay = 24L * 60 * 60;

// Fixtures that cannot be made end the test program.
void require(bool isMade, const char* what) {
    if (isMade) return;
    std::fprintf(stderr, "VKTTestAuthority: cannot make %s\n", what);
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

}  // namespace

VKTTestAuthority::VKTTestAuthority() {
    Key& key = own_.key;
    Certificate& certificate = own_.certificate;
    key.reset(EVP_EC_gen("P-256"));
    certificate = makeCertificate("VKT test authority", key.get(), 10);
    addExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    addExtension(certificate.get(), NID_key_usage, "critical,keyCertSign");
    sign(certificate.get(), certificate.get(), key.get());
    std::string pattern = (std::filesystem::temp_directory_path() / "vkt-ca-XXXXXX").string();
    require(mkdtemp(pattern.data()) != nullptr, pattern.c_str());
    folder_ = pattern;
    // The folder's form: the hash of the subject, and a number.
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "/%08lx.0", X509_subject_name_hash(certificate.get()));
    file_ = folder_ + name.data();
    writeCertificate(certificate.get(), file_);
}

VKTTestAuthority::~VKTTestAuthority() {
    std::filesystem::remove_all(folder_);
}

VKTTestIdentity VKTTestAuthority::identity(VKTTLSCertificate kind) const {
    Key key(EVP_EC_gen("P-256"));
    Certificate leaf =
        makeCertificate("VKT test server", key.get(), kind == VKTTLSCertificate::Expired ? -1 : 10);
    addExtension(
        leaf.get(), NID_subject_alt_name,
        kind == VKTTLSCertificate::WrongHost ? "DNS:elsewhere.example" : "IP:127.0.0.1,DNS:localhost");
    const bool isSelfSigned = kind == VKTTLSCertificate::SelfSigned;
    sign(leaf.get(), isSelfSigned ? leaf.get() : own_.certificate.get(),
         isSelfSigned ? key.get() : own_.key.get());
    return {std::move(key), std::move(leaf)};
}

// Whom the session trusts, and what it says of the others.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"
#include "server/VKTRawServer.h"
#include "tests/support/VKTLoopbackServer.h"
#include "tests/support/VKTTransferRecorder.h"

using namespace std::chrono_literals;

namespace {

VKTTransferRecorder::Outcome fetchWith(const VKTHTTPSessionOptions& options, const std::string& url,
                                       VKTTimeInterval timeout = 10s) {
    const auto session = vkt_makeCurlHTTPSession(options);
    return vkt_fetch(*session, vkt_requestTo(url, timeout));
}

TEST(HTTPSecurity, TrustsTheCertificatesItIsGiven) {
    VKTLoopbackServer server(VKTTLSCertificate::Good);
    server.serve("/", "secure");
    VKTHTTPSessionOptions byFile;
    byFile.CAFile = server.authority().CAFile();
    VKTHTTPSessionOptions byFolder;
    byFolder.CAFolder = server.authority().CAFolder();
    for (const VKTHTTPSessionOptions& options : {byFile, byFolder}) {
        const auto outcome = fetchWith(options, server.url("/"));
        ASSERT_EQ(outcome.text(), "") << options.CAFile;
        EXPECT_EQ(*outcome.data, "secure");
    }
}

TEST(HTTPSecurity, TrustsNobodyElse) {
    const struct {
        const char* name;
        VKTTLSCertificate certificate;
        bool isAuthorityGiven;
        const char* reason;
    } cases[] = {
        {"an authority that the system does not know", VKTTLSCertificate::Good, false, "issuer certificate"},
        {"signed by itself", VKTTLSCertificate::SelfSigned, true, "self-signed certificate"},
        {"another host's", VKTTLSCertificate::WrongHost, true, "subject name"},
        {"expired", VKTTLSCertificate::Expired, true, "expired"}};
    for (const auto& each : cases) {
        const VKTLoopbackServer server(each.certificate);
        VKTHTTPSessionOptions options;
        if (each.isAuthorityGiven) options.CAFile = server.authority().CAFile();
        const auto outcome = fetchWith(options, server.url("/"));
        EXPECT_EQ(outcome.code(), VKTURLErrorSecureConnectionFailed) << each.name;
        EXPECT_NE(outcome.text().find(each.reason), std::string::npos) << each.name << ": " << outcome.text();
        EXPECT_EQ(server.requests().size(), 0U) << each.name << ": the request is nobody else's business";
    }
}

TEST(HTTPSecurity, HandshakesThatFail) {
    const std::string plain = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nplain";
    const std::tuple<const char*, VKTRawAnswer, VKTTimeInterval, VKTURLErrorCode> cases[] = {
        {"hangs", {{}, VKTRawAnswer::Hang, 0ms, ""}, 200ms, VKTURLErrorTimedOut},
        {"closes", {{}, VKTRawAnswer::Close, 0ms, ""}, 10s, VKTURLErrorSecureConnectionFailed},
        {"plain HTTP", {{plain}, VKTRawAnswer::Close, 0ms, ""}, 10s, VKTURLErrorSecureConnectionFailed}};
    for (const auto& [name, answer, timeout, code] : cases) {
        const VKTRawServer server(answer);
        const auto outcome =
            fetchWith({}, vkt_replacingOccurrences(server.url(), "http:", "https:"), timeout);
        EXPECT_EQ(outcome.code(), code) << name << ": " << outcome.text();
        EXPECT_FALSE(outcome.response) << name;
    }
}

TEST(HTTPSecurity, NamesTheCertificatesThatCannotBeRead) {
    const VKTLoopbackServer server(VKTTLSCertificate::Good);
    VKTHTTPSessionOptions options;
    options.CAFile = "/nowhere/ca.pem";
    options.CAFolder = server.authority().CAFolder();
    const auto outcome = fetchWith(options, server.url("/"));
    EXPECT_EQ(outcome.code(), VKTURLErrorSecureConnectionFailed);
    EXPECT_NE(outcome.text().find(options.CAFile), std::string::npos) << outcome.text();
}

}  // namespace

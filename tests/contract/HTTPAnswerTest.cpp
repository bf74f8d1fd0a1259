// What the session makes of answers: cut, redirecting, compressed, too long.
#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"
#include "server/VKTRawServer.h"
#include "tests/support/VKTLoopbackServer.h"
#include "tests/support/VKTRecordedLog.h"
#include "tests/support/VKTTransferRecorder.h"

using namespace std::chrono_literals;

namespace {

constexpr int gzipFormat = MAX_WBITS + 16;
constexpr int zlibFormat = MAX_WBITS;
constexpr int bareFormat = -MAX_WBITS;

std::string compressed(const std::string& text, int format) {
    z_stream stream{};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, format, 9, Z_DEFAULT_STRATEGY);
    std::string result(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    deflate(&stream, Z_FINISH);
    result.resize(stream.total_out);
    deflateEnd(&stream);
    return result;
}

std::string gzip(const std::string& text) {
    return compressed(text, gzipFormat);
}

std::string answerWith(const std::string& header, const std::string& body) {
    return "HTTP/1.1 200 OK\r\n" + header + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           body;
}

class HTTPAnswer : public testing::Test {
  protected:
    VKTTransferRecorder::Outcome outcomeOf(const VKTRawAnswer& answer) {
        const VKTRawServer server(answer);
        return vkt_fetch(*session_, vkt_requestTo(server.url()));
    }

    // The path leads to the location.
    void redirect(const std::string& path, int statusCode, const std::string& location) {
        server_.handle(path, [=](const auto&) {
            const char* body = statusCode == 304 ? "" : "moved";
            return VKTServerResponse{statusCode, body, {{"Location", location}}};
        });
    }

    // The server under its other name, which is another origin.
    std::string otherURL(const std::string& path) {
        std::string url = server_.url(path);
        return url.replace(url.find("127.0.0.1"), 9, "localhost");
    }

    VKTLoopbackServer server_;
    std::shared_ptr<VKTHTTPSession> session_ = vkt_makeCurlHTTPSession();
};

TEST_F(HTTPAnswer, CutAnywhereIsALostConnection) {
    const std::string fixed = "HTTP/1.1 100 Continue\r\n\r\n" + answerWith("X-A: b\r\n", "hello");
    const std::string chunked =
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\nX-Trailer: t\r\n\r\n";
    const std::string gzipped =
        "HTTP/1.0 200 OK\r\nContent-Encoding: gzip\r\n\r\n" + gzip("a body that ends with its connection");
    const std::string headerEnd = "\r\n\r\n";
    for (const std::string& whole : {fixed, chunked, gzipped}) {
        EXPECT_EQ(outcomeOf({{whole}}).text(), "") << whole;
        // A body that ends with its connection may be empty, and for libcurl chunks end before the last "\n".
        const bool mayBeEmpty = whole == gzipped;
        const std::size_t end = whole == chunked ? whole.size() - 1 : whole.size();
        for (std::size_t length = 0; length < end; ++length) {
            const std::string cut = whole.substr(0, length);
            if (mayBeEmpty && cut.ends_with(headerEnd)) continue;
            const auto outcome = outcomeOf({{cut}});
            ASSERT_EQ(outcome.code(), VKTURLErrorNetworkConnectionLost) << cut << "|\n" << outcome.text();
        }
    }
}

TEST_F(HTTPAnswer, RedirectsAndTheMethodsThatTheyLeave) {
    server_.serve("/end", "end");
    for (const int status : {301, 302, 303, 307, 308})
        redirect("/" + std::to_string(status), status, "/end");
    const struct {
        const char* method;
        bool hasBody;
        const char* methodAfter303;
    } cases[] = {{"GET", false, "GET"}, {"GET", true, "GET"},   {"HEAD", false, "HEAD"},
                 {"POST", true, "GET"}, {"POST", false, "GET"}, {"DELETE", false, "DELETE"},
                 {"PUT", true, nullptr}};  // a PUT without a body, for which this server waits in vain
    for (const auto& each : cases) {
        for (const int status : {301, 302, 303, 307, 308}) {
            const bool isKept = status > 303;
            if (!isKept && each.methodAfter303 == nullptr) continue;
            VKTURLRequest request = vkt_requestTo(server_.url("/" + std::to_string(status)));
            request.HTTPMethod = each.method;
            if (each.hasBody) request.HTTPBody = "body";
            const auto outcome = vkt_fetch(*session_, request);
            ASSERT_EQ(outcome.text(), "") << each.method << status;
            EXPECT_EQ(outcome.response->url.absoluteString(), server_.url("/end"));
            const VKTServerRequest last = server_.requests().back();
            EXPECT_EQ(last.method, isKept ? each.method : each.methodAfter303) << status;
            EXPECT_EQ(last.header("Content-Length"), isKept && each.hasBody            ? "4"
                                                     : isKept && last.method == "POST" ? "0"
                                                                                       : "")
                << each.method << status;
        }
    }
}

TEST_F(HTTPAnswer, EveryOther3xxIsAnAnswer) {
    for (const int status : {300, 304, 305, 306, 309, 399}) {
        redirect("/", status, "/end");
        const auto outcome = vkt_fetch(*session_, vkt_requestTo(server_.url("/")));
        ASSERT_EQ(outcome.text(), "") << status;
        EXPECT_EQ(outcome.response->statusCode, status);
    }
    for (const char* location : {"", "Location:\r\n"}) {
        const auto bare =
            outcomeOf({{"HTTP/1.1 302 Found\r\n" + std::string(location) + "Content-Length: 4\r\n\r\nhere"}});
        ASSERT_EQ(bare.text(), "") << location;
        EXPECT_EQ(bare.response->statusCode, 302);
        EXPECT_EQ(*bare.data, "here");
    }
}

TEST_F(HTTPAnswer, RedirectsThatLeadNowhere) {
    const std::pair<const char*, VKTURLErrorCode> cases[] = {
        {"foo://127.0.0.1/", VKTURLErrorUnsupportedURL},
        {"javascript:alert(1)", VKTURLErrorUnsupportedURL},
        {"mailto:a@b.example", VKTURLErrorUnsupportedURL},
        {"ftp://127.0.0.1/", VKTURLErrorUnsupportedURL},
        {"file:///etc/hostname", VKTURLErrorUnsupportedURL},
        {"http://", VKTURLErrorBadURL},
        {"http://[::1", VKTURLErrorBadURL},
        {"//h:99999/", VKTURLErrorBadURL},
        {"/again", VKTURLErrorHTTPTooManyRedirects}};
    for (const auto& [location, code] : cases) {
        redirect("/", 302, location);
        redirect("/again", 302, "/again");
        const std::size_t before = server_.requests().size();
        const auto outcome = vkt_fetch(*session_, vkt_requestTo(server_.url("/")));
        EXPECT_EQ(outcome.code(), code) << location << ": " << outcome.text();
        EXPECT_FALSE(outcome.response) << location;
        const std::size_t followed = code == VKTURLErrorHTTPTooManyRedirects ? VKTHTTPRedirectLimit : 0;
        EXPECT_EQ(server_.requests().size() - before, 1 + followed) << location;
    }
}

TEST_F(HTTPAnswer, CredentialsStayWithTheirOrigin) {
    redirect("/away", 302, otherURL("/back"));
    redirect("/back", 302, server_.url("/end"));
    VKTURLRequest request = vkt_requestTo(server_.url("/away"));
    for (const char* name : {"authorization", "Cookie", "X-Own"})
        request.addValue("v", name);
    vkt_fetch(*session_, request);
    std::string inURL = server_.url("/away");
    vkt_fetch(*session_, vkt_requestTo(inURL.insert(inURL.find("127"), "user:p%20w@")));

    const auto received = server_.requests();
    ASSERT_EQ(received.size(), 6U);
    for (const std::size_t i : {0U, 1U, 2U}) {
        const std::string expected = received[i].target == "/back" ? "" : "v";
        for (const char* name : {"Authorization", "Cookie"})
            EXPECT_EQ(received[i].header(name), expected) << name << received[i].target;
        EXPECT_EQ(received[i].header("X-Own"), "v");
        EXPECT_EQ(received[i + 3].header("Authorization"), expected.empty() ? "" : "Basic dXNlcjpwIHc=")
            << received[i + 3].target;
    }
}

TEST_F(HTTPAnswer, OneDeadlineForAChainOfRedirects) {
    // Each answer comes in time, but there are too many of them.
    const VKTRawServer server(
        {{"HTTP/1.1 302 Found\r\n", "Location: /\r\nContent-Length: 0\r\n\r\n"}, VKTRawAnswer::Close, 60ms});
    const auto outcome = vkt_fetch(*session_, vkt_requestTo(server.url(), 200ms));
    EXPECT_EQ(outcome.code(), VKTURLErrorTimedOut) << outcome.text();
}

TEST_F(HTTPAnswer, TheBodyOfARedirectIsNotWaitedFor) {
    server_.serve("/end", "end");
    const std::string header = "HTTP/1.1 302 Found\r\nLocation: " + server_.url("/end") + "\r\n";
    const std::pair<const char*, VKTRawAnswer> cases[] = {
        {"closes at its end", {{header + "\r\n", "x"}, VKTRawAnswer::Hang}},
        {"is to be closed",
         {{header + "Connection: close\r\nContent-Length: 9\r\n\r\n"}, VKTRawAnswer::Hang}},
        {"is cut", {{header + "Content-Length: 9\r\n\r\nx"}}},
        {"is compressed", {{header + "Content-Encoding: gzip\r\nContent-Length: 1\r\n\r\n\x1F"}}},
        {"is endless", {{header + "Content-Length: 99999999\r\n\r\n", "x"}, VKTRawAnswer::Endless}}};
    for (const auto& [name, answer] : cases) {
        const auto outcome = outcomeOf(answer);
        ASSERT_EQ(outcome.text(), "") << name;
        EXPECT_EQ(*outcome.data, "end") << name;
    }
}

TEST_F(HTTPAnswer, DecodesBodies) {
    const std::string text(100'000, 'x');
    const struct {
        const char* coding;
        std::string body;
        std::string decoded;
    } cases[] = {{"gzip", gzip(text), text},
                 {"x-GZip", gzip(text), text},
                 {"gzip", gzip("one ") + gzip("") + gzip("two"), "one two"},
                 {"gzip", gzip("and zeros") + std::string(9, '\0') + gzip("no member"), "and zeros"},
                 {"gzip", compressed("in zlib's frame", zlibFormat), "in zlib's frame"},
                 {"gzip", "", ""},
                 {"deflate", compressed(text, zlibFormat), text},
                 {"Deflate", compressed(text, bareFormat), text},
                 {"deflate, gzip", gzip(compressed(text, zlibFormat)), text},
                 {" gzip ,, identity,deflate", compressed(gzip(text), bareFormat), text},
                 {"identity", "as it is", "as it is"},
                 {"br", "as it is", "as it is"},
                 {"zstd", "as it is", "as it is"},
                 {"foo, gzip", gzip("as it is"), gzip("as it is")}};
    for (const auto& each : cases) {
        const std::string whole =
            answerWith("Content-Encoding: " + std::string(each.coding) + "\r\n", each.body);
        // In one piece, and byte by byte where that is not too many.
        std::vector<std::string> bytes;
        for (const char byte : whole.substr(0, 400))
            bytes.emplace_back(1, byte);
        if (whole.size() > 400) bytes.push_back(whole.substr(400));
        for (const auto& pieces : {std::vector<std::string>{whole}, bytes}) {
            const auto outcome = outcomeOf({pieces});
            ASSERT_EQ(outcome.text(), "") << each.coding;
            EXPECT_TRUE(*outcome.data == each.decoded) << each.coding << ": " << outcome.data->substr(0, 99);
        }
    }
}

TEST_F(HTTPAnswer, CompressedBodiesThatFail) {
    std::string damaged = gzip("a body with a checksum");
    damaged[damaged.size() - 6] ^= 1;
    // A thousand bytes for each that is sent; the second decodes to nothing at all.
    const std::string bomb = gzip(std::string(VKTHTTPBodyLimit + 1, 'x'));
    const std::string emptyMember = gzip("");
    std::string emptyMembers;
    while (emptyMembers.size() <= VKTHTTPBodyLimit)
        emptyMembers += emptyMember;
    const struct {
        const char* name;
        const char* coding;
        std::string body;
        VKTURLErrorCode code;
    } cases[] = {{"no gzip", "gzip", "<VAST/>", VKTURLErrorBadServerResponse},
                 {"no deflate", "deflate", "no deflate stream at all", VKTURLErrorBadServerResponse},
                 {"wrong checksum", "gzip", damaged, VKTURLErrorBadServerResponse},
                 {"cut", "gzip", damaged.substr(0, 20), VKTURLErrorNetworkConnectionLost},
                 {"cut member", "gzip", gzip("x") + "\x1F", VKTURLErrorNetworkConnectionLost},
                 {"cut within", "deflate, gzip", gzip("\x78"), VKTURLErrorNetworkConnectionLost},
                 {"bomb", "gzip", bomb, VKTURLErrorDataLengthExceedsMaximum},
                 {"bomb in between", "gzip, gzip", gzip(emptyMembers), VKTURLErrorDataLengthExceedsMaximum}};
    for (const auto& each : cases) {
        const auto outcome =
            outcomeOf({{answerWith("Content-Encoding: " + std::string(each.coding) + "\r\n", each.body)}});
        EXPECT_EQ(outcome.code(), each.code) << each.name << ": " << outcome.text();
        EXPECT_TRUE(outcome.response) << each.name;
    }
}

TEST_F(HTTPAnswer, LimitsTheHeaderLines) {
    const std::string line = "X-Line: " + std::string(1'000, 'x') + "\r\n";
    std::string lines;
    for (int i = 0; i < 300; ++i)
        lines += line;
    const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n";
    const std::pair<const char*, std::string> cases[] = {
        {"many lines", answerWith(lines, "")},
        {"a long line", answerWith("X-Line: " + std::string(120'000, 'x') + "\r\n", "")},
        {"a long status line", "HTTP/1.1 200 " + std::string(120'000, 'x') + "\r\n\r\n"},
        {"trailers", chunked + lines + "\r\n"},
        {"a long trailer", chunked + "X-Line: " + std::string(10'000, 'x') + "\r\n\r\n"},
        {"a chain of redirects", "HTTP/1.1 302 Found\r\nLocation: /\r\nContent-Length: 0\r\n" +
                                     lines.substr(0, 20 * line.size()) + "\r\n"}};
    for (const auto& [name, answer] : cases) {
        const auto outcome = outcomeOf({{answer}});
        EXPECT_EQ(outcome.code(), VKTURLErrorCannotParseResponse) << name << ": " << outcome.text();
        EXPECT_NE(outcome.text().find("header too large (127.0.0.1)"), std::string::npos) << outcome.text();
    }
    VKTHTTPSessionOptions options;
    const std::string answer = answerWith(line, "");
    for (const int difference : {0, -1}) {
        options.headerBytes = answer.size() + static_cast<std::size_t>(difference);
        session_ = vkt_makeCurlHTTPSession(options);
        EXPECT_EQ(outcomeOf({{answer}}).code(), difference == 0 ? 0 : VKTURLErrorCannotParseResponse);
    }
}

TEST_F(HTTPAnswer, TheRequestOnTheWire) {
    const VKTRawServer server({{answerWith("", "")}});
    VKTURLRequest request = vkt_requestTo(server.url());
    request.HTTPMethod = "POST";
    request.HTTPBody = "jsonMessage={}";
    vkt_fetch(*session_, request);
    EXPECT_EQ(server.lastRequest().find("Content-Type"), std::string::npos) << server.lastRequest();
    request.addValue("application/json", "content-type");
    request.addValue("br", "accept-encoding");
    vkt_fetch(*session_, request);
    EXPECT_NE(server.lastRequest().find("\r\ncontent-type: application/json\r\n"), std::string::npos);
    EXPECT_NE(server.lastRequest().find("\r\naccept-encoding: br\r\n"), std::string::npos);
    EXPECT_EQ(server.lastRequest().find("Accept-Encoding"), std::string::npos) << server.lastRequest();
}

TEST_F(HTTPAnswer, TheSessionsHeadersGiveWayToTheRequests) {
    VKTHTTPSessionOptions options;
    options.userAgent = "Box/1";
    options.headers = {
        {"X-Operator", "o"}, {"X-Both", "o"}, {"x-operator", "p\r\nX-Own: q"}, {"host", "evil"}, {"", "e"}};
    VKTRecordedLog log;
    session_ = vkt_makeCurlHTTPSession(options);
    VKTURLRequest request = vkt_requestTo(server_.url("/"));
    request.addValue("r", "x-both");
    vkt_fetch(*session_, request);
    request.addValue("Own/2", "user-agent");
    vkt_fetch(*session_, request);
    const auto received = server_.requests();
    EXPECT_EQ(log.take().size(), 2U) << "one line for each that is not sent";
    EXPECT_TRUE(received[0].header("Host").starts_with("127.0.0.1:"));
    EXPECT_EQ(received[0].header("X-Operator"), "o,p  X-Own: q");
    EXPECT_EQ(received[0].header("X-Both"), "r");
    EXPECT_EQ(received[0].header("User-Agent"), "Box/1");
    EXPECT_EQ(received[1].header("User-Agent"), "Own/2");
}

TEST_F(HTTPAnswer, TheProxyIsForEverybodyElse) {
    const VKTRawServer proxy({{answerWith("", "proxied")}});
    VKTHTTPSessionOptions options;
    options.proxy = proxy.url("");
    session_ = vkt_makeCurlHTTPSession(options);
    server_.serve("/", "direct");
    redirect("/out", 302, "http://127.evil.example/");
    const std::pair<std::string, const char*> cases[] = {{server_.url("/"), "direct"},
                                                         {otherURL("/"), "direct"},
                                                         {"http://127.0.0.1.evil.example/", "proxied"},
                                                         {server_.url("/out"), "proxied"}};
    for (const auto& [url, body] : cases) {
        const auto outcome = vkt_fetch(*session_, vkt_requestTo(url));
        ASSERT_EQ(outcome.text(), "") << url;
        EXPECT_EQ(*outcome.data, body) << url;
    }
}

}  // namespace

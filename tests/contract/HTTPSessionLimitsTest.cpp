// How many connections a session has, and for how long.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"
#include "server/VKTRawServer.h"
#include "tests/support/VKTChildRun.h"
#include "tests/support/VKTConnections.h"
#include "tests/support/VKTLoopbackServer.h"
#include "tests/support/VKTThreadNames.h"
#include "tests/support/VKTTransferRecorder.h"

using namespace std::chrono_literals;

namespace {

std::shared_ptr<VKTHTTPSession> sessionWithLimits(std::size_t connectionsPerHost, std::size_t connections) {
    VKTHTTPSessionOptions options;
    options.connectionsPerHost = connectionsPerHost;
    options.connections = connections;
    return vkt_makeCurlHTTPSession(options);
}

std::vector<std::shared_ptr<VKTHTTPDataTask>> resumed(VKTHTTPSession& session, const VKTURLRequest& request,
                                                      std::vector<VKTTransferRecorder>& recorders) {
    std::vector<std::shared_ptr<VKTHTTPDataTask>> tasks;
    for (VKTTransferRecorder& recorder : recorders) {
        tasks.push_back(session.dataTaskWithRequest(request, recorder.completion()));
        tasks.back()->resume();
    }
    return tasks;
}

void waitForRequests(const VKTRawServer& server, int count) {
    while (server.requestCount() < count)
        std::this_thread::yield();
}

TEST(HTTPSessionLimits, ThousandsOfRequestsGetByWithFewDescriptors) {
    if (const char* url = vkt_childArgument()) {
        const rlimit few{256, 256};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
        const auto session = vkt_makeCurlHTTPSession();
        std::vector<VKTTransferRecorder> recorders(2000);
        resumed(*session, vkt_requestTo(url, 60s), recorders);
        for (VKTTransferRecorder& recorder : recorders)
            ASSERT_EQ(recorder.wait().text(), "");
        return;
    }
    VKTLoopbackServer server;
    server.serve("/", "x");
    // The server has set itself up when its first answer has come, and then many may ask at once.
    ASSERT_EQ(vkt_fetch(*vkt_makeCurlHTTPSession(), vkt_requestTo(server.url("/"))).code(), 0);
    EXPECT_EQ(vkt_runAsChild(server.url("/")), 0);
    EXPECT_EQ(server.requests().size(), 2001U);
}

TEST(HTTPSessionLimits, AHostAtItsLimitHoldsUpNoOther) {
    const VKTRawServer silent({{}, VKTRawAnswer::Hang});
    VKTLoopbackServer server;
    server.serve("/", "x");
    const auto session = sessionWithLimits(2, 3);
    std::vector<VKTTransferRecorder> waiting(5);
    resumed(*session, vkt_requestTo(silent.url(), 60s), waiting);
    waitForRequests(silent, 2);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(vkt_fetch(*session, vkt_requestTo(server.url("/"))).code(), 0);
    EXPECT_EQ(silent.requestCount(), 2);
}

TEST(HTTPSessionLimits, AllHostsTogetherHaveALimit) {
    const VKTRawServer first({{}, VKTRawAnswer::Hang});
    const VKTRawServer second({{}, VKTRawAnswer::Hang});
    VKTLoopbackServer server;
    const auto session = sessionWithLimits(6, 2);
    std::vector<VKTTransferRecorder> hanging(2);
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < hanging.size(); ++i) {
        const std::string url = i == 0 ? first.url() : second.url();
        session->dataTaskWithRequest(vkt_requestTo(url, 200ms), hanging[i].completion())->resume();
    }
    EXPECT_EQ(vkt_fetch(*session, vkt_requestTo(server.url("/"))).code(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 200ms) << "it did not wait for one of the others";
}

TEST(HTTPSessionLimits, ADeadlineBeginsWhenTheRequestLeavesTheQueue) {
    const VKTRawServer silent({{}, VKTRawAnswer::Hang});
    const auto session = sessionWithLimits(1, 16);
    std::vector<VKTTransferRecorder> recorders(3);
    const auto start = std::chrono::steady_clock::now();
    resumed(*session, vkt_requestTo(silent.url(), 100ms), recorders);
    for (VKTTransferRecorder& recorder : recorders)
        EXPECT_EQ(recorder.wait().code(), VKTURLErrorTimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
    EXPECT_EQ(silent.requestCount(), 3);
}

TEST(HTTPSessionLimits, ARequestThatWaitsCanBeCancelled) {
    const VKTRawServer silent({{}, VKTRawAnswer::Hang});
    const auto session = sessionWithLimits(1, 16);
    std::vector<VKTTransferRecorder> recorders(3);
    const auto tasks = resumed(*session, vkt_requestTo(silent.url(), 60s), recorders);
    waitForRequests(silent, 1);
    tasks[1]->cancel();
    EXPECT_EQ(recorders[1].wait().code(), VKTURLErrorCancelled);
    tasks[0]->cancel();
    waitForRequests(silent, 2);  // the third one's turn has come
    EXPECT_EQ(recorders[2].count(), 0);
}

TEST(HTTPSessionLimits, BlockingRequestsDoNotWaitForOthers) {
    const VKTRawServer silent({{}, VKTRawAnswer::Hang});
    const auto session = sessionWithLimits(1, 1);
    std::vector<VKTTransferRecorder> recorders(2);
    resumed(*session, vkt_requestTo(silent.url(), 60s), recorders);
    waitForRequests(silent, 1);
    EXPECT_EQ(vkt_fetch(*session, vkt_blockingRequestTo(silent.url(), 50ms)).code(), VKTURLErrorTimedOut);
    EXPECT_EQ(silent.requestCount(), 2) << "it was sent";
}

TEST(HTTPSessionLimits, ConnectionsThatNobodyUsesAreClosed) {
    const std::string answer = "HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx";
    const VKTRawServer silent({{}, VKTRawAnswer::Hang});
    const struct {
        const char* name;
        bool isBlocking;
        bool isSessionBusy;  // with another request
        VKTRawAnswer::Ending ending;
    } cases[] = {{"asynchronous", false, false, VKTRawAnswer::Hang},
                 {"blocking", true, false, VKTRawAnswer::Hang},
                 {"asynchronous, closed by the server", false, false, VKTRawAnswer::Close},
                 {"blocking, closed by the server", true, false, VKTRawAnswer::Close},
                 {"beside a request under way", false, true, VKTRawAnswer::Close}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        const VKTRawServer server({{answer}, each.ending});
        VKTHTTPSessionOptions options;
        options.idleConnectionTime = 200ms;
        const auto session = vkt_makeCurlHTTPSession(options);
        std::vector<VKTTransferRecorder> underWay(each.isSessionBusy ? 1 : 0);
        resumed(*session, vkt_requestTo(silent.url(), 60s), underWay);
        VKTURLRequest request = vkt_requestTo(server.url());
        request.completesOnTransferThread = each.isBlocking;
        ASSERT_EQ(vkt_fetch(*session, request).code(), 0);
        const auto limit = std::chrono::steady_clock::now() + 10s;
        while (!vkt_connectionsTo(vkt_portOf(server.url())).empty()) {
            ASSERT_LT(std::chrono::steady_clock::now(), limit) << "still open";
            std::this_thread::sleep_for(5ms);
        }
        for (VKTTransferRecorder& recorder : underWay)
            EXPECT_EQ(recorder.count(), 0);
    }
}

TEST(HTTPSessionLimits, ABlockingRequestFindsTheConnectionOfTheLastOne) {
    VKTLoopbackServer server;
    server.serve("/", "x");
    const auto session = vkt_makeCurlHTTPSession();
    const VKTURLRequest request = vkt_blockingRequestTo(server.url("/"));
    ASSERT_EQ(vkt_fetch(*session, request).code(), 0);
    const auto before = vkt_connectionsTo(vkt_portOf(server.url("")));
    ASSERT_EQ(vkt_fetch(*session, request).code(), 0);
    EXPECT_EQ(before.size(), 1U);
    EXPECT_EQ(vkt_connectionsTo(vkt_portOf(server.url(""))), before);
}

TEST(HTTPSessionLimits, ThreadsHaveTheNamesOfTheOptions) {
    VKTLoopbackServer server;
    VKTHTTPSessionOptions options;
    options.transferThreadName = "ads-network";
    options.deliveryThreadName = "ads-delivery-which-is-cut";
    const auto session = vkt_makeCurlHTTPSession(options);
    vkt_fetch(*session, vkt_requestTo(server.url("/")));
    const auto names = vkt_threadNames();
    EXPECT_TRUE(names.contains("ads-network"));
    EXPECT_TRUE(names.contains("ads-delivery-wh"));
}

}  // namespace

// The HTTP session of a process that may start no thread.
#include <gtest/gtest.h>

#include <thread>

#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"
#include "server/VKTRawServer.h"
#include "tests/support/VKTTransferRecorder.h"
#include "tests/threads/Scarcity.h"

namespace {

class HTTPSessionWithoutThreads : public testing::Test {
  protected:
    // It has started its thread when it is made.
    const VKTRawServer server_{{{"HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx"}}};
    const VKTURLRequest request_ = vkt_requestTo(server_.url());
    std::shared_ptr<VKTHTTPSession> session_ = vkt_makeCurlHTTPSession();
};

TEST_F(HTTPSessionWithoutThreads, ARequestEndsWhereItIsResumedAndTheNextOneTriesAgain) {
    {
        const NoNewThreads none;
        VKTTransferRecorder recorder;
        session_->dataTaskWithRequest(request_, recorder.completion())->resume();
        ASSERT_EQ(recorder.count(), 1);
        const auto outcome = recorder.wait();
        EXPECT_EQ(outcome.code(), VKTURLErrorResourceUnavailable);
        EXPECT_EQ(outcome.text(), "cannot start a thread (127.0.0.1): Resource temporarily unavailable");
        EXPECT_EQ(outcome.thread, std::this_thread::get_id());
    }
    EXPECT_EQ(vkt_fetch(*session_, request_).text(), "");
}

TEST_F(HTTPSessionWithoutThreads, ACancelledRequestEndsWhereItIsCancelled) {
    const NoNewThreads none;
    VKTTransferRecorder recorder;
    session_->dataTaskWithRequest(request_, recorder.completion())->cancel();
    ASSERT_EQ(recorder.count(), 1);
    EXPECT_EQ(recorder.wait().code(), VKTURLErrorCancelled);
}

TEST_F(HTTPSessionWithoutThreads, BlockingRequestsAreMade) {
    const VKTURLRequest blocking = vkt_blockingRequestTo(server_.url());
    const NoNewThreads none;
    EXPECT_EQ(vkt_fetch(*session_, blocking).text(), "");
    EXPECT_EQ(vkt_fetch(*session_, blocking).text(), "");
}

}  // namespace

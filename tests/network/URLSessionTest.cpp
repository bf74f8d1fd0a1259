#include "VKTCoreKit/network/VKTURLSession.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "VKTCoreKit/platform/testing/VKTFakeHTTPSession.h"
#include "server/VKTRawServer.h"
#include "tests/support/VKTLoopbackServer.h"
#include "tests/support/VKTRecordedLog.h"

namespace {

const VKTURL address = *VKTURL::URLWithString("http://h/x");

// A URL session over answers that the test writes.
class URLSession : public testing::Test {
  protected:
    static std::shared_ptr<VKTURLSession> sessionOver(const std::shared_ptr<VKTFakeHTTPSession>& http) {
        http->setAnswer(address.absoluteString(), VKTFakeHTTPAnswer::withBody("body"));
        return VKTURLSession::initWithSessionProvider(VKTURLSessionProvider::initWithSession(http));
    }

    std::shared_ptr<VKTFakeHTTPSession> atOnce_ = std::make_shared<VKTFakeHTTPSession>();
    std::shared_ptr<VKTFakeHTTPSession> byHand_ =
        std::make_shared<VKTFakeHTTPSession>(VKTFakeHTTPSession::Delivery::ByHand);
};

TEST_F(URLSession, FormsWithAURLAreGETRequestsWithTheDefaultsOrWhatIsGiven) {
    const auto session = sessionOver(atOnce_);
    session->asynchronousDataRequestWithURL(address, nullptr);
    session->asynchronousDataRequestWithURL(address, VKTURLRequestReloadIgnoringLocalAndRemoteCacheData,
                                            VKTTimeInterval(2.5), nullptr);
    (void)session->synchronousDataRequestWithURL(address);
    (void)session->synchronousDataRequestWithURL(address, VKTURLRequestReloadIgnoringLocalCacheData,
                                                 VKTTimeInterval(1));
    using Row = std::tuple<VKTURLRequestCachePolicy, double, bool>;
    std::vector<Row> rows;
    for (const VKTURLRequest& request : atOnce_->requests()) {
        EXPECT_EQ(request.url, address);
        EXPECT_EQ(request.HTTPMethod, "GET");
        rows.emplace_back(request.cachePolicy, request.timeoutInterval.count(),
                          request.completesOnTransferThread);
    }
    EXPECT_EQ(rows, (std::vector<Row>{{VKTURLRequestUseProtocolCachePolicy, 60, false},
                                      {VKTURLRequestReloadIgnoringLocalAndRemoteCacheData, 2.5, false},
                                      {VKTURLRequestUseProtocolCachePolicy, 60, true},
                                      {VKTURLRequestReloadIgnoringLocalCacheData, 1, true}}));
}

TEST_F(URLSession, DeliversTheAnswerOrTheCancellingWithItsTask) {
    const auto session = sessionOver(byHand_);
    std::vector<std::shared_ptr<VKTURLSessionTask>> handed;
    const auto task =
        session->asynchronousDataRequestWithURL(address, [&](const auto& response, const auto& ofTask) {
            handed.push_back(ofTask);
            EXPECT_EQ(*response.data(), "body");
            EXPECT_EQ(response.response()->statusCode, 200);
            EXPECT_FALSE(response.error());
        });
    const auto cancelled =
        session->asynchronousDataRequestWithURL(address, [&](const auto& response, const auto& ofTask) {
            handed.push_back(ofTask);
            ASSERT_TRUE(response.error());
            EXPECT_EQ(response.error()->code(), VKTURLErrorCancelled);
        });
    cancelled->cancel();
    EXPECT_TRUE(handed.empty());
    byHand_->deliverAll();
    EXPECT_EQ(handed, (std::vector{task, cancelled}));
    EXPECT_EQ(task->identifier(), task->dataTask()->taskIdentifier());
}

TEST_F(URLSession, AHandlerThatThrowsEndsNothingButItself) {
    const VKTRawServer server({{"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"}});
    const auto url = *VKTURL::URLWithString(server.url());
    const auto session = VKTURLSession::sharedInstance();
    VKTRecordedLog log;
    std::promise<void> throwing, later;
    session->asynchronousDataRequestWithURL(url, [&](const auto&, const auto&) {
        throwing.set_value();
        throw std::runtime_error("boom");
    });
    throwing.get_future().wait();
    // Delivered by the same thread, so after the line in the log.
    session->asynchronousDataRequestWithURL(url, [&](const auto&, const auto&) { later.set_value(); });
    later.get_future().wait();
    EXPECT_EQ(log.take(),
              std::vector<std::string>{
                  "ERROR the completion handler of a request has thrown an exception (boom), which "
                  "was dropped. Catch it in there: the library takes the call as returned."});
}

TEST_F(URLSession, ADroppedTaskLivesUntilItsAnswerAndNoLonger) {
    const auto session = sessionOver(byHand_);
    std::weak_ptr<VKTURLSessionTask> handed;
    session->asynchronousDataRequestWithURL(address, [&](const auto&, const auto& task) {
        handed = task;
        EXPECT_FALSE(handed.expired());
    });
    const std::weak_ptr<VKTURLSessionTask> withoutHandler =
        session->asynchronousDataRequestWithURL(address, nullptr);
    EXPECT_FALSE(withoutHandler.expired());
    EXPECT_EQ(byHand_->deliverAll(), 2u);
    EXPECT_TRUE(handed.expired());
    EXPECT_TRUE(withoutHandler.expired());
}

TEST_F(URLSession, BlockingRequestWaitsForAnAnswerFromAnotherThread) {
    const auto session = sessionOver(byHand_);
    std::thread delivering([&] {
        while (!byHand_->deliverNext())
            std::this_thread::yield();
    });
    EXPECT_EQ(*session->synchronousDataRequestWithURL(address).data(), "body");
    delivering.join();
}

// The time-out is far away: a request that is not ended by the canceller ends with another error.
TEST_F(URLSession, ACancellerEndsTheBlockingRequestAndEachLaterOne) {
    const VKTRawServer silent({{}, VKTRawAnswer::Hang});
    VKTURLRequest request;
    request.url = *VKTURL::URLWithString(silent.url());
    request.canceller = std::make_shared<VKTHTTPCanceller>();
    std::thread cancelling([&] {
        while (silent.requestCount() == 0)
            std::this_thread::yield();
        request.canceller->cancel();
    });
    for (const auto& session : {VKTURLSession::sharedInstance(), VKTURLSession::sharedInstance(),
                                sessionOver(atOnce_), sessionOver(byHand_)}) {
        const auto response = session->synchronousDataRequestWithURLRequest(request);
        ASSERT_TRUE(response.error());
        EXPECT_EQ(response.error()->code(), VKTURLErrorCancelled);
    }
    cancelling.join();
    EXPECT_EQ(silent.requestCount(), 1);
}

TEST(URLSessionTask, WithoutADataTaskTheTestIdentifierStandsIn) {
    const auto task = VKTURLSessionTask::initWithDataTask(nullptr);
    task->setTestIdentifier(7);
    EXPECT_EQ(task->identifier(), 7u);
    task->resume();
    task->cancel();
}

// A blocking request made in a completion would wait for the very thread that it stands on.
TEST_F(URLSession, BlockingRequestOnTheDeliveryThreadDoesNotHang) {
    VKTLoopbackServer server;
    server.serve("/first", "1");
    server.handle("/second", [](const auto&) { return VKTServerResponse{404, "2", {}}; });
    const auto& session = VKTURLSession::sharedInstance();
    std::promise<VKTURLSessionResponse> second;
    session->asynchronousDataRequestWithURL(*VKTURL::URLWithString(server.url("/first")),
                                            [&](const VKTURLSessionResponse& response, const auto&) {
                                                EXPECT_FALSE(response.error());
                                                second.set_value(session->synchronousDataRequestWithURL(
                                                    *VKTURL::URLWithString(server.url("/second"))));
                                            });
    auto answer = second.get_future();
    ASSERT_EQ(answer.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    const VKTURLSessionResponse response = answer.get();
    EXPECT_FALSE(response.error()) << "a status of failure is no error";
    EXPECT_EQ(response.response()->statusCode, 404);
    EXPECT_EQ(*response.data(), "2");
}

}  // namespace

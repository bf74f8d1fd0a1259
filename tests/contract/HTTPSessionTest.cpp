#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"
#include "VKTCoreKit/platform/testing/VKTFakeHTTPSession.h"
#include "server/VKTRawServer.h"
#include "tests/support/VKTLoopbackServer.h"
#include "tests/support/VKTTransferRecorder.h"

using namespace std::chrono_literals;

namespace {

struct CurlSubject {
    CurlSubject() {
        server.serve("/hello", "hello");
        server.serve("/empty", "");
    }

    [[nodiscard]] std::string url(const std::string& path) const { return server.url(path); }
    void deliver() {}

    VKTLoopbackServer server;
    VKTRawServer silentServer{{{}, VKTRawAnswer::Hang}};
    std::shared_ptr<VKTHTTPSession> session = vkt_makeCurlHTTPSession();
    std::string silentURL = silentServer.url();
    std::string refusingURL = VKTRawServer::refusingURL();
};

struct FakeSubject {
    FakeSubject() {
        fake->setAnswer(url("/hello"), VKTFakeHTTPAnswer::withBody("hello"));
        fake->setAnswer(url("/empty"), VKTFakeHTTPAnswer::withBody(""));
        session = fake;
    }

    [[nodiscard]] static std::string url(const std::string& path) { return "http://127.0.0.1:1" + path; }
    void deliver() {
        if (fake) fake->deliverAll();
    }

    std::shared_ptr<VKTFakeHTTPSession> fake =
        std::make_shared<VKTFakeHTTPSession>(VKTFakeHTTPSession::Delivery::ByHand);
    std::shared_ptr<VKTHTTPSession> session;
    std::string silentURL = url("/silent");
    std::string refusingURL = url("/refused");
};

template <typename Subject>
class HTTPSessionContract : public testing::Test {
  protected:
    // Runs a task to its completion.
    VKTTransferRecorder::Outcome finish(const std::shared_ptr<VKTHTTPDataTask>& task,
                                        VKTTransferRecorder& recorder) {
        task->resume();
        subject_.deliver();
        return recorder.wait();
    }

    std::shared_ptr<VKTHTTPDataTask> makeTask(const std::string& url, VKTTransferRecorder& recorder) {
        return subject_.session->dataTaskWithRequest(vkt_requestTo(url), recorder.completion());
    }

    VKTTransferRecorder::Outcome outcomeOf(const std::string& url) {
        VKTTransferRecorder recorder;
        return finish(makeTask(url, recorder), recorder);
    }

    Subject subject_;
};

using Subjects = testing::Types<CurlSubject, FakeSubject>;
TYPED_TEST_SUITE(HTTPSessionContract, Subjects);

TYPED_TEST(HTTPSessionContract, DeliversBodyAndResponse) {
    const auto hello = this->outcomeOf(this->subject_.url("/hello"));
    EXPECT_EQ(hello.code(), 0);
    ASSERT_TRUE(hello.data);
    EXPECT_EQ(*hello.data, "hello");
    EXPECT_EQ(hello.response->statusCode, 200);
    EXPECT_EQ(hello.response->url.absoluteString(), this->subject_.url("/hello"));
    const auto empty = this->outcomeOf(this->subject_.url("/empty"));
    ASSERT_TRUE(empty.data) << "an empty body is not none";
    EXPECT_TRUE(empty.data->empty());
}

TYPED_TEST(HTTPSessionContract, KeepsNoMoreOfTheBodyThanAskedFor) {
    const std::pair<std::size_t, std::string> cases[] = {{0, ""}, {2, "he"}, {5, "hello"}, {6, "hello"}};
    for (const auto& [limit, kept] : cases) {
        VKTURLRequest request = vkt_requestTo(this->subject_.url("/hello"));
        request.bodyKeepLimit = limit;
        VKTTransferRecorder recorder;
        const auto task = this->subject_.session->dataTaskWithRequest(request, recorder.completion());
        EXPECT_EQ(*this->finish(task, recorder).data, kept);
    }
}

TYPED_TEST(HTTPSessionContract, CompletesOnceHoweverOftenResumedAndCancelled) {
    VKTTransferRecorder recorder;
    const auto task = this->makeTask(this->subject_.url("/hello"), recorder);
    EXPECT_EQ(recorder.count(), 0);
    task->resume();
    this->finish(task, recorder);
    task->cancel();
    task->resume();
    this->outcomeOf(this->subject_.url("/hello"));  // by its end a second completion would have come
    EXPECT_EQ(recorder.count(), 1);
    EXPECT_EQ(recorder.wait().code(), 0);
}

TYPED_TEST(HTTPSessionContract, FailureHasCodeDescriptionAndNoData) {
    const auto refused = this->outcomeOf(this->subject_.refusingURL);
    EXPECT_EQ(refused.code(), VKTURLErrorCannotConnectToHost);
    EXPECT_NE(refused.error->localizedDescription().value_or(""), "");
    EXPECT_FALSE(refused.data);
    EXPECT_FALSE(refused.response);
}

TYPED_TEST(HTTPSessionContract, CancelBeforeAndAfterResume) {
    for (const bool isResumed : {false, true}) {
        VKTTransferRecorder recorder;
        const auto task = this->makeTask(this->subject_.silentURL, recorder);
        if (isResumed) task->resume();
        task->cancel();
        EXPECT_EQ(this->finish(task, recorder).code(), VKTURLErrorCancelled);
        EXPECT_EQ(recorder.count(), 1);
    }
}

TYPED_TEST(HTTPSessionContract, EndOfTheSessionCancelsWhatIsUnderWayAndWhatComesLater) {
    VKTTransferRecorder underWay;
    VKTTransferRecorder resumedLater;
    VKTTransferRecorder cancelledLater;
    this->makeTask(this->subject_.silentURL, underWay)->resume();
    const auto lateTask = this->makeTask(this->subject_.url("/hello"), resumedLater);
    const auto cancelledTask = this->makeTask(this->subject_.url("/hello"), cancelledLater);
    EXPECT_NE(lateTask->taskIdentifier(), cancelledTask->taskIdentifier());
    this->subject_.session.reset();
    if constexpr (std::is_same_v<TypeParam, FakeSubject>) this->subject_.fake.reset();
    EXPECT_EQ(underWay.count(), 1);
    lateTask->resume();
    cancelledTask->cancel();
    for (VKTTransferRecorder& each : {std::ref(underWay), std::ref(resumedLater), std::ref(cancelledLater)})
        EXPECT_EQ(each.wait().code(), VKTURLErrorCancelled);
}

class CurlHTTPSession : public testing::Test {
  protected:
    std::int64_t codeOf(const std::string& path) {
        return vkt_fetch(*session_, vkt_requestTo(server_.url(path), 60s)).code();
    }

    VKTLoopbackServer server_;
    std::shared_ptr<VKTHTTPSession> session_ = vkt_makeCurlHTTPSession();
};

TEST_F(CurlHTTPSession, SendsTheRequestAsGiven) {
    VKTURLRequest request = vkt_requestTo(server_.url("/a/../b%2F?x=[1]"));
    request.cachePolicy = VKTURLRequestReloadIgnoringLocalAndRemoteCacheData;
    request.addValue("one", "X-Twice");
    request.addValue("two", "x-twice");
    request.addValue("max-age=0", "cache-control");
    request.addValue("a\r\nX-Smuggled: b", "X-Broken");
    vkt_fetch(*session_, request);
    request.HTTPMethod = "POST";
    request.HTTPBody = std::string("k=\0v", 4);
    vkt_fetch(*session_, request);

    const auto received = server_.requests();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0].method, "GET");
    EXPECT_EQ(received[0].target, "/a/../b%2F?x=[1]");
    EXPECT_EQ(received[0].header("Cache-Control"), "max-age=0,no-cache");
    EXPECT_EQ(received[0].header("Pragma"), "no-cache");
    EXPECT_EQ(received[0].header("Accept-Encoding"), "gzip, deflate");
    for (const char* name : {"User-Agent", "X-Smuggled"})
        EXPECT_EQ(received[0].header(name), "") << name;
    const auto isTwice = [](const auto& header) { return header.first == "X-Twice"; };
    EXPECT_EQ(std::count_if(received[0].headers.begin(), received[0].headers.end(), isTwice), 1);
    EXPECT_EQ(received[0].header("X-Twice"), "one,two");
    EXPECT_EQ(received[1].method, "POST");
    EXPECT_EQ(received[1].body, std::string("k=\0v", 4));
}

TEST_F(CurlHTTPSession, RequestsThatCannotBeMade) {
    const std::tuple<const char*, VKTTimeInterval, int> cases[] = {
        {"relative/path", 1s, VKTURLErrorBadURL},
        {"http:///nohost", 1s, VKTURLErrorBadURL},
        {"ftp://127.0.0.1/x", 1s, VKTURLErrorUnsupportedURL},
        {"file:///etc/hostname", 1s, VKTURLErrorUnsupportedURL},
        {"http://127.0.0.1:1/", 0s, VKTURLErrorTimedOut},
        {"http://127.0.0.1:1/", -1s, VKTURLErrorTimedOut}};
    for (const auto& [url, timeout, code] : cases) {
        for (const bool isBlocking : {false, true}) {
            VKTURLRequest request = vkt_requestTo(url, timeout);
            request.completesOnTransferThread = isBlocking;
            EXPECT_EQ(vkt_fetch(*session_, request).code(), code) << url;
        }
    }
}

TEST_F(CurlHTTPSession, BadAnswers) {
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const std::string header = ok + "Content-Length: 100\r\n\r\n";
    std::vector<std::string> drops(40, "x");
    drops.front() = ok + "X-Drops: ";
    const struct {
        const char* name;
        VKTRawAnswer answer;
        int code;
        bool hasResponse;
    } cases[] = {
        {"never answers", {{}, VKTRawAnswer::Hang}, VKTURLErrorTimedOut, false},
        {"drips", {drops, VKTRawAnswer::Hang, 20ms}, VKTURLErrorTimedOut, false},
        {"hangs in the body", {{header, "part"}, VKTRawAnswer::Hang}, VKTURLErrorTimedOut, true},
        {"closes in the body", {{header, "part"}}, VKTURLErrorNetworkConnectionLost, true},
        {"closes at once", {}, VKTURLErrorNetworkConnectionLost, false},
        {"resets in the body", {{header}, VKTRawAnswer::Reset, 10ms}, VKTURLErrorNetworkConnectionLost, true},
        {"no header", {{"<VAST version=\"3.0\"/>"}}, VKTURLErrorBadServerResponse, false}};
    for (const auto& each : cases) {
        const VKTRawServer server(each.answer);
        const auto outcome = vkt_fetch(*session_, vkt_requestTo(server.url(), 300ms));
        ASSERT_EQ(outcome.code(), each.code) << each.name;
        EXPECT_EQ(outcome.response != nullptr, each.hasResponse) << each.name;
        EXPECT_NE(outcome.error->localizedDescription()->find("127.0.0.1"), std::string::npos) << each.name;
    }
}

TEST_F(CurlHTTPSession, LimitsTheBody) {
    server_.serve("/largest", std::string(VKTHTTPBodyLimit, 'x'));
    server_.serve("/larger", std::string(VKTHTTPBodyLimit + 1, 'x'));
    EXPECT_EQ(codeOf("/largest"), 0);
    EXPECT_EQ(codeOf("/larger"), VKTURLErrorDataLengthExceedsMaximum);
}

// Nobody pays for what nobody wants.
TEST_F(CurlHTTPSession, EndsABodyThatIsKeptInPart) {
    const VKTRawServer endless(
        {{"HTTP/1.1 404 Not Found\r\n\r\n", std::string(1'000, 'x')}, VKTRawAnswer::Endless});
    VKTURLRequest request = vkt_requestTo(endless.url());
    for (const std::size_t limit : {std::size_t{0}, std::size_t{100'000}}) {
        request.bodyKeepLimit = limit;
        const auto outcome = vkt_fetch(*session_, request);
        ASSERT_EQ(outcome.text(), "") << limit;
        EXPECT_EQ(outcome.response->statusCode, 404);
        EXPECT_EQ(outcome.data->size(), limit);
    }
}

// A request on a kept connection that its server closes just then is sent again, however often that happens.
TEST_F(CurlHTTPSession, SendsAgainWhatADeadConnectionLost) {
    for (const char* answer : {"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n",
                               "HTTP/1.1 302 Found\r\nLocation: /\r\nContent-Length: 0\r\n\r\n"}) {
        const VKTRawServer server({{answer}, VKTRawAnswer::Close, 20ms});
        const bool isRedirect = std::string(answer).find("302") != std::string::npos;
        for (int i = 0; i < (isRedirect ? 1 : 8); ++i) {
            const auto outcome = vkt_fetch(*session_, vkt_requestTo(server.url()));
            EXPECT_EQ(outcome.code(), isRedirect ? VKTURLErrorHTTPTooManyRedirects : 0) << outcome.text();
        }
    }
}

TEST_F(CurlHTTPSession, DeliversOnOneThreadWhereABlockingRequestDoesNotHang) {
    server_.serve("/", "x");
    const VKTURLRequest request = vkt_requestTo(server_.url("/"));
    VKTData inner;
    VKTTransferRecorder outer;
    const auto task = session_->dataTaskWithRequest(
        request, [&, done = outer.completion()](auto data, auto response, auto error) {
            inner = vkt_fetch(*session_, vkt_blockingRequestTo(server_.url("/"))).data;
            done(data, response, error);
        });
    task->resume();
    const auto outcome = outer.wait();
    EXPECT_EQ(*inner, "x");
    EXPECT_NE(outcome.thread, std::this_thread::get_id());
    EXPECT_EQ(vkt_fetch(*session_, request).thread, outcome.thread);
}

TEST_F(CurlHTTPSession, BlockingRequestsEndWhenCancelledOrWithTheSession) {
    for (const bool endsSession : {false, true}) {
        const VKTRawServer silent({{}, VKTRawAnswer::Hang});
        VKTTransferRecorder recorder;
        const auto task =
            session_->dataTaskWithRequest(vkt_blockingRequestTo(silent.url()), recorder.completion());
        std::thread waiter([&] { task->resume(); });
        while (silent.requestCount() == 0)
            std::this_thread::yield();
        endsSession ? session_.reset() : task->cancel();
        waiter.join();
        EXPECT_EQ(recorder.count(), 1);
        EXPECT_EQ(recorder.wait().code(), VKTURLErrorCancelled);
    }
}

TEST_F(CurlHTTPSession, EndsOnItsDeliveryThread) {
    server_.serve("/", "x");
    const VKTRawServer silent({{}, VKTRawAnswer::Hang});
    VKTTransferRecorder underWay;
    VKTTransferRecorder last;
    session_->dataTaskWithRequest(vkt_requestTo(silent.url()), underWay.completion())->resume();
    auto task = session_->dataTaskWithRequest(
        vkt_requestTo(server_.url("/")), [&, done = last.completion()](auto data, auto response, auto error) {
            session_.reset();
            done(data, response, error);
        });
    task->resume();
    last.wait();
    EXPECT_EQ(underWay.wait().code(), VKTURLErrorCancelled);
}

// The ends of a transfer race each other; each task must see exactly one.
TEST_F(CurlHTTPSession, RacingEndsCompleteOnce) {
    server_.serve("/", "x");
    std::vector<VKTTransferRecorder> recorders(100);
    std::vector<std::shared_ptr<VKTHTTPDataTask>> tasks;
    for (VKTTransferRecorder& recorder : recorders) {
        const std::size_t i = tasks.size();
        VKTURLRequest request = vkt_requestTo(server_.url("/"), i % 3 == 0 ? VKTTimeInterval(0.002) : 10s);
        request.completesOnTransferThread = i % 5 == 0;
        tasks.push_back(session_->dataTaskWithRequest(request, recorder.completion()));
    }
    std::thread starter([&] {
        for (const auto& task : tasks)
            task->resume();
    });
    std::thread canceller([&] {
        for (const auto& task : tasks)
            task->cancel();
    });
    starter.join();
    canceller.join();
    for (VKTTransferRecorder& recorder : recorders)
        recorder.wait();
    session_.reset();
    for (VKTTransferRecorder& recorder : recorders)
        EXPECT_EQ(recorder.count(), 1);
}

}  // namespace

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"
#include "VKTCoreKit/platform/testing/VKTFakeHTTPSession.h"
#include "tests/support/VKTLoopbackServer.h"
#include "tests/support/VKTRawServer.h"

using namespace std::chrono_literals;

namespace {

VKTURLRequest requestTo(const std::string& url, VKTTimeInterval timeout = 10s) {
    VKTURLRequest request;
    request.url = VKTURL::URLWithString(url).value();
    request.timeoutInterval = timeout;
    return request;
}

// What one task's completion was given, and how often it was called.
class Recorder {
  public:
    VKTHTTPCompletion completion() {
        return [state = state_](VKTData data, std::shared_ptr<const VKTURLResponse> response,
                                std::optional<VKTError> error) {
            VKTLock lock(state->mutex);
            ++state->count;
            state->data = std::move(data);
            state->response = std::move(response);
            state->error = std::move(error);
            state->thread = std::this_thread::get_id();
            state->changed.notify_all();
        };
    }

    void wait() {
        VKTLock lock(state_->mutex);
        while (state_->count == 0)
            state_->changed.wait(lock);
    }

    int count() {
        VKTLock lock(state_->mutex);
        return state_->count;
    }

    // To be read after `wait`.
    VKTData data() {
        VKTLock lock(state_->mutex);
        return state_->data;
    }
    std::shared_ptr<const VKTURLResponse> response() {
        VKTLock lock(state_->mutex);
        return state_->response;
    }
    std::int64_t errorCode() {
        VKTLock lock(state_->mutex);
        return state_->error ? state_->error->code() : 0;
    }
    std::string errorText() {
        VKTLock lock(state_->mutex);
        return state_->error ? state_->error->localizedDescription().value_or("") : "";
    }
    std::thread::id thread() {
        VKTLock lock(state_->mutex);
        return state_->thread;
    }

  private:
    struct State {
        VKTMutex mutex;
        std::condition_variable_any changed;
        int count = 0;
        VKTData data;
        std::shared_ptr<const VKTURLResponse> response;
        std::optional<VKTError> error;
        std::thread::id thread;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

Recorder fetch(VKTHTTPSession& session, const VKTURLRequest& request) {
    Recorder recorder;
    session.dataTaskWithRequest(request, recorder.completion())->resume();
    recorder.wait();
    return recorder;
}

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
    void finish(const std::shared_ptr<VKTHTTPDataTask>& task, Recorder& recorder) {
        task->resume();
        subject_.deliver();
        recorder.wait();
    }

    std::shared_ptr<VKTHTTPDataTask> makeTask(const std::string& url, Recorder& recorder) {
        return subject_.session->dataTaskWithRequest(requestTo(url), recorder.completion());
    }

    Subject subject_;
};

using Subjects = testing::Types<CurlSubject, FakeSubject>;
TYPED_TEST_SUITE(HTTPSessionContract, Subjects);

TYPED_TEST(HTTPSessionContract, DeliversBodyAndResponse) {
    Recorder recorder;
    const auto task = this->makeTask(this->subject_.url("/hello"), recorder);
    EXPECT_EQ(recorder.count(), 0);
    this->finish(task, recorder);
    EXPECT_EQ(recorder.errorCode(), 0);
    ASSERT_TRUE(recorder.data());
    EXPECT_EQ(*recorder.data(), "hello");
    EXPECT_EQ(recorder.response()->statusCode, 200);
    EXPECT_EQ(recorder.response()->url.absoluteString(), this->subject_.url("/hello"));
}

TYPED_TEST(HTTPSessionContract, EmptyBodyIsNotNull) {
    Recorder recorder;
    this->finish(this->makeTask(this->subject_.url("/empty"), recorder), recorder);
    ASSERT_TRUE(recorder.data());
    EXPECT_TRUE(recorder.data()->empty());
}

TYPED_TEST(HTTPSessionContract, CompletesOnceHoweverOftenResumedAndCancelled) {
    Recorder recorder;
    const auto task = this->makeTask(this->subject_.url("/hello"), recorder);
    task->resume();
    this->finish(task, recorder);
    task->cancel();
    task->resume();
    Recorder next;
    this->finish(this->makeTask(this->subject_.url("/hello"), next), next);
    EXPECT_EQ(recorder.count(), 1);
    EXPECT_EQ(recorder.errorCode(), 0);
}

TYPED_TEST(HTTPSessionContract, FailureHasCodeDescriptionAndNoData) {
    Recorder recorder;
    this->finish(this->makeTask(this->subject_.refusingURL, recorder), recorder);
    EXPECT_EQ(recorder.errorCode(), VKTURLErrorCannotConnectToHost);
    EXPECT_NE(recorder.errorText(), "");
    EXPECT_FALSE(recorder.data());
    EXPECT_FALSE(recorder.response());
}

TYPED_TEST(HTTPSessionContract, CancelBeforeAndAfterResume) {
    for (const bool isResumed : {false, true}) {
        Recorder recorder;
        const auto task = this->makeTask(this->subject_.silentURL, recorder);
        if (isResumed) task->resume();
        task->cancel();
        EXPECT_LE(recorder.count(), 1);
        this->finish(task, recorder);
        EXPECT_EQ(recorder.errorCode(), VKTURLErrorCancelled);
        EXPECT_EQ(recorder.count(), 1);
    }
}

TYPED_TEST(HTTPSessionContract, EndOfTheSessionCancelsWhatIsUnderWayAndWhatComesLater) {
    Recorder underWay;
    Recorder resumedLater;
    Recorder cancelledLater;
    this->makeTask(this->subject_.silentURL, underWay)->resume();
    const auto lateTask = this->makeTask(this->subject_.url("/hello"), resumedLater);
    const auto cancelledTask = this->makeTask(this->subject_.url("/hello"), cancelledLater);
    this->subject_.session.reset();
    if constexpr (std::is_same_v<TypeParam, FakeSubject>) this->subject_.fake.reset();
    EXPECT_EQ(underWay.count(), 1);
    EXPECT_EQ(underWay.errorCode(), VKTURLErrorCancelled);
    lateTask->resume();
    resumedLater.wait();
    EXPECT_EQ(resumedLater.errorCode(), VKTURLErrorCancelled);
    cancelledTask->cancel();
    cancelledLater.wait();
    EXPECT_EQ(cancelledLater.errorCode(), VKTURLErrorCancelled);
}

TYPED_TEST(HTTPSessionContract, IdentifiersAreUnique) {
    Recorder recorder;
    EXPECT_NE(this->makeTask(this->subject_.silentURL, recorder)->taskIdentifier(),
              this->makeTask(this->subject_.silentURL, recorder)->taskIdentifier());
}

class CurlHTTPSession : public testing::Test {
  protected:
    VKTServerResponse redirect(int statusCode, const std::string& location) {
        return {statusCode, "", {{"Location", location}}};
    }

    VKTLoopbackServer server_;
    std::shared_ptr<VKTHTTPSession> session_ = vkt_makeCurlHTTPSession();
};

TEST_F(CurlHTTPSession, SendsTheRequestAsGiven) {
    VKTURLRequest request = requestTo(server_.url("/a/../b%2F?x=[1]"));
    request.cachePolicy = VKTURLRequestReloadIgnoringLocalAndRemoteCacheData;
    request.addValue("one", "X-Twice");
    request.addValue("two", "X-Twice");
    request.addValue("a\r\nX-Smuggled: b", "X-Broken");
    fetch(*session_, request);
    request.HTTPMethod = "POST";
    request.HTTPBody = std::string("k=\0v", 4);
    fetch(*session_, request);

    const auto received = server_.requests();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0].method, "GET");
    EXPECT_EQ(received[0].target, "/a/../b%2F?x=[1]");
    EXPECT_EQ(received[0].header("Cache-Control"), "no-cache");
    EXPECT_EQ(received[0].header("Pragma"), "no-cache");
    EXPECT_EQ(received[0].header("User-Agent"), "");
    EXPECT_EQ(received[0].header("X-Smuggled"), "");
    const auto isTwice = [](const auto& header) { return header.first == "X-Twice"; };
    EXPECT_EQ(std::count_if(received[0].headers.begin(), received[0].headers.end(), isTwice), 2);
    EXPECT_EQ(received[1].method, "POST");
    EXPECT_EQ(received[1].body, std::string("k=\0v", 4));
}

TEST_F(CurlHTTPSession, FollowsRedirects) {
    server_.serve("/end", "end");
    for (const int statusCode : {301, 302, 303, 307}) {
        const std::string path = "/from/" + std::to_string(statusCode);
        server_.handle(path, [=, this](const auto&) { return redirect(statusCode, "/end"); });
        VKTURLRequest request = requestTo(server_.url(path));
        request.HTTPMethod = "POST";
        request.HTTPBody = "body";
        Recorder recorder = fetch(*session_, request);
        EXPECT_EQ(recorder.errorCode(), 0) << statusCode;
        EXPECT_EQ(recorder.response()->url.absoluteString(), server_.url("/end"));
        EXPECT_EQ(server_.requests().back().method, statusCode == 307 ? "POST" : "GET") << statusCode;
    }
}

TEST_F(CurlHTTPSession, RedirectsThatLeadNowhere) {
    server_.handle("/loop", [this](const auto&) { return redirect(302, "/loop"); });
    server_.handle("/file", [this](const auto&) { return redirect(302, "file:///etc/hostname"); });
    server_.handle("/bare", [](const auto&) { return VKTServerResponse{302, "here", {}}; });

    Recorder loop = fetch(*session_, requestTo(server_.url("/loop")));
    EXPECT_EQ(loop.errorCode(), VKTURLErrorHTTPTooManyRedirects);
    EXPECT_EQ(server_.requests().size(), 1U + VKTHTTPRedirectLimit);

    Recorder file = fetch(*session_, requestTo(server_.url("/file")));
    EXPECT_EQ(file.errorCode(), VKTURLErrorUnsupportedURL);
    EXPECT_FALSE(file.data());

    Recorder bare = fetch(*session_, requestTo(server_.url("/bare")));
    EXPECT_EQ(bare.errorCode(), 0);
    EXPECT_EQ(bare.response()->statusCode, 302);
    EXPECT_EQ(*bare.data(), "here");
}

TEST_F(CurlHTTPSession, RequestsThatCannotBeMade) {
    const struct {
        const char* url;
        VKTTimeInterval timeout;
        int code;
    } cases[] = {
        {"relative/path", 1s, VKTURLErrorBadURL},
        {"http:///nohost", 1s, VKTURLErrorBadURL},
        {"ftp://127.0.0.1/x", 1s, VKTURLErrorUnsupportedURL},
        {"file:///etc/hostname", 1s, VKTURLErrorUnsupportedURL},
        {"http://127.0.0.1:1/", 0s, VKTURLErrorTimedOut},
        {"http://127.0.0.1:1/", -1s, VKTURLErrorTimedOut},
    };
    for (const auto& each : cases) {
        for (const bool isBlocking : {false, true}) {
            VKTURLRequest request = requestTo(each.url, each.timeout);
            request.completesOnTransferThread = isBlocking;
            EXPECT_EQ(fetch(*session_, request).errorCode(), each.code) << each.url;
        }
    }
}

TEST_F(CurlHTTPSession, BadAnswers) {
    const std::string header = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n";
    std::vector<std::string> drops(40, "x");
    drops.front() = "HTTP/1.1 200 OK\r\nX-Drops: ";
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
        {"truncated chunks",
         {{"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhel"}},
         VKTURLErrorNetworkConnectionLost,
         true},
        {"no header", {{"<VAST version=\"3.0\"/>"}}, VKTURLErrorBadServerResponse, false},
        {"broken compression",
         {{"HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 8\r\n\r\nnot gzip"}},
         VKTURLErrorBadServerResponse,
         true},
    };
    for (const auto& each : cases) {
        const VKTRawServer server(each.answer);
        Recorder recorder = fetch(*session_, requestTo(server.url(), 300ms));
        EXPECT_EQ(recorder.errorCode(), each.code) << each.name << ": " << recorder.errorText();
        EXPECT_EQ(recorder.response() != nullptr, each.hasResponse) << each.name;
        EXPECT_NE(recorder.errorText().find("127.0.0.1"), std::string::npos) << recorder.errorText();
    }
}

TEST_F(CurlHTTPSession, LimitsTheBody) {
    server_.serve("/largest", std::string(VKTHTTPBodyLimit, 'x'));
    server_.serve("/larger", std::string(VKTHTTPBodyLimit + 1, 'x'));
    EXPECT_EQ(fetch(*session_, requestTo(server_.url("/largest"), 60s)).errorCode(), 0);
    EXPECT_EQ(fetch(*session_, requestTo(server_.url("/larger"), 60s)).errorCode(),
              VKTURLErrorDataLengthExceedsMaximum);
}

TEST_F(CurlHTTPSession, DeliversOnOneThreadInTurn) {
    server_.serve("/", "x");
    const std::thread::id first = fetch(*session_, requestTo(server_.url("/"))).thread();
    EXPECT_NE(first, std::this_thread::get_id());
    EXPECT_EQ(fetch(*session_, requestTo(server_.url("/"))).thread(), first);
}

TEST_F(CurlHTTPSession, BlockingRequestOnTheDeliveryThread) {
    server_.serve("/", "x");
    VKTURLRequest blocking = requestTo(server_.url("/"));
    blocking.completesOnTransferThread = true;
    Recorder inner;
    Recorder outer;
    session_
        ->dataTaskWithRequest(requestTo(server_.url("/")),
                              [&, done = outer.completion()](auto data, auto response, auto error) {
                                  inner = fetch(*session_, blocking);
                                  done(data, response, error);
                              })
        ->resume();
    outer.wait();
    EXPECT_EQ(*inner.data(), "x");
}

TEST_F(CurlHTTPSession, BlockingRequestsEndWhenCancelledOrWithTheSession) {
    for (const bool endsSession : {false, true}) {
        const VKTRawServer silent({{}, VKTRawAnswer::Hang});
        VKTURLRequest request = requestTo(silent.url());
        request.completesOnTransferThread = true;
        Recorder recorder;
        const auto task = session_->dataTaskWithRequest(request, recorder.completion());
        std::thread waiter([&] { task->resume(); });
        while (silent.requestCount() == 0) {
            std::this_thread::yield();
        }
        if (endsSession) {
            session_.reset();
        } else {
            task->cancel();
        }
        waiter.join();
        EXPECT_EQ(recorder.count(), 1);
        EXPECT_EQ(recorder.errorCode(), VKTURLErrorCancelled);
    }
}

TEST_F(CurlHTTPSession, EndsOnItsDeliveryThread) {
    server_.serve("/", "x");
    const VKTRawServer silent({{}, VKTRawAnswer::Hang});
    Recorder underWay;
    Recorder last;
    session_->dataTaskWithRequest(requestTo(silent.url()), underWay.completion())->resume();
    auto task = session_->dataTaskWithRequest(
        requestTo(server_.url("/")), [&, done = last.completion()](auto data, auto response, auto error) {
            session_.reset();
            done(data, response, error);
        });
    task->resume();
    last.wait();
    underWay.wait();
    EXPECT_EQ(underWay.errorCode(), VKTURLErrorCancelled);
}

// The ends of a transfer race each other; each task must see exactly one.
TEST_F(CurlHTTPSession, RacingEndsCompleteOnce) {
    server_.serve("/", "x");
    constexpr int taskCount = 100;
    std::vector<Recorder> recorders(taskCount);
    std::vector<std::shared_ptr<VKTHTTPDataTask>> tasks;
    for (int i = 0; i < taskCount; ++i) {
        VKTURLRequest request = requestTo(server_.url("/"), i % 3 == 0 ? VKTTimeInterval(0.002) : 10s);
        request.completesOnTransferThread = i % 5 == 0;
        tasks.push_back(
            session_->dataTaskWithRequest(request, recorders[static_cast<std::size_t>(i)].completion()));
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
    for (Recorder& recorder : recorders)
        recorder.wait();
    session_.reset();
    for (Recorder& recorder : recorders)
        EXPECT_EQ(recorder.count(), 1);
}

}  // namespace

#include "VKTCoreKit/network/VKTURLSession.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <future>
#include <thread>

#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

const VKTURL address = *VKTURL::URLWithString("http://h/x");

VKTURLRequest requestWithURL(const VKTURL& url) {
    VKTURLRequest request;
    request.url = url;
    return request;
}

// Records requests and answers them at once, or when told to.
class StubProvider : public VKTURLSessionProviderProtocol {
  public:
    std::shared_ptr<VKTURLSessionTask> dataRequest(
        const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) override {
        requests.push_back(request);
        auto task = VKTURLSessionTask::initWithDataTask(nullptr);
        task->setTestIdentifier(requests.size());
        if (completionHandler) completionHandler(answer, task);
        return task;
    }

    std::vector<VKTURLRequest> requests;
    VKTURLSessionResponse answer = VKTURLSessionResponse::initWithData(
        std::make_shared<const std::string>("body"), nullptr, VKTError("d", 7));
};

// A session whose task completes when the test says so.
class ManualSession : public VKTHTTPSession {
  public:
    class Task : public VKTHTTPDataTask {
      public:
        explicit Task(VKTHTTPCompletion completionHandler) : completion(std::move(completionHandler)) {}
        void resume() override { ++resumes; }
        void cancel() override { ++cancels; }
        [[nodiscard]] std::uint64_t taskIdentifier() const override { return 42; }

        VKTHTTPCompletion completion;
        int resumes = 0;
        int cancels = 0;
    };

    std::shared_ptr<VKTHTTPDataTask> dataTaskWithRequest(const VKTURLRequest& request,
                                                         VKTHTTPCompletion completion) override {
        lastRequest = request;
        auto made = std::make_shared<Task>(std::move(completion));
        task = made;
        return made;
    }

    // As the contract says: exactly once, and the completion is gone afterwards.
    void complete(VKTData data, std::shared_ptr<const VKTURLResponse> response,
                  std::optional<VKTError> error) {
        const auto completing = task.lock();
        ASSERT_NE(completing, nullptr);
        const auto completion = std::exchange(completing->completion, nullptr);
        completion(std::move(data), std::move(response), std::move(error));
    }

    VKTURLRequest lastRequest;
    std::weak_ptr<Task> task;
};

TEST(URLSession, FormsWithAURLAreGETRequestsWithTheDefaultsOrWhatIsGiven) {
    const auto provider = std::make_shared<StubProvider>();
    const auto session = VKTURLSession::initWithSessionProvider(provider);
    session->asynchronousDataRequestWithURL(address, nullptr);
    session->asynchronousDataRequestWithURL(address, VKTURLRequestReloadIgnoringLocalAndRemoteCacheData,
                                            VKTTimeInterval(2.5), nullptr);
    (void)session->synchronousDataRequestWithURL(address);
    (void)session->synchronousDataRequestWithURL(address, VKTURLRequestReloadIgnoringLocalCacheData,
                                                 VKTTimeInterval(1));
    struct {
        VKTURLRequestCachePolicy cachePolicy;
        double timeout;
        bool isBlocking;
    } const expected[] = {{VKTURLRequestUseProtocolCachePolicy, 60, false},
                          {VKTURLRequestReloadIgnoringLocalAndRemoteCacheData, 2.5, false},
                          {VKTURLRequestUseProtocolCachePolicy, 60, true},
                          {VKTURLRequestReloadIgnoringLocalCacheData, 1, true}};
    ASSERT_EQ(provider->requests.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const VKTURLRequest& request = provider->requests[i];
        EXPECT_EQ(request.url, address);
        EXPECT_EQ(request.HTTPMethod, "GET");
        EXPECT_TRUE(request.headers.empty());
        EXPECT_EQ(request.cachePolicy, expected[i].cachePolicy) << i;
        EXPECT_EQ(request.timeoutInterval.count(), expected[i].timeout) << i;
        EXPECT_EQ(request.completesOnTransferThread, expected[i].isBlocking) << i;
    }
}

TEST(URLSession, BothKindsOfRequestDeliverWhatTheProviderBrings) {
    const auto provider = std::make_shared<StubProvider>();
    const auto session = VKTURLSession::initWithSessionProvider(provider);
    std::uint64_t handed = 0;
    const auto task = session->asynchronousDataRequestWithURLRequest(
        requestWithURL(address), [&](const VKTURLSessionResponse& response, const auto& ofTask) {
            EXPECT_EQ(response.data(), provider->answer.data());
            handed = ofTask->identifier();
        });
    EXPECT_EQ(task->identifier(), 1u);
    EXPECT_EQ(handed, 1u);

    const VKTURLSessionResponse response =
        session->synchronousDataRequestWithURLRequest(requestWithURL(address));
    EXPECT_EQ(response.data(), provider->answer.data()) << "the body is shared, not copied";
    EXPECT_EQ(response.error(), provider->answer.error());
}

TEST(URLSession, BlockingRequestWaitsForAnAnswerFromAnotherThread) {
    class LateProvider : public VKTURLSessionProviderProtocol {
      public:
        std::shared_ptr<VKTURLSessionTask> dataRequest(const VKTURLRequest&,
                                                       VKTURLSessionCompletionHandler handler) override {
            auto task = VKTURLSessionTask::initWithDataTask(nullptr);
            thread = std::thread([task, handler = std::move(handler)] {
                handler(VKTURLSessionResponse::initWithData(nullptr, nullptr, VKTError("late", 1)), task);
            });
            return task;
        }
        std::thread thread;
    };
    const auto provider = std::make_shared<LateProvider>();
    const auto session = VKTURLSession::initWithSessionProvider(provider);
    EXPECT_EQ(session->synchronousDataRequestWithURL(address).error(), VKTError("late", 1));
    provider->thread.join();
}

TEST(URLSessionProvider, StartsTheTaskAndHandsItWithTheAnswer) {
    const auto session = std::make_shared<ManualSession>();
    const auto provider = VKTURLSessionProvider::initWithSession(session);
    const auto body = std::make_shared<const std::string>("b");
    const auto header = std::make_shared<const VKTURLResponse>();
    std::shared_ptr<VKTURLSessionTask> handed;
    int calls = 0;
    VKTURLRequest request = requestWithURL(address);
    request.HTTPBody = "post";
    auto task =
        provider->dataRequest(request, [&](const VKTURLSessionResponse& response, const auto& ofTask) {
            ++calls;
            handed = ofTask;
            EXPECT_EQ(response.data(), body);
            EXPECT_EQ(response.response(), header);
            EXPECT_EQ(response.error(), VKTError("d", 1));
        });
    EXPECT_EQ(session->lastRequest.HTTPBody, "post");
    EXPECT_EQ(session->task.lock()->resumes, 1);
    EXPECT_EQ(task->identifier(), 42u);
    EXPECT_EQ(calls, 0);
    task->cancel();
    EXPECT_EQ(session->task.lock()->cancels, 1);

    session->complete(body, header, VKTError("d", 1));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(handed, task);
}

TEST(URLSessionProvider, ADroppedTaskLivesUntilItsAnswerAndNoLonger) {
    const auto session = std::make_shared<ManualSession>();
    const auto provider = VKTURLSessionProvider::initWithSession(session);
    std::uint64_t handed = 0;
    provider->dataRequest(requestWithURL(address),
                          [&](const auto&, const auto& ofTask) { handed = ofTask->identifier(); });
    session->complete(nullptr, nullptr, VKTError("d", 1));
    EXPECT_EQ(handed, 42u);
    EXPECT_TRUE(session->task.expired());

    provider->dataRequest(requestWithURL(address), nullptr);
    session->complete(nullptr, nullptr, std::nullopt);
    EXPECT_TRUE(session->task.expired());
}

// A blocking request made in a completion would wait for the very thread that it stands on.
TEST(URLSession, BlockingRequestOnTheDeliveryThreadDoesNotHang) {
    httplib::Server server;
    server.set_keep_alive_max_count(1);  // else stopping waits for idle connections
    server.Get("/first", [](const httplib::Request&, httplib::Response& response) {
        response.set_content("1", "text/plain");
    });
    server.Get("/second", [](const httplib::Request&, httplib::Response& response) {
        response.status = 404;
        response.set_content("2", "text/plain");
    });
    const std::string root = "http://127.0.0.1:" + std::to_string(server.bind_to_any_port("127.0.0.1"));
    std::thread serving([&] { server.listen_after_bind(); });

    const auto& session = VKTURLSession::sharedInstance();
    std::promise<VKTURLSessionResponse> second;
    session->asynchronousDataRequestWithURL(
        *VKTURL::URLWithString(root + "/first"), [&](const VKTURLSessionResponse& response, const auto&) {
            EXPECT_FALSE(response.error());
            second.set_value(
                session->synchronousDataRequestWithURL(*VKTURL::URLWithString(root + "/second")));
        });
    auto answer = second.get_future();
    const bool isThere = answer.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
    ASSERT_TRUE(isThere);
    const VKTURLSessionResponse response = answer.get();
    EXPECT_FALSE(response.error()) << "a status of failure is no error";
    ASSERT_NE(response.response(), nullptr);
    EXPECT_EQ(response.response()->statusCode, 404);
    EXPECT_EQ(*response.data(), "2");
    server.stop();
    serving.join();
}

}  // namespace

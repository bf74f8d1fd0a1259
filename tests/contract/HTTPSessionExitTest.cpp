// Leaving the process while requests are under way, and forking it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"
#include "tests/support/VKTChildRun.h"
#include "tests/support/VKTConnections.h"
#include "tests/support/VKTForkedChild.h"
#include "tests/support/VKTLoopbackServer.h"
#include "tests/support/VKTTransferRecorder.h"

using namespace std::chrono_literals;

// The fork tests start threads in a forked child, which this sanitizer otherwise refuses.
extern "C" const char* __tsan_default_options() {  // NOLINT(bugprone-reserved-identifier): its name
    return "die_after_fork=0";
}

namespace {

std::shared_ptr<VKTHTTPSession> sessionTrusting(const std::string& CAFile) {
    VKTHTTPSessionOptions options;
    options.CAFile = CAFile;
    options.idleConnectionTime = 1ms;  // with new connections, more of OpenSSL is at work
    return vkt_makeCurlHTTPSession(options);
}

// Requests on all kinds of threads, without end, until the process ends.
class Traffic {
  public:
    Traffic(std::string url, const std::string& CAFile)
        : url_(std::move(url)), session_(sessionTrusting(CAFile)) {}

    void start(std::function<void()> inCompletion) {
        inCompletion_ = std::move(inCompletion);
        for (int i = 0; i < 4; ++i)
            requestAgain();
        for (int i = 0; i < 2; ++i) {
            std::thread([this] {
                for (;;)
                    vkt_fetch(*session_, vkt_blockingRequestTo(url_));
            }).detach();
        }
    }

    void waitForCompletions(int count) const {
        while (count_ < count)
            std::this_thread::yield();
    }

  private:
    void requestAgain() {
        session_
            ->dataTaskWithRequest(vkt_requestTo(url_),
                                  [this](auto, auto, auto) {
                                      ++count_;
                                      inCompletion_();
                                      requestAgain();
                                  })
            ->resume();
    }

    const std::string url_;
    const std::shared_ptr<VKTHTTPSession> session_;
    std::function<void()> inCompletion_;
    std::atomic<int> count_ = 0;
};

// Destroyed by the exit, after what the library has to do there.
struct HoldsASession {
    std::shared_ptr<VKTHTTPSession> session;
};

// The child's argument is "WAY NUMBER URL CAFILE".
void leave(const std::string& argument) {
    std::string way, url, CAFile;
    int number = 0;
    std::istringstream(argument) >> way >> number >> url >> CAFile;
    static HoldsASession destroyedAtExit;
    destroyedAtExit.session = sessionTrusting(CAFile);
    vkt_fetch(*destroyedAtExit.session, vkt_blockingRequestTo(url));
    destroyedAtExit.session->dataTaskWithRequest(vkt_requestTo(url), [](auto, auto, auto) {})->resume();
    static auto* traffic = new Traffic(url, CAFile);
    std::atomic<int> calls = 0;
    traffic->start([&, isLeaver = way == "completion"] {
        if (isLeaver && ++calls > number) std::exit(0);
    });
    if (way == "completion") pause();
    traffic->waitForCompletions(number);
    if (way == "thread") {
        std::thread([] { std::exit(0); }).detach();
        pause();
    }
    if (way == "quick") std::quick_exit(0);
    if (way == "exit") std::exit(0);
}

TEST(HTTPSessionExit, TheProcessMayBeLeftAtAnyMoment) {
    if (const char* argument = vkt_childArgument()) return leave(argument);

    VKTLoopbackServer server(VKTTLSCertificate::Good);
    server.serve("/", "secure");
    const char* runs = std::getenv("VKT_TEST_EXIT_RUNS");
    const int rounds = runs == nullptr ? 12 : std::atoi(runs);
    for (int round = 0; round < rounds; ++round) {
        for (const std::string way : {"return", "exit", "thread", "completion", "quick"}) {
            const std::string argument = way + " " + std::to_string(round % 12 * 2) + " " + server.url("/") +
                                         " " + server.authority().CAFile();
            const auto start = std::chrono::steady_clock::now();
            ASSERT_EQ(vkt_runAsChild(argument), 0) << argument << " in round " << round;
            EXPECT_LT(std::chrono::steady_clock::now() - start, 10s) << argument;
        }
    }
}

// AddressSanitizer takes none of its own locks for a fork, so that a child may find one held for ever by a
// thread that it has not. There a child that hangs is replaced, twice at most.
#ifdef __has_feature
#if __has_feature(address_sanitizer)
#define VKT_HAS_ADDRESS_SANITIZER
#endif
#endif
#ifdef VKT_HAS_ADDRESS_SANITIZER
constexpr int childrenLimit = 3;
#else
constexpr int childrenLimit = 1;
#endif

// Runs `body` in a forked child, and expects it to say that all was well, in time.
void inForkedChild(const std::function<std::string()>& body) {
    int status = SIGALRM;
    for (int child = 0; child < childrenLimit && WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM;
         ++child) {
        status = vkt_statusOf(vkt_inChild([&] {
            alarm(20);  // ends it when it hangs
            const std::string problem = body();
            std::cerr << problem;
            return problem.empty();
        }));
    }
    EXPECT_EQ(status, 0);
}

class HTTPSessionFork : public testing::Test {
  protected:
    HTTPSessionFork() { server_.serve("/", "secure"); }

    // What a request gives that completes inside `resume`, on this thread.
    std::string textOf(const VKTURLRequest& request) {
        VKTTransferRecorder recorder;
        session_->dataTaskWithRequest(request, recorder.completion())->resume();
        if (recorder.count() != 1) return "not completed";
        const auto outcome = recorder.wait();
        if (outcome.thread != std::this_thread::get_id()) return "completed elsewhere";
        return std::to_string(outcome.code()) + " " + outcome.text();
    }

    VKTLoopbackServer server_{VKTTLSCertificate::Good};
    const std::string url_ = server_.url("/");
    VKTHTTPSessionOptions options_ = [this] {
        VKTHTTPSessionOptions options;
        options.CAFile = server_.authority().CAFile();
        return options;
    }();
    std::shared_ptr<VKTHTTPSession> session_ = vkt_makeCurlHTTPSession(options_);
};

TEST_F(HTTPSessionFork, AChildIsToldThatTheSessionIsItsParents) {
    ASSERT_EQ(vkt_fetch(*session_, vkt_requestTo(url_)).text(), "");
    inForkedChild([&] {
        const std::string expected =
            "-1008 not available in a forked process (127.0.0.1): make a new session after fork";
        for (const VKTURLRequest& request : {vkt_requestTo(url_), vkt_blockingRequestTo(url_)}) {
            if (textOf(request) != expected) return textOf(request);
        }
        return std::string();
    });
}

TEST_F(HTTPSessionFork, AChildMayMakeASessionOfItsOwn) {
    ASSERT_EQ(vkt_fetch(*session_, vkt_requestTo(url_)).text(), "");
    inForkedChild([&] {
        const auto own = vkt_makeCurlHTTPSession(options_);
        return vkt_fetch(*own, vkt_requestTo(url_)).text() +
               vkt_fetch(*own, vkt_blockingRequestTo(url_)).text();
    });
}

TEST_F(HTTPSessionFork, TheParentsConnectionsOutliveTheChild) {
    const std::array<VKTURLRequest, 2> requests = {vkt_requestTo(url_), vkt_blockingRequestTo(url_)};
    for (const VKTURLRequest& request : requests)
        ASSERT_EQ(vkt_fetch(*session_, request).text(), "");
    const auto connections = vkt_connectionsTo(vkt_portOf(server_.url("")));
    inForkedChild([&] {
        session_.reset();
        return std::string();
    });
    for (const VKTURLRequest& request : requests)
        EXPECT_EQ(vkt_fetch(*session_, request).text(), "");
    EXPECT_EQ(vkt_connectionsTo(vkt_portOf(server_.url(""))), connections);
}

// That this process has open, or had a moment ago.
std::set<std::string> descriptors() {
    std::set<std::string> names;
    for (const auto& each : std::filesystem::directory_iterator("/proc/self/fd"))
        names.insert(each.path().filename());
    return names;
}

bool isOpen(const std::string& descriptor) {
    return fcntl(std::stoi(descriptor), F_GETFD) >= 0;
}

TEST(HTTPSessionExec, NoProgramInheritsADescriptor) {
    if (const char* url = vkt_childArgument()) {
        auto before = descriptors();
        std::erase_if(before, [](const std::string& descriptor) { return !isOpen(descriptor); });
        const auto session = vkt_makeCurlHTTPSession();
        ASSERT_EQ(vkt_fetch(*session, vkt_requestTo(url)).code(), 0);
        ASSERT_EQ(vkt_fetch(*session, vkt_blockingRequestTo(url)).code(), 0);
        int found = 0;
        for (const std::string& name : descriptors()) {
            if (before.contains(name) || !isOpen(name)) continue;
            ++found;
            EXPECT_EQ(fcntl(std::stoi(name), F_GETFD), FD_CLOEXEC)
                << std::filesystem::read_symlink("/proc/self/fd/" + name);
        }
        EXPECT_GE(found, 6) << "two connections, two pairs for waking";
        return;
    }
    VKTLoopbackServer server;
    server.serve("/", "x");
    EXPECT_EQ(vkt_runAsChild(server.url("/")), 0);
}

}  // namespace

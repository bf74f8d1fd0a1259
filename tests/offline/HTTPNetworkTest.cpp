// What the HTTP session says of the network, on whatever network the tests run: this program has an interface
// list and a name service of its own, which stand in for the system's.
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"
#include "server/VKTRawServer.h"
#include "tests/support/NoNewDescriptors.h"
#include "tests/support/VKTTransferRecorder.h"

namespace {

std::atomic<bool> isCablePluggedIn = true;
std::atomic<bool> hangs = false;  // the name service
std::atomic<int> asked = 0;

}  // namespace

// The loopback interface, and another that is up while the cable is in.
extern "C" int getifaddrs(ifaddrs** ifap) noexcept {
    static std::array<char, 3> loopbackName{"lo"};
    static std::array<char, 5> cableName{"eth0"};
    thread_local std::array<ifaddrs, 2> interfaces;
    interfaces[0].ifa_next = &interfaces[1];
    interfaces[0].ifa_name = loopbackName.data();
    interfaces[0].ifa_flags = IFF_UP | IFF_RUNNING | IFF_LOOPBACK;
    interfaces[1].ifa_name = cableName.data();
    interfaces[1].ifa_flags = isCablePluggedIn ? IFF_UP | IFF_RUNNING : 0;
    *ifap = interfaces.data();
    return 0;
}

extern "C" void freeifaddrs(ifaddrs* /*ifa*/) noexcept {}

// Knows nobody, and may take its time to say so.
extern "C" int getaddrinfo(const char* /*host*/, const char* /*service*/, const addrinfo* /*hints*/,
                           addrinfo** /*result*/) {
    ++asked;
    while (hangs)
        std::this_thread::yield();
    return EAI_NONAME;
}

namespace {

VKTTransferRecorder::Outcome fetchWith(const VKTHTTPSessionOptions& options, const std::string& url) {
    const auto session = vkt_makeCurlHTTPSession(options);
    return vkt_fetch(*session, vkt_requestTo(url));
}

TEST(HTTPNetwork, AHostThatIsNotFoundAndADeviceThatIsNotConnected) {
    const struct {
        std::string url;
        bool isConnected;
        VKTURLErrorCode code;
        const char* text;
    } cases[] = {{"http://no-such-host.invalid/", true, VKTURLErrorCannotFindHost,
                  "cannot find host (no-such-host.invalid)"},
                 {"http://no-such-host.invalid/", false, VKTURLErrorNotConnectedToInternet,
                  "not connected (no-such-host.invalid)"},
                 {"http://127.evil.example/", false, VKTURLErrorNotConnectedToInternet,
                  "not connected (127.evil.example)"},
                 {VKTRawServer::refusingURL(), false, VKTURLErrorCannotConnectToHost,
                  "cannot connect to host (127.0.0.1)"}};
    for (const auto& each : cases) {
        isCablePluggedIn = each.isConnected;
        const auto outcome = fetchWith({}, each.url);
        EXPECT_EQ(outcome.code(), each.code) << outcome.text();
        EXPECT_EQ(outcome.text().rfind(each.text, 0), 0U) << outcome.text();
    }
    isCablePluggedIn = true;
}

// Proxies of which the session must not hear.
class Environment {
  public:
    explicit Environment(const std::string& proxy) {
        for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "ALL_PROXY"})
            setenv(name, proxy.c_str(), 1);
        for (const char* name : {"no_proxy", "NO_PROXY"})
            setenv(name, "*", 1);
    }
    ~Environment() {
        for (const char* name :
             {"http_proxy", "https_proxy", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"})
            unsetenv(name);
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;
};

TEST(HTTPNetwork, TheEnvironmentHasNoSay) {
    const VKTRawServer proxy({{"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"}});
    VKTHTTPSessionOptions withProxy;
    withProxy.proxy = proxy.url("");
    {
        const Environment everythingProxied("http://127.0.0.1:1");
        EXPECT_EQ(fetchWith(withProxy, "http://ads.example/").text(), "") << "no_proxy was obeyed";
        EXPECT_EQ(proxy.requestCount(), 1);
    }
    const Environment environment(proxy.url(""));
    unsetenv("no_proxy");
    unsetenv("NO_PROXY");
    EXPECT_EQ(fetchWith({}, "http://ads.example/").code(), VKTURLErrorCannotFindHost);
    EXPECT_EQ(proxy.requestCount(), 1) << "http_proxy was obeyed";
}

TEST(HTTPNetwork, TooManyOpenFilesAreNotTheHostsFault) {
    const VKTRawServer server({{"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"}});
    const std::string refusing = VKTRawServer::refusingURL();
    const auto session = vkt_makeCurlHTTPSession();
    // The session has what it needs for itself.
    ASSERT_EQ(vkt_fetch(*session, vkt_requestTo(server.url("/"))).text(), "");
    const NoNewDescriptors none;
    for (const std::string& url : {refusing, std::string("http://no-such-host.invalid/")}) {
        const auto outcome = vkt_fetch(*session, vkt_requestTo(url));
        EXPECT_EQ(outcome.code(), VKTURLErrorCannotConnectToHost);
        EXPECT_NE(outcome.text().find("too many open files"), std::string::npos) << outcome.text();
    }
}

TEST(HTTPNetwork, AResolverThatHangsIsLeftBehind) {
    const auto session = vkt_makeCurlHTTPSession();
    const VKTURLRequest request = vkt_blockingRequestTo("http://slow.example/", std::chrono::hours(1));
    VKTTransferRecorder recorder;
    const auto task = session->dataTaskWithRequest(request, recorder.completion());
    hangs = true;
    std::thread cancelling([&, before = asked.load()] {
        while (asked == before)
            std::this_thread::yield();
        task->cancel();
    });
    task->resume();
    hangs = false;
    cancelling.join();
    EXPECT_EQ(recorder.wait().code(), VKTURLErrorCancelled);
}

}  // namespace

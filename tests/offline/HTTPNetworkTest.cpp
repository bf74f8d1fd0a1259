// What the HTTP session says of the network, on whatever network the tests run: this program has an interface
// list, a name service and an Internet of its own, which stand in for the system's.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "VKTCoreKit/platform/linux/VKTCurlHTTPSession.h"
#include "server/VKTRawServer.h"
#include "tests/support/NoNewDescriptors.h"
#include "tests/support/VKTTransferRecorder.h"

namespace {

std::atomic<bool> isCablePluggedIn = true;
std::atomic<bool> hangs = false;  // the name service
std::atomic<int> asked = 0;

// The only host of this Internet, which is this device under another name.
constexpr const char* publicAddress = "8.8.4.4";

// What names stand for, address by address.
std::vector<const char*> knownAddresses;

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

// Knows nobody unless it is told, and may take its time to say so.
extern "C" int getaddrinfo(const char* /*host*/, const char* service, const addrinfo* /*hints*/,
                           addrinfo** result) {
    ++asked;
    while (hangs)
        std::this_thread::yield();
    *result = nullptr;
    for (auto each = knownAddresses.rbegin(); each != knownAddresses.rend(); ++each) {
        auto* entry = new std::pair<addrinfo, sockaddr_in>;
        inet_pton(AF_INET, *each, &entry->second.sin_addr);
        entry->second.sin_family = AF_INET;
        entry->second.sin_port = htons(static_cast<std::uint16_t>(std::atoi(service)));
        entry->first.ai_family = AF_INET;
        entry->first.ai_socktype = SOCK_STREAM;
        entry->first.ai_addrlen = sizeof entry->second;
        entry->first.ai_addr = reinterpret_cast<sockaddr*>(&entry->second);
        entry->first.ai_next = *result;
        *result = &entry->first;
    }
    return *result == nullptr ? EAI_NONAME : 0;
}

extern "C" void freeaddrinfo(addrinfo* list) noexcept {
    while (list != nullptr)
        delete reinterpret_cast<std::pair<addrinfo, sockaddr_in>*>(std::exchange(list, list->ai_next));
}

extern "C" int connect(int descriptor, const sockaddr* address, socklen_t length) {
    using Connect = int (*)(int, const sockaddr*, socklen_t);
    static const auto systemConnect = reinterpret_cast<Connect>(dlsym(RTLD_NEXT, "connect"));
    sockaddr_in IPv4{};
    std::memcpy(&IPv4, address, std::min<std::size_t>(length, sizeof IPv4));
    const bool isInternet = IPv4.sin_family == AF_INET && IPv4.sin_addr.s_addr == inet_addr(publicAddress);
    if (!isInternet) return systemConnect(descriptor, address, length);
    IPv4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return systemConnect(descriptor, reinterpret_cast<const sockaddr*>(&IPv4), sizeof IPv4);
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

// Each URL leads to this device, the last two by a redirect of a host that may be asked.
TEST(HTTPNetwork, PublicAddressesOnly) {
    const VKTRawServer server(
        {{"HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 0\r\n\r\n"}});
    const std::string port = server.url("").substr(server.url("").rfind(':'));
    const struct {
        const char* host;
        std::vector<const char*> addresses;  // of that name
        const char* text;
        int requests;
    } cases[] = {
        {"127.0.0.1", {}, "(127.0.0.1): 127.0.0.1", 0},
        {"localhost", {}, "(localhost): ", 0},
        {"2130706433", {}, "(2130706433): 127.0.0.1", 0},
        {"0x7f.1", {}, "(0x7f.1): 127.0.0.1", 0},
        {"0", {}, "(0): 0.0.0.0", 0},
        {"[::ffff:127.0.0.1]", {}, "(::ffff:127.0.0.1): ::ffff:127.0.0.1", 0},
        {"inside.example", {"10.0.0.1", "127.0.0.1"}, "(inside.example): 127.0.0.1", 0},
        {"half.example", {"127.0.0.1", publicAddress}, "(127.0.0.1): 127.0.0.1", 1},
        {publicAddress, {}, "(127.0.0.1): 127.0.0.1", 1},
    };
    VKTHTTPSessionOptions options;
    options.allowsPrivateAddresses = false;
    for (const auto& [host, addresses, text, requests] : cases) {
        knownAddresses = addresses;
        const int before = server.requestCount();
        const auto outcome = fetchWith(options, "http://" + (host + port));
        EXPECT_TRUE(outcome.text().starts_with(std::string("cannot connect to host ") + text) &&
                    outcome.text().ends_with(" is not a public address"))
            << host << ": " << outcome.text();
        EXPECT_EQ(outcome.code(), VKTURLErrorCannotConnectToHost) << host;
        EXPECT_EQ(server.requestCount() - before, requests) << host;
    }
    knownAddresses.clear();
}

TEST(HTTPNetwork, AProxyIsTheOneToJudge) {
    const VKTRawServer proxy({{"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"}});
    VKTHTTPSessionOptions options;
    options.proxy = proxy.url("");
    options.allowsPrivateAddresses = false;
    EXPECT_EQ(fetchWith(options, "http://ads.example/").text(), "");
    EXPECT_NE(fetchWith(options, "http://127.0.0.1:1/").text().find("not a public address"),
              std::string::npos);
    EXPECT_EQ(proxy.requestCount(), 1);
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

// The options of every command that downloads.
#include <algorithm>

#include "tests/integration/ToolRun.h"
#include "tests/support/VKTLoopbackServer.h"

namespace {

TEST(NetworkOptions, ProxyAndUserAgentAreUsed) {
    const VKTLoopbackServer proxy;
    const std::string options = " --proxy " + proxy.url("") + " --user-agent 'Box/1'";
    const std::vector<std::string> commands = {
        "inspect http://ad.example/", "resolve http://ad.example/", "play --wait 0 http://ad.example/",
        "config http://ad.example/ --site 7", "log http://ad.example/"};
    for (const std::string& command : commands) {
        const std::size_t before = proxy.requests().size();
        runTool(command + options);
        const auto requests = proxy.requests();
        ASSERT_GT(requests.size(), before) << command;
        EXPECT_EQ(requests.back().target, "http://ad.example/") << command;
    }
    EXPECT_EQ(proxy.requests().front().header("User-Agent"), "Box/1");
}

TEST(NetworkOptions, ServersAreVerifiedAgainstTheFile) {
    const VKTLoopbackServer server(VKTTLSCertificate::Good);
    EXPECT_EQ(runTool("inspect " + server.url("/")).status, 3);
    EXPECT_EQ(server.requests().size(), 0U);
    EXPECT_EQ(runTool("inspect " + server.url("/") + " --ca-file " + server.authority().CAFile()).status, 1);
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST(NetworkOptions, PublicAddressesOnlyLeavesThisDeviceAlone) {
    const VKTLoopbackServer server;
    const Outcome outcome = runTool("inspect --public-addresses-only " + server.url("/"));
    EXPECT_EQ(outcome.status, 3);
    EXPECT_NE(outcome.err.find("127.0.0.1 is not a public address"), std::string::npos) << outcome.err;
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST(NetworkOptions, WrongOnesAreToldInOneLine) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        // option, what is told
        {"--ca-file /nonexistent", "\"/nonexistent\" cannot be used: No such file or directory"},
        {"--ca-file /tmp", "\"/tmp\" cannot be used: Is a directory"},
        {"--ca-file /dev/null", "\"/dev/null\" cannot be used: it is empty"},
        {"--proxy socks5://proxy:1080", "http://HOST:PORT is expected, not \"socks5://proxy:1080\""},
        {"--proxy proxy:1080", "http://HOST:PORT is expected, not \"proxy:1080\""},
        {"--public-addresses-only --proxy http://proxy:1080", "cannot hold with --proxy"}};
    for (const auto& [option, told] : cases) {
        const Outcome outcome = runTool("inspect http://127.0.0.1:1/ " + option);
        EXPECT_EQ(outcome.status, 2) << option;
        EXPECT_NE(outcome.err.find(told), std::string::npos) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    }
}

}  // namespace

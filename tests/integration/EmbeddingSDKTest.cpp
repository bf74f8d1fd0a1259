// The example of an embedding SDK, run as its users would.
#include <gtest/gtest.h>

#include <atomic>

#include "VKTCoreKit/platform/VKTPlatform.h"
#include "tests/integration/ToolRun.h"
#include "tests/support/VKTLoopbackServer.h"
#include "tests/support/VKTStoreFolder.h"
#include "tests/support/VKTTestPaths.h"

namespace {

// A configuration service, good at the first start only, and its log collector, who answers when each start
// so far has asked for the configuration.
struct Service {
    Service() {
        server.handle("/config/42", [this](const VKTServerRequest& /*request*/) {
            const bool isFirst = ++fetches == 1;
            fetches.notify_all();
            const std::string document =
                R"({"TTL":60,"korvo":{"networkId":7,"adCallBaseURL":"https://ads.example/",
                    "adCallAdditionalParameters":{"get":{"format":"tv"}}}, "logger":{"URL":")" +
                server.url("/logs") + R"(","minLogLevel":"info","samplingRate":{"info":1}}})";
            return VKTServerResponse{200, isFirst ? document : "<html>", {}};
        });
        server.handle("/logs", [this](const VKTServerRequest& request) {
            ++logs;
            EXPECT_NE(request.body.find(R"("message":"SDK started")"), std::string::npos) << request.body;
            for (int seen = fetches; seen < logs; seen = fetches)
                fetches.wait(seen);
            return VKTServerResponse{200, "", {}};
        });
    }

    std::atomic<int> fetches = 0;
    std::atomic<int> logs = 0;
    VKTLoopbackServer server;
};

void expireCachedCopy(const std::string& path) {
    constexpr const char* key = "com.korvonet.coresdk.remoteconfigmanager.VKTRemoteConfig-100-42";
    const auto store = VKTPlatform::current().makeKeyValueStore(path, nullptr);
    VKTDictionary document = parsed(store->valueForKey(key)->asBytes()->bytes);
    document.set("expirationDate", 1);
    store->setValueForKey(VKTBytes{*vkt_JSONStringWithValue(document)}, key);
}

TEST(EmbeddingSDK, StartsFromTheServiceAndThenFromItsCacheWhateverTheServiceSays) {
    const VKTStoreFolder folder;
    const Service service;
    const auto start = [&] {
        return runProgram(VKTTestPaths::embeddingSDK, service.server.url("") + " 42 " + folder.path());
    };

    const Outcome first = start();
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(first.err, "");
    EXPECT_EQ(first.out.substr(0, first.out.find("user")),
              "log sent\nsite 42, network 7\nad server https://ads.example/\nparameter format=tv\n");
    expireCachedCopy(folder.path());
    const Outcome next = start();
    EXPECT_EQ(next.status, 0) << next.err;
    EXPECT_EQ(next.out, first.out) << "the same configuration, the same user";
    EXPECT_EQ(service.logs, 2);
}

}  // namespace

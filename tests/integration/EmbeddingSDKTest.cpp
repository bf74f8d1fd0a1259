// The example of an embedding SDK, run as its users would.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>

#include "VKTCoreKit/platform/VKTPlatform.h"
#include "tests/integration/ToolRun.h"
#include "tests/support/VKTLoopbackServer.h"

namespace {

// A configuration service and its log collector, who answers when each start so far has asked for the
// configuration.
class Service {
  public:
    Service() {
        server_.handle("/config/42", [this](const VKTServerRequest& /*request*/) {
            const bool isFirst = ++fetches_ == 1;
            fetches_.notify_all();
            return VKTServerResponse{200, isFirst ? document() : "<html>", {}};
        });
        server_.handle("/logs", [this](const VKTServerRequest& request) {
            ++logs_;
            EXPECT_NE(request.body.find(R"("message":"SDK started")"), std::string::npos) << request.body;
            for (int fetches = fetches_; fetches < logs_; fetches = fetches_)
                fetches_.wait(fetches);
            return VKTServerResponse{200, "", {}};
        });
    }

    [[nodiscard]] std::string url() const { return server_.url(""); }
    [[nodiscard]] int logs() const { return logs_; }

  private:
    [[nodiscard]] std::string document() const {
        return R"({"TTL":60,"korvo":{"networkId":7,"adCallBaseURL":"https://ads.example/",
                   "adCallAdditionalParameters":{"get":{"format":"tv"}}},
                   "logger":{"URL":")" +
               server_.url("/logs") + R"(","minLogLevel":"info","samplingRate":{"info":1}}})";
    }

    std::atomic<int> fetches_ = 0;
    std::atomic<int> logs_ = 0;
    VKTLoopbackServer server_;
};

void expireCachedCopy(const std::string& path) {
    constexpr const char* key = "com.korvonet.coresdk.remoteconfigmanager.VKTRemoteConfig-100-42";
    const auto store = VKTPlatform::current().makeKeyValueStore(path, nullptr);
    VKTDictionary document = parsed(store->valueForKey(key)->asBytes()->bytes);
    document.set("expirationDate", 1);
    store->setValueForKey(VKTBytes{*vkt_JSONStringWithValue(document)}, key);
}

TEST(EmbeddingSDK, StartsFromTheServiceAndThenFromItsCacheWhateverTheServiceSays) {
    const std::filesystem::path folder = testing::TempDir() + "vkt-sdk-" + std::to_string(getpid());
    std::filesystem::create_directory(folder);
    const std::string store = folder / "store";
    const Service service;
    const auto start = [&] { return runProgram(VKT_EMBEDDING_SDK, service.url() + " 42 " + store); };

    const Outcome first = start();
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(first.err, "");
    EXPECT_EQ(first.out.substr(0, first.out.find("user")),
              "log sent\nsite 42, network 7\nad server https://ads.example/\nparameter format=tv\n");
    expireCachedCopy(store);
    for (int starts = 2; starts <= 3; ++starts) {
        const Outcome next = start();
        EXPECT_EQ(next.status, 0) << next.err;
        EXPECT_EQ(next.out, first.out) << "the same configuration, the same user";
        EXPECT_EQ(service.logs(), starts);
    }
    std::filesystem::remove_all(folder);
}

}  // namespace

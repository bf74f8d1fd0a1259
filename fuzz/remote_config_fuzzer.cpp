// The configuration document, as it arrives and as it stands in the cache.
#include <memory>
#include <optional>
#include <string>

#include "Fuzzing.h"
#include "VKTCoreKit/config/VKTConfiguration.h"
#include "VKTCoreKit/platform/VKTServices.h"

namespace {

constexpr std::int64_t now = 1'000'000;

struct Cache : VKTPropertyCacheManager {
    [[nodiscard]] std::optional<VKTValue> objectForKey(std::string_view /*key*/) const override {
        return value;
    }
    bool setObject(const VKTValue& object, std::string_view /*key*/) override {
        value = object;
        return true;
    }
    std::optional<VKTValue> value;
};

// Applies what it hears.
struct Delegate : VKTRemoteConfigManagerDelegate {
    void remoteConfigManagerDidFetchRemoteConfig(VKTRemoteConfigManager& /*manager*/,
                                                 const VKTRemoteConfig& remoteConfig) override {
        config = remoteConfig;
    }
    void remoteConfigManagerDidSucceedToFetchConfigWithKorvoDictionary(
        VKTRemoteConfigManager& /*manager*/, const VKTDictionary& korvo,
        const std::optional<std::vector<VKTDictionary>>& additional) override {
        require(!additional || !additional->empty(), "no empty list");
        configuration->configureWithKorvoDictionary(korvo);
    }
    void remoteConfigManagerDidFailToFetchConfigWithError(VKTRemoteConfigManager& /*manager*/,
                                                          const std::optional<VKTError>& /*error*/) override {
        ++failures;
    }

    std::shared_ptr<VKTConfiguration> configuration = VKTConfiguration::init();
    std::optional<VKTRemoteConfig> config;
    int failures = 0;
};

// Answers at once, with a failure.
struct NoNetwork : VKTURLSessionProviderProtocol {
    std::shared_ptr<VKTURLSessionTask> dataRequest(const VKTURLRequest& /*request*/,
                                                   VKTURLSessionCompletionHandler handler) override {
        ++requests;
        auto task = VKTURLSessionTask::initWithDataTask(nullptr);
        handler(VKTURLSessionResponse::initWithData(
                    nullptr, nullptr, VKTError(VKTURLErrorDomain, VKTURLErrorNotConnectedToInternet)),
                task);
        return task;
    }
    int requests = 0;
};

struct Fetching {
    std::shared_ptr<Cache> cache = std::make_shared<Cache>();
    std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
    std::shared_ptr<NoNetwork> network = std::make_shared<NoNetwork>();
    std::shared_ptr<VKTRemoteConfigManager> manager = VKTRemoteConfigManager::initWithSession(
        VKTURLSession::initWithSessionProvider(network), cache, delegate, "https://c.example",
        "[SITEID_PLACEHOLDER]", {}, 1, std::nullopt);

    Fetching() {
        manager->setCurrentDate([] { return static_cast<double>(now); });
    }
};

void download(std::string_view document) {
    Fetching fetching;
    fetching.manager->setupConfigWithData(document, 1, true);
    const auto& config = fetching.delegate->config;
    require(config.has_value() != (fetching.delegate->failures == 1), "a configuration or a failure");
    require(config.has_value() == fetching.cache->value.has_value(), "only a good one is cached");
    if (!config) return;

    const std::string& cached = fetching.cache->value->asBytes()->bytes;
    const VKTValue json = vkt_JSONValueWithData(cached).value_or(VKTValue());
    const std::int64_t date = *json.asDictionary()->find("expirationDate")->asInteger();
    require(date >= now && date <= now + 604'800, "valid for a week at most");

    Fetching later;
    later.cache->value = fetching.cache->value;
    later.manager->fetchRemoteConfiguration(false);
    require(later.delegate->config == config, "what was cached is read back");
    require(later.network->requests == (date > now ? 0 : 1), "asked for when it has expired");
}

void readCached(std::string_view bytes) {
    Fetching fetching;
    const VKTValue cached = VKTBytes{std::string(bytes)};
    fetching.cache->value = cached;
    fetching.manager->fetchRemoteConfiguration(true);
    require(fetching.network->requests == 1 && !fetching.manager->fetchInProgress(), "one fetch");
    require(fetching.cache->value == cached, "the cached copy stays");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    download(inputText(data, size));
    readCached(inputText(data, size));
    return 0;
}

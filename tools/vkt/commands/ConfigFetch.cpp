#include "commands/ConfigFetch.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "VKTCoreKit/config/VKTConfigReading.h"
#include "VKTCoreKit/core/VKTURLUtils.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "ground/EmbeddingSDK.h"
#include "ground/WatchedProvider.h"

namespace {

constexpr VKTTimeInterval noTimeLimit{1e9};

using Delegate = VKTRemoteConfigManagerDelegate;

std::shared_ptr<VKTRemoteConfigManager> makeManager(const ConfigOptions& options,
                                                    const std::shared_ptr<Delegate>& delegate,
                                                    std::shared_ptr<VKTURLSession> session,
                                                    std::shared_ptr<VKTPropertyCacheManager> cache) {
    const std::size_t scheme = options.url.find("://");
    const std::size_t host = scheme == std::string::npos ? 0 : scheme + 3;
    const std::size_t path = std::min(options.url.find_first_of("/?", host), options.url.size());
    return VKTRemoteConfigManager::initWithSession(std::move(session), std::move(cache), delegate,
                                                   options.url.substr(0, path), options.url.substr(path), {},
                                                   EmbeddingSDKVersionID, std::nullopt);
}

VKTDictionary documentOf(std::string_view data) {
    auto value = vkt_JSONValueWithData(data);
    VKTDictionary* document = value ? value->asDictionary() : nullptr;
    return document == nullptr ? VKTDictionary() : std::move(*document);
}

/// Lives on the main thread; what it hears on the delivery thread it hands over to the main loop.
class ConfigFetch : public Delegate, public std::enable_shared_from_this<ConfigFetch> {
  public:
    ConfigFetch(const ConfigOptions& options, std::shared_ptr<VKTKeyValueStore> store)
        : options_(options),
          cache_(VKTDefaultPropertyCacheManager::initWithKeyValueStore(std::move(store))),
          loop_(VKTPlatform::current().mainRunLoop) {
        outcome_.configuration = VKTConfiguration::init();
        outcome_.logger = VKTRemoteLogger::initWithClientSDKCategory(EmbeddingSDKName);
    }

    ConfigOutcome run();

    void remoteConfigManagerDidFetchRemoteConfig(VKTRemoteConfigManager& manager,
                                                 const VKTRemoteConfig& remoteConfig) override;
    void remoteConfigManagerDidSucceedToFetchConfigWithKorvoDictionary(
        VKTRemoteConfigManager& manager, const VKTDictionary& korvoDictionary,
        const std::optional<std::vector<VKTDictionary>>& additionnalDictionaries) override;
    void remoteConfigManagerDidFailToFetchConfigWithError(VKTRemoteConfigManager& manager,
                                                          const std::optional<VKTError>& error) override;

  private:
    void onMainThread(VKTTask task);
    void requestDidEnd(const VKTURLSessionResponse& response);
    [[nodiscard]] VKTDictionary cachedDocument(const VKTRemoteConfigManager& manager) const;

    const ConfigOptions& options_;
    const std::shared_ptr<VKTPropertyCacheManager> cache_;
    const std::shared_ptr<VKTRunLoop> loop_;
    ConfigOutcome outcome_;
    bool hasRequestEnded_ = false;
};

ConfigOutcome ConfigFetch::run() {
    const auto recorder = std::make_shared<RecordingProvider>(VKTURLSessionProvider::sharedInstance());
    const auto provider = std::make_shared<WatchedProvider>(
        recorder, VKTTimeInterval(options_.timeout),
        [self = shared_from_this()](const VKTURLRequest&, const VKTURLSessionResponse& response) {
            self->loop_->post([self, response] { self->requestDidEnd(response); });
        });
    const auto manager =
        makeManager(options_, shared_from_this(), VKTURLSession::initWithSessionProvider(provider), cache_);

    outcome_.configuration->configureWithSiteID(options_.site, manager);
    const bool isRequestMissing = options_.force && !provider->hasBeenAsked();
    if (isRequestMissing) outcome_.configuration->fetchRemoteConfiguration(true);
    if (provider->hasBeenAsked()) loop_->runUntil([this] { return hasRequestEnded_; }, noTimeLimit);

    const auto requests = recorder->records();
    if (!requests.empty()) outcome_.request = requests.front();
    outcome_.url = manager->endPointURLWithSiteId(options_.site)->absoluteString();
    const VKTDictionary cached = cachedDocument(*manager);
    if (const auto date = vkt_configNumberForKey(cached, "expirationDate"))
        outcome_.expirationDate = VKTDate(std::chrono::seconds(date->integerValue()));
    if (outcome_.source == ConfigFromCache) outcome_.document = cached;
    return std::move(outcome_);
}

VKTDictionary ConfigFetch::cachedDocument(const VKTRemoteConfigManager& manager) const {
    const auto value = cache_->objectForKey(manager.configCacheConfigurationKeyForSiteId(options_.site));
    const VKTBytes* bytes = value ? value->asBytes() : nullptr;
    return bytes == nullptr ? VKTDictionary() : documentOf(bytes->bytes);
}

void ConfigFetch::onMainThread(VKTTask task) {
    if (loop_->isCurrentThread()) {
        task();
    } else {
        loop_->post(std::move(task));
    }
}

// A cached configuration is told on the main thread.
void ConfigFetch::remoteConfigManagerDidFetchRemoteConfig(VKTRemoteConfigManager& /*manager*/,
                                                          const VKTRemoteConfig& remoteConfig) {
    const ConfigSource source = loop_->isCurrentThread() ? ConfigFromCache : ConfigFromNetwork;
    onMainThread([self = shared_from_this(), remoteConfig, source] {
        self->outcome_.source = source;
        self->outcome_.remoteConfig = remoteConfig;
        self->outcome_.logger->configFromRemoteConfig(remoteConfig.loggerConfig);
    });
}

void ConfigFetch::remoteConfigManagerDidSucceedToFetchConfigWithKorvoDictionary(
    VKTRemoteConfigManager& /*manager*/, const VKTDictionary& korvoDictionary,
    const std::optional<std::vector<VKTDictionary>>& /*additionnalDictionaries*/) {
    onMainThread([self = shared_from_this(), korvoDictionary] {
        self->outcome_.refusals = {};
        self->outcome_.configuration->configureWithKorvoDictionary(korvoDictionary, &self->outcome_.refusals,
                                                                   std::to_string(EmbeddingSDKVersionID));
    });
}

void ConfigFetch::remoteConfigManagerDidFailToFetchConfigWithError(VKTRemoteConfigManager& /*manager*/,
                                                                   const std::optional<VKTError>& error) {
    onMainThread([self = shared_from_this(), error] { self->outcome_.error = error; });
}

// Comes after all that the delegate heard of the answer.
void ConfigFetch::requestDidEnd(const VKTURLSessionResponse& response) {
    hasRequestEnded_ = true;
    const std::string body = response.data() ? *response.data() : "";
    if (outcome_.source == ConfigFromNetwork) {
        outcome_.document = documentOf(body);
        outcome_.error.reset();  // of a cached copy that was no good
        return;
    }
    if (response.error()) return;
    const std::int64_t status = response.response()->statusCode;
    if (VKTRemoteConfigManager::isSuccessfullStatusCode(status)) {
        outcome_.fault = "the answer " + faultOfDocument(body);
    } else {
        outcome_.fault = "the answer has status " + std::to_string(status);
    }
}

}  // namespace

ConfigOutcome fetchConfig(const ConfigOptions& options, std::shared_ptr<VKTKeyValueStore> store) {
    return std::make_shared<ConfigFetch>(options, std::move(store))->run();
}

bool isServiceURL(const ConfigOptions& options) {
    const auto url = makeManager(options, nullptr, nullptr, nullptr)->endPointURLWithSiteId(options.site);
    return url && vkt_isValid(*url) && VKTURLUtils::URLHasHTTPScheme(*url);
}

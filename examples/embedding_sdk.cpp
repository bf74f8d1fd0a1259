// The start-up of an ad SDK: its site's configuration, remote logs, and who the user is. embedding_player.cpp
// and tracking_player.cpp show what such an SDK does afterwards.
#include <VKTCoreKit/config/VKTConfiguration.h>
#include <VKTCoreKit/config/VKTRemoteLogger.h>
#include <VKTCoreKit/core/VKTDictionaryExtension.h>
#include <VKTCoreKit/platform/VKTPlatform.h>

#include <cstdlib>
#include <functional>
#include <iostream>

constexpr std::int64_t sdkVersionID = 100;  // grows with each release

class EmbeddingSDK;

// The SDK lives on the main thread, while the library delivers on the HTTP thread.
void onMainThread(const std::weak_ptr<EmbeddingSDK>& sdk, std::function<void(EmbeddingSDK&)> task) {
    VKTPlatform::current().mainRunLoop->post([sdk, task = std::move(task)] {
        if (const auto held = sdk.lock()) task(*held);
    });
}

class EmbeddingSDK : public VKTConfigurationRemoteLogger, public std::enable_shared_from_this<EmbeddingSDK> {
  public:
    void start(std::int64_t siteID, std::shared_ptr<VKTRemoteConfigManager> manager) {
        logger_->setRequestCompletionHandler([weakSelf = weak_from_this()](bool succeeded) {
            onMainThread(weakSelf, [succeeded](EmbeddingSDK& sdk) { sdk.logDidEnd(succeeded); });
        });
        configuration_->configureWithSiteID(siteID, std::move(manager));
    }

    // Once or twice: with an expired configuration, and with the new one.
    void configure(const VKTDictionary& korvo, const std::vector<VKTDictionary>& others) {
        for (const VKTDictionary& other : others)
            if (const VKTDictionary* settings = vkt_optDictionaryForKey(other, "logger"))
                logger_->configureWithDictionary(*settings);
        configuration_->configureWithKorvoDictionary(korvo, this, std::to_string(sdkVersionID));
        if (!std::exchange(isConfigured_, true)) log("SDK started", VKTRemoteLogLevelInfo);
    }

    void configurationDidFail(const std::optional<VKTError>& error) {
        std::cerr << "no new configuration\n";
        configuration_->retryRemoteConfigurationAfterError(error);
    }

    void logWrongSiteIDError() override { log("wrong site", VKTRemoteLogLevelError); }
    void logInvalidAdditionalParameters(VKTAdditionalParametersPart) override {
        log("invalid additional parameters", VKTRemoteLogLevelError);
    }

    [[nodiscard]] bool isUp() const { return isConfigured_ && logsUnderWay_ == 0; }

    void print() const {
        const auto identity = configuration_->deviceIdentity();
        std::cout << "site " << configuration_->siteID() << ", network " << configuration_->networkID()
                  << (configuration_->isDeprecated() ? ", deprecated" : "") << '\n'
                  << "ad server " << configuration_->baseURL().absoluteString() << '\n';
        for (const auto& [name, value] : configuration_->adCallAdditionalParametersGET())
            std::cout << "parameter " << name << '=' << value << '\n';
        std::cout << "user " << (identity->canSendIDs() ? identity->identity() : "may not be told") << '\n';
    }

  private:
    void log(const std::string& message, VKTRemoteLogLevel level) {
        const auto record = logger_->generateLogWithMessage(message, level);
        if (!record) return;  // of this level the collector wants fewer, or none
        ++logsUnderWay_;
        logger_->log(*record);
    }

    void logDidEnd(bool succeeded) {
        --logsUnderWay_;
        std::cout << (succeeded ? "log sent\n" : "log not sent\n");
    }

    const std::shared_ptr<VKTConfiguration> configuration_ = VKTConfiguration::init();
    const std::shared_ptr<VKTRemoteLogger> logger_ = VKTRemoteLogger::initWithClientSDKCategory("example");
    bool isConfigured_ = false;
    int logsUnderWay_ = 0;
};

struct Deliveries : VKTRemoteConfigManagerDelegate {
    std::weak_ptr<EmbeddingSDK> owner;

    void remoteConfigManagerDidSucceedToFetchConfigWithKorvoDictionary(
        VKTRemoteConfigManager&, const VKTDictionary& korvo,
        const std::optional<std::vector<VKTDictionary>>& others) override {
        onMainThread(owner, [korvo, others](EmbeddingSDK& sdk) {
            sdk.configure(korvo, others.value_or(std::vector<VKTDictionary>()));
        });
    }
    void remoteConfigManagerDidFailToFetchConfigWithError(VKTRemoteConfigManager&,
                                                          const std::optional<VKTError>& error) override {
        onMainThread(owner, [error](EmbeddingSDK& sdk) { sdk.configurationDidFail(error); });
    }
};

// Configurations and the user's identifier outlive the process.
void keepValuesIn(const std::string& path) {
    VKTPlatform platform = VKTPlatform::current();
    platform.keyValueStore =
        platform.makeKeyValueStore(path, [](const std::string& problem) { std::cerr << problem << '\n'; });
    VKTPlatform::setCurrent(std::move(platform));
}

int main(int argc, char** argv) {
    if (argc != 4) return 2;  // configuration service URL, site ID, store
    keepValuesIn(argv[3]);
    const auto sdk = std::make_shared<EmbeddingSDK>();
    const auto deliveries = std::make_shared<Deliveries>();
    deliveries->owner = sdk;
    sdk->start(std::atoll(argv[2]),
               VKTRemoteConfigManager::initWithDelegate(deliveries, nullptr, argv[1],
                                                        "config/[SITEID_PLACEHOLDER]", {}, sdkVersionID));
    const bool isUp =
        VKTPlatform::current().mainRunLoop->runUntil([&] { return sdk->isUp(); }, VKTTimeInterval(10));
    sdk->print();
    return isUp ? 0 : 1;
}

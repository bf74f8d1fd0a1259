#include "playing/Resolving.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <utility>

#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTManager.h"
#include "ground/Output.h"

namespace {

// The time for everything, which starts when this is made. Any thread.
class Budget {
  public:
    explicit Budget(double seconds) : seconds_(seconds) {}

    [[nodiscard]] VKTTimeInterval timeLeft() const {
        return seconds_ - VKTTimeInterval(std::chrono::steady_clock::now() - start_);
    }

  private:
    VKTTimeInterval seconds_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// The manager gives each wrapper its own time, however many there are; no request may outlast the budget.
class BudgetProvider : public VKTURLSessionProviderProtocol {
  public:
    BudgetProvider(std::shared_ptr<VKTURLSessionProviderProtocol> provider, Budget budget)
        : provider_(std::move(provider)), budget_(budget) {}

    std::shared_ptr<VKTURLSessionTask> dataRequest(
        const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) override {
        VKTURLRequest limited = request;
        limited.timeoutInterval = std::min(limited.timeoutInterval, budget_.timeLeft());
        return provider_->dataRequest(limited, std::move(completionHandler));
    }

  private:
    const std::shared_ptr<VKTURLSessionProviderProtocol> provider_;
    const Budget budget_;
};

struct PlayableAd : VKTConsumableVideoAd {
    explicit PlayableAd(std::shared_ptr<VKTVASTAd> vastAd) : ad(std::move(vastAd)) {}
    std::shared_ptr<VKTVASTAd> ad;
};

class Adapter : public VKTVASTAdAdapterProtocol {
  public:
    std::shared_ptr<VKTConsumableVideoAd> convertVASTAdToConsumableVideoAd(
        const std::shared_ptr<VKTVASTAd>& ad) override {
        return std::make_shared<PlayableAd>(ad);
    }
};

class Listener : public VKTVASTManagerDelegate {
  public:
    Listener(std::map<std::string, std::string> macros, std::function<void(const ReportedError&)> onError)
        : macros_(std::move(macros)), onError_(std::move(onError)) {}

    void vastManagerDidFailWithError(const std::optional<VKTError>& error) override { failure_ = error; }

    void vastManagerDidEncounterError(VKTVASTManager& /*manager*/, const VKTVASTError& error,
                                      const std::vector<VKTVASTURL>& errorURLs,
                                      const std::optional<std::string>& VASTResponse) override {
        ReportedError reported{error, errorURLs, VASTResponse.has_value()};
        if (isParsingError(error)) reported.detail = parsingProblem(VASTResponse);
        keepWithinLimit(reported.errorURLs);
        if (onError_) onError_(reported);
        const std::lock_guard lock(mutex_);
        errors_.push_back(std::move(reported));
    }

    std::optional<std::map<std::string, std::string>> vastManagerRequestsVASTMacros(
        VKTVASTManager& /*manager*/) override {
        return macros_;
    }

    std::vector<ReportedError> errors() {
        const std::lock_guard lock(mutex_);
        return errors_;
    }
    [[nodiscard]] const std::optional<VKTError>& failure() const { return failure_; }

  private:
    static bool isParsingError(const VKTVASTError& error) {
        return error == VKTVASTError::XML_PARSING_ERROR() ||
               error == VKTVASTError::XML_PARSING_ERROR_WRAPPER();
    }

    // What the XML reader has against the document. An ad without content is reported by the same error; its
    // document may hold very many of them, and each would cost another reading.
    std::optional<std::string> parsingProblem(const std::optional<std::string>& document) {
        if (!document) return "The document is not UTF-8 text.";
        if (readings_++ >= readingLimit) return std::nullopt;
        auto parser = VKTXMLDictionaryParser::sharedInstance().copy();
        parser.vkt_dictionaryWithData(*document);  // as the library read it
        const auto& problem = parser.parsingError();
        if (!problem) return std::nullopt;
        return "The XML reader says: " + problem->localizedDescription().value_or("") + ".";
    }

    // Each of very many problems may come with the error pixels of a whole chain.
    void keepWithinLimit(std::vector<VKTVASTURL>& urls) {
        const std::lock_guard lock(mutex_);
        const std::size_t count = std::min(urls.size(), errorURLLimit - errorURLCount_);
        errorURLCount_ += count;
        if (count < urls.size() && !std::exchange(isCutShort_, true)) {
            printError("the problems come with more than " + std::to_string(errorURLLimit) +
                       " error pixels; the further ones are left out here");
        }
        urls.erase(urls.begin() + static_cast<std::ptrdiff_t>(count), urls.end());
    }

    static constexpr int readingLimit = 16;
    static constexpr std::size_t errorURLLimit = 65536;

    const std::map<std::string, std::string> macros_;
    const std::function<void(const ReportedError&)> onError_;
    std::atomic<int> readings_ = 0;
    std::optional<VKTError> failure_;
    std::mutex mutex_;
    std::vector<ReportedError> errors_;
    std::size_t errorURLCount_ = 0;
    bool isCutShort_ = false;
};

// When there is no passback for a failed ad, the next main ad has its turn.
void requestAds(VKTVASTManager& manager, const ResolutionHooks& hooks, const Budget& budget,
                Resolution& resolution) {
    bool hasFailed = false;
    while (true) {
        const VKTVASTManagerResponse response = manager.nextAdWithTimeout(budget.timeLeft(), hasFailed);
        if (response.ad) {
            const auto& ad = static_cast<const PlayableAd&>(*response.ad).ad;
            hasFailed = hooks.adFails && hooks.adFails(*ad, resolution.ads.size());
            resolution.ads.push_back(ad);
        } else if (hasFailed && response.error && response.error->code() != VKTVASTManagerErrorTimeout) {
            hasFailed = false;
        } else {
            resolution.end = response.error;
            return;
        }
    }
}

}  // namespace

Resolution resolveSource(const ResolveOptions& options, const Source& source, const ResolutionHooks& hooks) {
    const Budget budget(options.timeout);
    const auto provider = std::make_shared<RecordingProvider>(VKTURLSessionProvider::sharedInstance());
    const auto listener = std::make_shared<Listener>(macrosOf(options), hooks.onError);
    const auto adapter = std::make_shared<Adapter>();
    VKTVASTManagerConfig config;
    config.requestTimeout = VKTTimeInterval(options.requestTimeout);
    config.maximumWrappers = options.maxWrappers;
    config.handleWrappersAdpods = options.handleWrapperAdpods;
    config.strictWrapperFirstLevelImpressionValidation = options.strictFirstImpression;
    const auto manager = VKTVASTManager::initWithDelegate(
        listener, adapter,
        VKTURLSession::initWithSessionProvider(std::make_shared<BudgetProvider>(provider, budget)), config);

    manager->createAdsStoreWithXML(source.data, source.url, budget.timeLeft());
    Resolution resolution;
    resolution.model = manager->rootVASTModel();
    resolution.end = listener->failure();
    if (resolution.model) requestAds(*manager, hooks, budget, resolution);
    resolution.hasRunOutOfTime = budget.timeLeft() <= VKTTimeInterval::zero();
    resolution.requests = provider->records();
    resolution.errors = listener->errors();
    return resolution;
}

std::map<std::string, std::string> macrosOf(const ResolveOptions& options) {
    auto macros = VKTVASTManager::generateDefaultVASTMacrosWithAppBundleIdentifier(
        "com.korvonet.vkt", "Korvonet", VKTFrameworkVersionString, {});
    for (const std::string& macro : options.macros) {
        const std::size_t equals = macro.find('=');
        macros[macro.substr(0, equals)] = macro.substr(equals + 1);
    }
    return macros;
}

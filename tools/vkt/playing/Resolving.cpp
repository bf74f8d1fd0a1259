#include "playing/Resolving.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTManager.h"
#include "ground/MediaFileChoice.h"
#include "ground/Output.h"
#include "ground/Text.h"

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

// The sentences are made once for each document, which may have very many problems.
class Listener : public VKTVASTManagerDelegate {
  public:
    Listener(const ResolveOptions& options, ProblemObserver observer)
        : source_(options.source), macros_(macrosOf(options)), observer_(std::move(observer)) {}

    void vastManagerDidFailWithError(const std::optional<VKTError>& error) override { failure_ = error; }

    void vastManagerDidEncounterError(VKTVASTManager& /*manager*/, const VKTVASTError& error,
                                      const std::vector<VKTVASTURL>& errorURLs,
                                      const std::optional<std::string>& VASTResponse) override {
        ReportedError reported{error, errorURLs, VASTResponse.has_value()};
        keepWithinLimit(reported.errorURLs);
        if (observer_) observer_(reported);
        const std::lock_guard lock(mutex_);
        underWay_[std::this_thread::get_id()].push_back(errors_.size());
        errors_.push_back(std::move(reported));
    }

    // The problems of a document come before it on its thread.
    void vastManagerDidReadDocument(VKTVASTManager& /*manager*/,
                                    const VKTVASTDocumentOutcome& outcome) override {
        std::shared_ptr<const std::string> sentence;
        if (outcome.wrapperDepth > 0 || !outcome.problem.empty()) {
            sentence = std::make_shared<const std::string>(placeOf(outcome));
        }
        const std::lock_guard lock(mutex_);
        for (const std::size_t error : std::exchange(underWay_[std::this_thread::get_id()], {}))
            errors_[error].detail = sentence;
        documents_.push_back(outcome);
    }

    std::optional<std::map<std::string, std::string>> vastManagerRequestsVASTMacros(
        VKTVASTManager& /*manager*/) override {
        return macros_;
    }

    void giveTo(Resolution& resolution) {
        const std::lock_guard lock(mutex_);
        resolution.errors = errors_;
        resolution.documents = documents_;
    }
    [[nodiscard]] const std::optional<VKTError>& failure() const { return failure_; }

  private:
    [[nodiscard]] std::string placeOf(const VKTVASTDocumentOutcome& outcome) const {
        const std::string place = "In " + nameOfDocument(outcome, source_);
        if (outcome.problem.empty()) return place + ".";
        return place + ", which leads to no ad: " + shortened(outcome.problem) + ".";
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

    static constexpr std::size_t errorURLLimit = 65536;

    const std::string source_;
    const std::map<std::string, std::string> macros_;
    const ProblemObserver observer_;
    std::optional<VKTError> failure_;
    std::mutex mutex_;
    std::vector<ReportedError> errors_;
    std::vector<VKTVASTDocumentOutcome> documents_;
    std::map<std::thread::id, std::vector<std::size_t>> underWay_;  // errors of the document on each thread
    std::size_t errorURLCount_ = 0;
    bool isCutShort_ = false;
};

bool hasMediaFiles(const std::shared_ptr<VKTVASTCreativeLinear>& creative) {
    return !creative->mediaFiles().empty();
}

ResolvedAd verdictOn(std::shared_ptr<VKTVASTAd> ad, std::size_t number, const ResolveOptions& options) {
    if (number < static_cast<std::size_t>(options.fail)) {
        return {std::move(ad), nullptr, VKTVASTError::VAST_LINEAR_ERROR_GENERAL(),
                "it is reported as failed (--fail)"};
    }
    const auto& creatives = ad->linearCreatives();
    for (const auto& creative : creatives) {
        if (chosenMediaFile(*creative, options.networkAccessType)) return {ad, creative, std::nullopt, ""};
    }
    if (std::any_of(creatives.begin(), creatives.end(), hasMediaFiles)) {
        return {ad, nullptr, VKTVASTError::VAST_LINEAR_ERROR_MEDIA_NO_VALID_FORMAT(),
                "none of its media files suits the connection"};
    }
    return {ad, nullptr, VKTVASTError::VAST_CREATIVE_ERROR_MISMATCHED_AD_LINEARITY(),
            "it has no linear creative, and only those are played"};
}

// When there is no passback for a failed ad, the next main ad has its turn.
void requestAds(VKTVASTManager& manager, const ResolveOptions& options, const Budget& budget,
                Resolution& resolution) {
    bool hasFailed = false;
    while (true) {
        const VKTVASTManagerResponse response = manager.nextAdWithTimeout(budget.timeLeft(), hasFailed);
        if (response.ad) {
            const auto& ad = static_cast<const PlayableAd&>(*response.ad).ad;
            resolution.ads.push_back(verdictOn(ad, resolution.ads.size(), options));
            hasFailed = !resolution.ads.back().creative;
        } else if (hasFailed && response.error && response.error->code() != VKTVASTManagerErrorTimeout) {
            hasFailed = false;
        } else {
            resolution.end = response.error;
            return;
        }
    }
}

// Requests for one URL bring documents in the same order.
std::vector<DocumentRequest> requestsWithDocuments(const std::vector<RequestRecord>& records,
                                                   const std::vector<VKTVASTDocumentOutcome>& documents) {
    std::map<std::string, std::deque<const VKTVASTDocumentOutcome*>> documentsOfURL;
    for (const auto& document : documents) {
        if (document.wasRequested) documentsOfURL[document.url->absoluteString()].push_back(&document);
    }
    std::vector<DocumentRequest> requests;
    for (const RequestRecord& record : records) {
        requests.push_back({record, std::nullopt});
        auto& own = documentsOfURL[record.url];
        if (own.empty()) continue;
        requests.back().document = *own.front();
        own.pop_front();
    }
    return requests;
}

}  // namespace

Resolution resolveSource(const ResolveOptions& options, const Source& source,
                         const ProblemObserver& observer) {
    const Budget budget(options.timeout);
    const auto provider = std::make_shared<RecordingProvider>(VKTURLSessionProvider::sharedInstance());
    const auto listener = std::make_shared<Listener>(options, observer);
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
    if (resolution.model) requestAds(*manager, options, budget, resolution);
    resolution.hasRunOutOfTime = budget.timeLeft() <= VKTTimeInterval::zero();
    const auto records = provider->records();
    listener->giveTo(resolution);
    resolution.requests = requestsWithDocuments(records, resolution.documents);
    return resolution;
}

ReportedError problemOfAd(const ResolvedAd& ad) {
    const std::string name = ad.ad->adID() ? "Ad " + *ad.ad->adID() : "An ad without id";
    return {*ad.failure, ad.ad->errorPixels(), false,
            std::make_shared<const std::string>(name + ": " + ad.problem + ".")};
}

std::string nameOfDocument(const VKTVASTDocumentOutcome& document, const std::string& source) {
    if (document.url) return shortened(document.url->absoluteString());
    if (document.wrapperDepth > 0) return "wrapper " + document.wrapperAdID.value_or("without id");
    return source == "-" ? "the standard input" : source;
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

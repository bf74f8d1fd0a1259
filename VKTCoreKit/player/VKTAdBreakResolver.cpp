#include "VKTCoreKit/player/VKTAdBreakResolver.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"

// The time for everything. Any thread.
class VKTAdBreakResolver::Budget {
  public:
    Budget(VKTTimeInterval time, std::shared_ptr<VKTClock> clock)
        : time_(time), clock_(std::move(clock)), start_(clock_->monotonicNow()) {}

    void restart() { start_ = clock_->monotonicNow(); }

    [[nodiscard]] VKTTimeInterval timeLeft() const {
        return time_ - VKTTimeInterval(clock_->monotonicNow() - start_.load());
    }

  private:
    const VKTTimeInterval time_;
    const std::shared_ptr<VKTClock> clock_;
    std::atomic<std::chrono::nanoseconds> start_;
};

// The manager gives each wrapper its own time, however many there are; no request may outlast the budget.
class VKTAdBreakResolver::BudgetProvider : public VKTURLSessionProviderProtocol {
  public:
    BudgetProvider(std::shared_ptr<VKTURLSessionProviderProtocol> provider, std::shared_ptr<Budget> budget)
        : provider_(std::move(provider)), budget_(std::move(budget)) {}

    std::shared_ptr<VKTURLSessionTask> dataRequest(
        const VKTURLRequest& request, VKTURLSessionCompletionHandler completionHandler) override {
        VKTURLRequest limited = request;
        limited.timeoutInterval = std::min(limited.timeoutInterval, budget_->timeLeft());
        return provider_->dataRequest(limited, std::move(completionHandler));
    }

  private:
    const std::shared_ptr<VKTURLSessionProviderProtocol> provider_;
    const std::shared_ptr<Budget> budget_;
};

// Between the manager and the delegate.
class VKTAdBreakResolver::Relay : public VKTVASTManagerDelegate {
  public:
    Relay(VKTReplacements macros, std::shared_ptr<VKTVASTManagerDelegate> delegate)
        : macros_(std::move(macros)),
          delegate_(delegate ? std::move(delegate) : std::make_shared<VKTVASTManagerDelegate>()) {}

    void vastManagerIsReadyToProvideAds() override { delegate_->vastManagerIsReadyToProvideAds(); }
    void vastManagerDidFailWithError(const std::optional<VKTError>& error) override {
        failure = error;
        delegate_->vastManagerDidFailWithError(error);
    }
    void vastManagerDidEncounterError(VKTVASTManager& manager, const VKTVASTError& error,
                                      const std::vector<VKTVASTURL>& errorURLs,
                                      const std::optional<std::string>& VASTResponse) override {
        const std::size_t allowed = takeFromLimit(errorURLs.size());
        if (allowed == errorURLs.size()) {
            delegate_->vastManagerDidEncounterError(manager, error, errorURLs, VASTResponse);
        } else {
            const auto end = errorURLs.begin() + static_cast<std::ptrdiff_t>(allowed);
            delegate_->vastManagerDidEncounterError(manager, error, {errorURLs.begin(), end}, VASTResponse);
        }
    }
    void vastManagerDidStartToResolveWrapperAd(VKTVASTManager& manager,
                                               const std::shared_ptr<VKTVASTAd>& ad) override {
        delegate_->vastManagerDidStartToResolveWrapperAd(manager, ad);
    }
    void vastManagerDidFailToResolveWrapperAd(VKTVASTManager& manager,
                                              const std::shared_ptr<VKTVASTAd>& ad) override {
        delegate_->vastManagerDidFailToResolveWrapperAd(manager, ad);
    }
    std::optional<std::map<std::string, std::string>> vastManagerRequestsVASTMacros(
        VKTVASTManager& /*manager*/) override {
        return macros_;
    }
    std::shared_ptr<VKTVASTReadingListener> vastManagerRequestsReadingListener(
        VKTVASTManager& manager, const std::optional<VKTURL>& url,
        const std::shared_ptr<VKTVASTAd>& wrapper) override {
        return delegate_->vastManagerRequestsReadingListener(manager, url, wrapper);
    }
    void vastManagerDidReadDocument(VKTVASTManager& manager, const VKTVASTDocumentOutcome& outcome) override {
        delegate_->vastManagerDidReadDocument(manager, outcome);
    }

    [[nodiscard]] bool isLimitReached() const {
        const VKTLock lock(mutex_);
        return isLimitReached_;
    }

    std::optional<VKTError> failure;  // of the first document

  private:
    std::size_t takeFromLimit(std::size_t count) {
        const VKTLock lock(mutex_);
        const std::size_t allowed = std::min(count, errorPixelsLeft_);
        errorPixelsLeft_ -= allowed;
        if (allowed < count && !std::exchange(isLimitReached_, true)) {
            VKTLog::sharedInstance()->logWarning("The problems of an ad break come with more than " +
                                                 std::to_string(VKTAdBreakErrorPixelLimit) +
                                                 " error pixels; the further ones are left out.");
        }
        return allowed;
    }

    const VKTReplacements macros_;
    const std::shared_ptr<VKTVASTManagerDelegate> delegate_;
    mutable VKTMutex mutex_;
    std::size_t errorPixelsLeft_ VKT_GUARDED_BY(mutex_) = VKTAdBreakErrorPixelLimit;
    bool isLimitReached_ VKT_GUARDED_BY(mutex_) = false;
};

namespace {

struct ConvertedAd : VKTConsumableVideoAd {
    explicit ConvertedAd(std::shared_ptr<VKTVASTAd> vastAd) : ad(std::move(vastAd)) {}
    const std::shared_ptr<VKTVASTAd> ad;
};

std::shared_ptr<VKTVASTMediaFile> mediaFileOf(const VKTVASTCreativeLinear& creative,
                                              const VKTAdBreakOptions& options) {
    if (options.mediaProfile) return options.mediaProfile->mediaFileOf(creative, options.networkAccessType);
    return VKTVASTMediaFileSelector::initWithMinBitrate(0, VKTVASTDefaultMaximumBitrate,
                                                        creative.mediaFiles(), options.networkAccessType)
        .mediaFile();
}

std::string problemOfMedia(const VKTVASTCreativeLinear& creative, const VKTAdBreakOptions& options) {
    if (options.mediaProfile) return options.mediaProfile->problemWith(creative, options.networkAccessType);
    return "none of its media files suits the connection";
}

}  // namespace

struct VKTAdBreakResolver::Adapter : VKTVASTAdAdapterProtocol {
    std::shared_ptr<VKTConsumableVideoAd> convertVASTAdToConsumableVideoAd(
        const std::shared_ptr<VKTVASTAd>& ad) override {
        return std::make_shared<ConvertedAd>(ad);
    }
};

VKTReplacements vkt_macrosOfAdBreak(const VKTAdBreakOptions& options) {
    auto macros = VKTVASTManager::generateDefaultVASTMacrosWithAppBundleIdentifier(
        options.appBundleIdentifier, options.partnerName, options.partnerVersion, options.APIFrameworks);
    for (const auto& [name, value] : options.macros)
        macros[name] = value;
    return macros;
}

std::shared_ptr<VKTAdBreakResolver> VKTAdBreakResolver::initWithOptions(
    VKTAdBreakOptions options, const VKTAdBreakServices& services,
    std::shared_ptr<VKTVASTManagerDelegate> delegate) {
    std::shared_ptr<VKTAdBreakResolver> resolver(new VKTAdBreakResolver(std::move(options)));
    const auto& own = resolver->options_;
    resolver->budget_ = std::make_shared<Budget>(own.timeBudget, services.clock);
    resolver->relay_ = std::make_shared<Relay>(vkt_macrosOfAdBreak(own), std::move(delegate));
    resolver->adapter_ = std::make_shared<Adapter>();
    const auto session = VKTURLSession::initWithSessionProvider(
        std::make_shared<BudgetProvider>(services.urlSession->sessionProvider(), resolver->budget_));
    resolver->manager_ = VKTVASTManager::initWithDelegate(resolver->relay_, resolver->adapter_, session,
                                                          own.resolving, services.passbackPool);
    return resolver;
}

void VKTAdBreakResolver::readWithXML(std::optional<std::string_view> xml, const std::optional<VKTURL>& url) {
    budget_->restart();
    manager_->createAdsStoreWithXML(xml, url, budget_->timeLeft());
    resolution_.model = manager_->rootVASTModel();
    if (!resolution_.model) end(relay_->failure);
}

std::optional<VKTAdBreakAd> VKTAdBreakResolver::nextAd() {
    while (!isOver_) {
        const VKTVASTManagerResponse response = ask(hasFailed_);
        if (response.ad) {
            resolution_.ads.push_back(verdictOn(response));
            hasFailed_ = !resolution_.ads.back().isPlayable();
            return resolution_.ads.back();
        }
        // When there is no passback for a failed ad, the next main ad has its turn.
        if (hasFailed_ && response.error && response.error->code() != VKTVASTManagerErrorTimeout) {
            hasFailed_ = false;
        } else {
            end(response.error);
        }
    }
    return std::nullopt;
}

void VKTAdBreakResolver::end(const std::optional<VKTError>& error) {
    isOver_ = true;
    resolution_.end = error;
    resolution_.hasRunOutOfTime = budget_->timeLeft() <= VKTTimeInterval::zero();
    resolution_.isErrorPixelLimitReached = relay_->isLimitReached();
}

std::optional<VKTAdBreakAd> VKTAdBreakResolver::passbackAd() {
    budget_->restart();
    const VKTVASTManagerResponse response = ask(true);
    if (!response.ad) return std::nullopt;
    return verdictOn(response);
}

VKTVASTManagerResponse VKTAdBreakResolver::ask(bool dueToAdFailure) {
    return manager_->nextAdWithTimeout(budget_->timeLeft(), dueToAdFailure);
}

VKTAdBreakAd VKTAdBreakResolver::verdictOn(const VKTVASTManagerResponse& response) const {
    VKTAdBreakAd verdict{static_cast<const ConvertedAd&>(*response.ad).ad, nullptr, nullptr, {}, {}};
    std::optional<VKTAdRefusal> refusal;
    if (options_.refusal)
        vkt_callGuarded("VKTAdBreakOptions::refusal", [&] { refusal = options_.refusal(*verdict.ad); });
    if (refusal) {
        verdict.failure = std::move(refusal->error);
        verdict.problem = std::move(refusal->problem);
        return verdict;
    }
    const VKTVASTCreativeLinear* unsuitable = nullptr;
    for (const auto& creative : verdict.ad->linearCreatives()) {
        if ((verdict.mediaFile = mediaFileOf(*creative, options_))) {
            verdict.creative = creative;
            return verdict;
        }
        if (unsuitable == nullptr && !creative->mediaFiles().empty()) unsuitable = creative.get();
    }
    if (unsuitable != nullptr) {
        verdict.failure = VKTVASTError::VAST_LINEAR_ERROR_MEDIA_NO_VALID_FORMAT();
        verdict.problem = problemOfMedia(*unsuitable, options_);
    } else {
        verdict.failure = VKTVASTError::VAST_CREATIVE_ERROR_MISMATCHED_AD_LINEARITY();
        verdict.problem = "it has no linear creative, and only those are played";
    }
    return verdict;
}

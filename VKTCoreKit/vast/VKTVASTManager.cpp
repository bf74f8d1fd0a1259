#include "VKTCoreKit/vast/VKTVASTManager.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTRandom.h"
#include "VKTCoreKit/core/VKTTimeUtils.h"
#include "VKTCoreKit/core/VKTURLUtils.h"
#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/vast/detail/VKTVASTPassbacks.h"

namespace {

using Playable = std::shared_ptr<VKTConsumableVideoAd>;
using AdPointer = std::shared_ptr<VKTVASTAd>;

constexpr const char* onlyFirstAdIsTaken =
    "it is not taken: of a document behind a wrapper only the first ad is (handleWrappersAdpods is off)";
constexpr const char* onlyMainAdsAreTaken =
    "it is not taken: of a document behind a wrapper only the main ads are";

VKTError managerError(VKTVASTManagerErrorCode code, const char* description) {
    return VKTUtils::errorWithDomain(VKTVASTErrorDomain, code, description);
}

VKTVASTManagerResponse failure(VKTVASTManagerErrorCode code, const char* description) {
    return VKTVASTManagerResponse::initWithAd(nullptr, managerError(code, description));
}

VKTVASTDocumentOutcome outcomeBehind(const VKTVASTAd& wrapper) {
    VKTVASTDocumentOutcome outcome;
    outcome.url = wrapper.nextActionURL();
    outcome.wrapperDepth = wrapper.wrapperDepth() + 1;
    outcome.wrapperAdID = wrapper.adID();
    return outcome;
}

VKTVASTParserResponse refusal(const VKTVASTAd& wrapper, VKTError error, std::string problem) {
    VKTVASTDocumentOutcome outcome = outcomeBehind(wrapper);
    outcome.problem = std::move(problem);
    return VKTVASTParserResponse::initWithModel(nullptr, std::move(error), std::move(outcome));
}

void setReadingListener(const VKTVASTParserResponse& response,
                        const std::shared_ptr<VKTVASTReadingListener>& listener) {
    if (!response.model || !listener) return;
    for (const AdPointer& ad : response.model->ads())
        ad->setReadingListener(listener);
}

std::vector<VKTVASTURL> joined(std::vector<VKTVASTURL> urls, const std::vector<VKTVASTURL>& more) {
    const std::size_t room =
        VKTVASTReportedErrorPixelLimit - std::min(VKTVASTReportedErrorPixelLimit, urls.size());
    const auto count = static_cast<std::ptrdiff_t>(std::min(room, more.size()));
    urls.insert(urls.end(), more.begin(), more.begin() + count);
    return urls;
}

// A step of a passback that calls the embedder, who may throw: the passback then ends without a result.
template <typename Step>
auto resultUnlessThrown(Step step) -> decltype(step()) {
    decltype(step()) result = nullptr;
    vkt_callGuarded("the delegate or the adapter of a VAST manager (for a passback)",
                    [&] { result = step(); });
    return result;
}

}  // namespace

VKTVASTManager::VKTVASTManager() : passbacks_(std::make_unique<VKTVASTPassbacks>()) {}

VKTVASTManager::~VKTVASTManager() = default;

std::shared_ptr<VKTVASTManager> VKTVASTManager::initWithDelegate(
    const std::shared_ptr<VKTVASTManagerDelegate>& delegate,
    const std::shared_ptr<VKTVASTAdAdapterProtocol>& adapter, std::shared_ptr<VKTURLSession> sessionManager,
    const VKTVASTManagerConfig& config, std::shared_ptr<VKTConcurrentPool> passbackPool) {
    std::shared_ptr<VKTVASTManager> manager(new VKTVASTManager());
    manager->configureWithDelegate(delegate, adapter, std::move(sessionManager), config,
                                   std::move(passbackPool));
    return manager;
}

std::shared_ptr<VKTVASTManager> VKTVASTManager::initWithDelegate(
    const std::shared_ptr<VKTVASTManagerDelegate>& delegate,
    const std::shared_ptr<VKTVASTAdAdapterProtocol>& adapter, std::shared_ptr<VKTURLSession> sessionManager,
    VKTTimeInterval requestTimeout, std::int64_t maximumWrappers, bool handleWrappersAdpods) {
    VKTVASTManagerConfig config;
    config.requestTimeout = requestTimeout;
    config.maximumWrappers = maximumWrappers;
    config.handleWrappersAdpods = handleWrappersAdpods;
    return initWithDelegate(delegate, adapter, std::move(sessionManager), config);
}

std::shared_ptr<VKTVASTManager> VKTVASTManager::initWithDelegate(
    const std::shared_ptr<VKTVASTManagerDelegate>& delegate,
    const std::shared_ptr<VKTVASTAdAdapterProtocol>& adapter, std::shared_ptr<VKTURLSession> sessionManager,
    const std::shared_ptr<VKTPixelManager>& /*pixelManager*/, VKTTimeInterval requestTimeout,
    std::int64_t maximumWrappers, bool handleWrappersAdpods) {
    return initWithDelegate(delegate, adapter, std::move(sessionManager), requestTimeout, maximumWrappers,
                            handleWrappersAdpods);
}

void VKTVASTManager::configureWithDelegate(const std::shared_ptr<VKTVASTManagerDelegate>& delegate,
                                           const std::shared_ptr<VKTVASTAdAdapterProtocol>& adapter,
                                           std::shared_ptr<VKTURLSession> sessionManager,
                                           const VKTVASTManagerConfig& config,
                                           std::shared_ptr<VKTConcurrentPool> passbackPool) {
    setDelegate(delegate);
    adapter_ = adapter;
    urlSessionManager_ = std::move(sessionManager);
    if (!urlSessionManager_) urlSessionManager_ = VKTURLSession::sharedInstance();
    passbackPool_ = std::move(passbackPool);
    if (!passbackPool_) passbackPool_ = VKTPlatform::current().passbackPool;
    config_ = config;
}

void VKTVASTManager::createAdsStoreWithXML(std::optional<std::string_view> xml,
                                           const std::optional<VKTURL>& withURL, VKTTimeInterval timeout) {
    const auto keptAlive = shared_from_this();
    if (!delegate()) {
        VKTLog::sharedInstance()->logDebug("VAST Manager cannot work without its delegate set!");
        return;
    }
    if (adapter_.expired()) {
        VKTLog::sharedInstance()->logDebug("VAST Manager cannot work without its adapter set!");
        return;
    }
    if (rootVASTModel_) {
        VKTLog::sharedInstance()->logWarning(
            "VAST Manager: createAdsStoreWithXML was called again and has read nothing, since the ads of the "
            "first document are there. Make a manager for each request.");
        return;
    }
    const auto generator =
        VKTVASTModelGenerator::initWithSessionManager(urlSessionManager_, false, canceller_);
    const auto reading = listenerFor(xml ? std::nullopt : withURL, nullptr);
    if (isCancelled()) return;
    VKTVASTParserResponse response = generator.generateVASTModelFromXML(
        xml, withURL, timeout,
        [this](const auto& error, const auto& pixels, const auto& text) { report(error, pixels, text); },
        reading.get());
    if (isCancelled()) return;
    if (!response.model) {
        tell(response.outcome);
        if (const auto listener = delegate()) listener->vastManagerDidFailWithError(response.error);
        return;
    }
    setReadingListener(response, reading);
    takeRootModel(response);
    tell(response.outcome);
    if (const auto listener = delegate()) listener->vastManagerIsReadyToProvideAds();
}

void VKTVASTManager::takeRootModel(VKTVASTParserResponse& response) {
    rootVASTModel_ = response.model;
    rootAds_.clear();
    for (const AdPointer& ad : rootVASTModel_->ads())
        rootAds_.insert(ad.get());
    processRootModel(*rootVASTModel_);
    Ads taken = rootVASTModel_->mainAds();
    const Ads passbacks = rootVASTModel_->passbackAds();
    taken.insert(taken.end(), passbacks.begin(), passbacks.end());
    conclude(response.outcome, rootVASTModel_->ads(), taken,
             "it is not taken: an inline ad of its document is, in its place");
}

void VKTVASTManager::processRootModel(const VKTVASTModel& model) {
    addMainAds(model.mainAds());
    addPassbackAds(model.passbackAds());
}

void VKTVASTManager::addMainAds(const Ads& ads) {
    std::size_t position = 0;
    if (currentRootAd_)
        position = std::min(adIndex(*currentRootAd_, mainAdsStore_) + 1, mainAdsStore_.size());
    mainAdsStore_.insert(mainAdsStore_.begin() + static_cast<std::ptrdiff_t>(position), ads.begin(),
                         ads.end());
    if (currentRootAd_) std::erase(mainAdsStore_, currentRootAd_);
    mainCursor_ = 0;
}

void VKTVASTManager::addPassbackAds(const Ads& ads) {
    for (const AdPointer& ad : ads) {
        if (isFirstLevel(*ad)) passbacks_->add(ad);
    }
}

VKTVASTManagerResponse VKTVASTManager::nextAdWithTimeout(VKTTimeInterval timeout, bool dueToAdFailure) {
    const auto keptAlive = shared_from_this();
    if (timeout <= VKTTimeInterval::zero()) {
        return failure(VKTVASTManagerErrorTimeout, "VASTManager Timeout.");
    }
    if (!rootVASTModel_) return failure(VKTVASTManagerErrorNoModel, "Unable to create VAST Model.");
    Playable ad = dueToAdFailure ? findNextPassbackAd() : findNextMainAd();
    const bool isOver = isCancelled();
    if (ad && !isOver) return VKTVASTManagerResponse::initWithAd(std::move(ad), std::nullopt);
    if (!dueToAdFailure) return failure(VKTVASTManagerErrorNoMoreAds, "No more ads available.");
    if (!isOver && isResolvingPassbackWrappers()) {
        return failure(VKTVASTManagerErrorPassbackIncomplete, "Passback resolution incomplete.");
    }
    return failure(VKTVASTManagerErrorNoMorePassback, "No more Passback.");
}

Playable VKTVASTManager::findNextMainAd() {
    const auto keptAlive = shared_from_this();
    while (const AdPointer ad = isCancelled() ? nullptr : consumeNextMainAd()) {
        if (ad->isValid() && ad->isInline()) return convert(ad);
        if (ad->isValid() && followMainWrapper(ad)) continue;
        if (Playable passback = findNextPassbackAd()) return passback;
    }
    return nullptr;
}

AdPointer VKTVASTManager::consumeNextMainAd() {
    while (mainCursor_ < mainAdsStore_.size()) {
        const AdPointer& ad = mainAdsStore_[mainCursor_++];
        if (ad->consume()) return ad;
    }
    return nullptr;
}

// Puts what the wrapper leads to behind it in the store. False when that failed and was reported: a passback
// is then due.
bool VKTVASTManager::followMainWrapper(const AdPointer& wrapper) {
    if (wrapper->wrapperDepth() >= config_.maximumWrappers) {
        refuse(*wrapper);
        return false;
    }
    VKTVASTParserResponse response = resolveWrapper(
        wrapper, config_.requestTimeout,
        [&](const VKTVASTError& error, const std::vector<VKTVASTURL>& pixels, const auto& text) {
            const bool hasVASTCode = error.VASTCode() != -1;
            report(error, hasVASTCode ? joined(pixels, wrapper->errorPixels()) : std::vector<VKTVASTURL>(),
                   text);
        });
    if (response.error) {
        tell(response.outcome);
        checkIfWrapperErrorShouldTriggerVNoAdPixel(*response.error, wrapper);
        return false;
    }
    if (!response.model) {  // neither model nor error: the next main ad's turn
        tell(response.outcome);
        return true;
    }
    Ads ads;
    if (config_.handleWrappersAdpods) {
        ads = response.model->mainAds();
    } else if (const AdPointer first = response.model->firstAd()) {
        ads.push_back(first);
    }
    for (const AdPointer& ad : ads)
        ad->merge(*wrapper, mergeBudget_);
    insertAfterLastTaken(ads);
    conclude(response.outcome, response.model->ads(), ads,
             config_.handleWrappersAdpods ? onlyMainAdsAreTaken : onlyFirstAdIsTaken);
    tell(response.outcome);
    return true;
}

void VKTVASTManager::insertAfterLastTaken(const Ads& ads) {
    mainAdsStore_.insert(mainAdsStore_.begin() + static_cast<std::ptrdiff_t>(mainCursor_), ads.begin(),
                         ads.end());
}

VKTVASTParserResponse VKTVASTManager::resolveWrapper(const AdPointer& ad, VKTTimeInterval timeout,
                                                     const VKTVASTDocumentErrorHandler& errorHandler) {
    const auto keptAlive = shared_from_this();
    const auto refuse = [&](const VKTVASTError& error, std::string problem) {
        errorHandler(error, {}, std::nullopt);
        return refusal(*ad, error.error(), std::move(problem));
    };
    if (!ad->isWrapper()) {
        return refusal(*ad, managerError(VKTVASTManagerErrorNotAWrapper, "No ad available."),
                       "the ad is no wrapper");
    }
    std::optional<VKTURL> url = ad->nextActionURL();
    if (!url) {
        return refuse(VKTVASTError::VAST_VALIDATION_ERROR_MISSING_VASTADTAGURI(),
                      "the wrapper has no VASTAdTagURI that is a URL");
    }
    if (isFirstLevel(*ad)) {
        if (config_.strictWrapperFirstLevelImpressionValidation && ad->impressions().empty()) {
            return refuse(VKTVASTError::VAST_VALIDATION_ERROR_MISSING_IMPRESSION(),
                          "the wrapper has no impression, which is required of it "
                          "(strictWrapperFirstLevelImpressionValidation)");
        }
        if (const auto listener = delegate()) listener->vastManagerDidStartToResolveWrapperAd(*this, ad);
    }
    if (const auto listener = delegate()) {
        if (const auto macros = listener->vastManagerRequestsVASTMacros(*this)) {
            url = VKTURLUtils::replaceMacros(*macros, *url);
        }
    }
    const auto reading = listenerFor(url, ad);
    // Whoever cancels, inside these callbacks too, answers for no macros and wants no request.
    if (isCancelled()) return {};
    VKTVASTParserResponse response =
        VKTVASTModelGenerator::initWithSessionManager(urlSessionManager_, true, canceller_)
            .generateVASTModelFromXML(std::nullopt, url, timeout, errorHandler, reading.get());
    setReadingListener(response, reading);
    response.outcome.url = std::move(url);
    response.outcome.wrapperDepth = ad->wrapperDepth() + 1;
    response.outcome.wrapperAdID = ad->adID();
    return response;
}

void VKTVASTManager::checkIfWrapperErrorShouldTriggerVNoAdPixel(const VKTError& error, const AdPointer& ad) {
    const auto keptAlive = shared_from_this();
    if (error.domain() != VKTVASTErrorDomain) return;
    const auto* vastError = error.userInfoValue<VKTVASTError>(VKTVASTErrorUserInfoKey);
    const auto noAd = VKTVASTError::VAST_VALIDATION_ERROR_MISSING_INLINE_AND_WRAPPER();
    if (vastError == nullptr || vastError->korvoCode() != noAd.korvoCode()) return;
    if (const auto listener = delegate()) listener->vastManagerDidFailToResolveWrapperAd(*this, ad);
}

Playable VKTVASTManager::findNextPassbackAd() {
    const auto keptAlive = shared_from_this();
    while (!isCancelled()) {
        const AdPointer ad = passbacks_->consumeNextInline();
        if (!ad) return hasWrapperPassbacksAvailable() ? resolvePassbackWrappers() : nullptr;
        if (ad->isValid()) return convert(ad);
    }
    return nullptr;
}

Playable VKTVASTManager::resolvePassbackWrappers() {
    const auto keptAlive = shared_from_this();
    const Ads passbacks = passbacks_->beginResolution();
    if (passbacks.empty()) return nullptr;
    Ads withoutThread;
    for (const AdPointer& passback : passbacks) {
        const bool isPosted = passbackPool_->tryPostInGroup(
            [keptAlive, passback] { keptAlive->resolvePassback(passback); }, this);
        if (!isPosted) withoutThread.push_back(passback);
    }
    resolveHere(withoutThread);
    VKTVASTPassbacks::Result result = passbacks_->waitForResult();
    VKTLog::sharedInstance()->logDebugWithFormat("Returning resolved ad: %@", result.adID);
    return std::move(result.ad);
}

// Passbacks for which there is no thread: on the waiting one, which gives up nothing but time.
void VKTVASTManager::resolveHere(const Ads& passbacks) {
    if (passbacks.empty()) return;
    VKTLog::sharedInstance()->logWarningWithFormat(
        "The system gives no thread for passbacks: %ld of them are resolved one after another by the thread "
        "that waits for an ad. Raise the limit of threads or memory, or start fewer.",
        passbacks.size());
    for (const AdPointer& passback : passbacks)
        resolvePassback(passback);
}

// One passback, on a passback thread if there is one.
void VKTVASTManager::resolvePassback(const AdPointer& passback) {
    if (!passbacks_->beginPassback()) return;
    AdPointer resolved = resultUnlessThrown([&] { return transformWrapperToInline(passback); });
    if (resolved) {
        VKTLog::sharedInstance()->logDebugWithFormat("Resolved wrapper ad: %@", resolved->adID());
    }
    if (!resolved || !passbacks_->claim(resolved)) return passbacks_->endEmpty();
    while (resolved) {
        Playable playable = resultUnlessThrown([&] { return convert(resolved); });
        if (playable) return passbacks_->endWith({std::move(playable), resolved->adID()});
        resolved = passbacks_->endRefused();
    }
}

AdPointer VKTVASTManager::transformWrapperToInline(AdPointer ad) {
    const auto keptAlive = shared_from_this();
    while (ad) {
        if (ad->hasBeenConsumed()) return nullptr;
        VKTLog::sharedInstance()->logDebugWithFormat("Transforming wrapper ad: %@", ad->adID());
        if (ad->isInline()) {
            passbacks_->add(ad);
            return ad;
        }
        if (!ad->consume()) return nullptr;
        ad = followPassbackWrapper(ad);
    }
    return nullptr;
}

// What a consumed wrapper leads to, the wrapper folded into it; null when it leads nowhere. Passbacks may go
// one wrapper deeper than main ads.
AdPointer VKTVASTManager::followPassbackWrapper(const AdPointer& wrapper) {
    if (wrapper->wrapperDepth() > config_.maximumWrappers) {
        refuse(*wrapper);
        return nullptr;
    }
    VKTVASTParserResponse response = resolveWrapper(
        wrapper, config_.requestTimeout,
        [&](const VKTVASTError& error, const std::vector<VKTVASTURL>& pixels, const auto& text) {
            report(error, joined(pixels, wrapper->errorPixels()), text);
        });
    if (response.error) {
        tell(response.outcome);
        checkIfWrapperErrorShouldTriggerVNoAdPixel(*response.error, wrapper);
        return nullptr;
    }
    AdPointer first = response.model ? response.model->firstAd() : nullptr;
    if (first) {
        first->merge(*wrapper, mergeBudget_);
        conclude(response.outcome, response.model->ads(), {first}, onlyFirstAdIsTaken);
    }
    tell(response.outcome);
    return first;
}

// The wrapper is one too many: no request is made for it.
void VKTVASTManager::refuse(const VKTVASTAd& wrapper) {
    report(VKTVASTError::VAST_WRAPPER_ERROR_LIMIT_REACHED(), wrapper.errorPixels(), std::nullopt);
    VKTVASTDocumentOutcome outcome = outcomeBehind(wrapper);
    outcome.problem = "it is not requested: the limit of " + std::to_string(config_.maximumWrappers) +
                      " wrappers in a row is reached";
    tell(outcome);
}

std::shared_ptr<VKTVASTReadingListener> VKTVASTManager::listenerFor(const std::optional<VKTURL>& url,
                                                                    const AdPointer& wrapper) {
    const auto listener = delegate();
    return listener ? listener->vastManagerRequestsReadingListener(*this, url, wrapper) : nullptr;
}

// What the request goes on with. Ads that are left aside are in the model, and their listener hears why.
void VKTVASTManager::conclude(VKTVASTDocumentOutcome& outcome, const Ads& ads, const Ads& taken,
                              const char* whyNotTaken) {
    std::unordered_set<const VKTVASTAd*> chosen;
    for (const AdPointer& ad : taken) {
        if (chosen.insert(ad.get()).second && ad->isValid()) ++outcome.adsTaken;
    }
    for (const AdPointer& ad : ads) {
        const auto& listener = ad->readingListener();
        if (listener && !chosen.contains(ad.get())) {
            listener->needsAttention(ad->pathInDocument(), whyNotTaken);
        }
    }
    if (outcome.adsTaken > 0 || !outcome.problem.empty() || taken.empty()) return;
    outcome.problem = "none of its ads that are taken (" + std::to_string(chosen.size()) + " of " +
                      std::to_string(ads.size()) +
                      ") is valid; of the first: " + taken.front()->invalidReason();
}

void VKTVASTManager::tell(const VKTVASTDocumentOutcome& outcome) {
    if (const auto listener = delegate()) listener->vastManagerDidReadDocument(*this, outcome);
}

void VKTVASTManager::report(const VKTVASTError& error, const std::vector<VKTVASTURL>& errorURLs,
                            const std::optional<std::string>& VASTResponse) {
    if (const auto listener = delegate()) {
        listener->vastManagerDidEncounterError(*this, error, errorURLs, VASTResponse);
    }
}

Playable VKTVASTManager::convert(const AdPointer& ad) {
    const auto adapter = adapter_.lock();
    if (adapter) ad->prepareForDelivery(mergeBudget_);
    return adapter ? adapter->convertVASTAdToConsumableVideoAd(ad) : nullptr;
}

void VKTVASTManager::cancel() {
    {
        const VKTLock lock(mutex_);
        isCancelled_ = true;
        delegate_.reset();
    }
    passbacks_->cancel();
}

void VKTVASTManager::cancelImmediately() {
    cancel();
    passbacks_->endWait();
    canceller_->cancel();
}

bool VKTVASTManager::hasInlinePassbacksAvailable() const {
    return passbacks_->hasInline();
}

bool VKTVASTManager::hasWrapperPassbacksAvailable() const {
    return passbacks_->hasWrapper();
}

VKTVASTManager::Ads VKTVASTManager::inlinePassbackAdsStore() const {
    return passbacks_->inlineAds();
}

VKTVASTManager::Ads VKTVASTManager::wrapperPassbackAdsStore() const {
    return passbacks_->wrapperAds();
}

bool VKTVASTManager::isResolvingPassbackWrappers() const {
    return passbacks_->isResolving();
}

bool VKTVASTManager::didResolvePassbackWrappers() const {
    return passbacks_->didResolve();
}

bool VKTVASTManager::isCancelled() const {
    const VKTLock lock(mutex_);
    return isCancelled_;
}

std::shared_ptr<VKTVASTManagerDelegate> VKTVASTManager::delegate() const {
    const VKTLock lock(mutex_);
    return delegate_.lock();
}

void VKTVASTManager::setDelegate(const std::shared_ptr<VKTVASTManagerDelegate>& delegate) {
    const VKTLock lock(mutex_);
    if (!isCancelled_) delegate_ = delegate;
}

std::size_t VKTVASTManager::adIndex(const VKTVASTAd& ad, const Ads& inStore) {
    const auto found =
        std::find_if(inStore.begin(), inStore.end(), [&](const AdPointer& own) { return own.get() == &ad; });
    return found == inStore.end() ? 0 : static_cast<std::size_t>(found - inStore.begin());
}

VKTVASTManager::Ads VKTVASTManager::consumableMainAds() const {
    Ads ads;
    std::copy_if(mainAdsStore_.begin(), mainAdsStore_.end(), std::back_inserter(ads),
                 [](const AdPointer& ad) { return !ad->hasBeenConsumed(); });
    return ads;
}

std::map<std::string, std::string> VKTVASTManager::generateDefaultVASTMacrosWithAppBundleIdentifier(
    const std::string& appBundleIdentifier, const std::optional<std::string>& OMPartnerName,
    const std::optional<std::string>& OMFrameworkVersion, const std::vector<int>& apiFrameworks) {
    // The IAB protocol numbers (AdCOM 1.0) of VAST 2.0, 3.0, 4.0, 4.1 and 4.2, inline and wrapper.
    const std::vector<int> protocols{2, 3, 5, 6, 7, 8, 11, 12, 13, 14};
    return {
        {"APIFRAMEWORKS", apiFrameworks.empty() ? "-1" : stringWithNumberArrayJoinedByComma(apiFrameworks)},
        {"APPBUNDLE", appBundleIdentifier},
        {"OMIDPARTNER", vkt_stringWithFormat("%@/%@", {OMPartnerName, OMFrameworkVersion})},
        {"VASTVERSIONS", stringWithNumberArrayJoinedByComma(protocols)},
        {"CACHEBUSTING", std::to_string(VKTRandom::randomVastCacheBustingInt())},
        {"TIMESTAMP", VKTTimeUtils::timestampForVASTMacro()},
        {"VERIFICATIONVENDORS", "-2"},
    };
}

std::string VKTVASTManager::stringWithNumberArrayJoinedByComma(const std::vector<int>& numbers) {
    std::vector<std::string> texts;
    texts.reserve(numbers.size());
    for (const int number : numbers)
        texts.push_back(std::to_string(number));
    return vkt_joined(texts, ",");
}

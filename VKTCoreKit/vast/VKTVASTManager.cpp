#include "VKTCoreKit/vast/VKTVASTManager.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTRandom.h"
#include "VKTCoreKit/core/VKTTimeUtils.h"
#include "VKTCoreKit/core/VKTURLUtils.h"
#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

using Playable = std::shared_ptr<VKTConsumableVideoAd>;
using AdPointer = std::shared_ptr<VKTVASTAd>;

VKTError managerError(VKTVASTManagerErrorCode code, const char* description) {
    return VKTUtils::errorWithDomain(VKTVASTErrorDomain, code, description);
}

VKTVASTManagerResponse failure(VKTVASTManagerErrorCode code, const char* description) {
    return VKTVASTManagerResponse::initWithAd(nullptr, managerError(code, description));
}

std::vector<VKTVASTURL> joined(std::vector<VKTVASTURL> urls, const std::vector<VKTVASTURL>& more) {
    const std::size_t room =
        VKTVASTReportedErrorPixelLimit - std::min(VKTVASTReportedErrorPixelLimit, urls.size());
    const auto count = static_cast<std::ptrdiff_t>(std::min(room, more.size()));
    urls.insert(urls.end(), more.begin(), more.begin() + count);
    return urls;
}

}  // namespace

AdPointer VKTVASTManager::ConsumableAds::consumeNext() {
    while (cursor < ads.size()) {
        const AdPointer& ad = ads[cursor++];
        if (ad->consume()) return ad;
    }
    return nullptr;
}

bool VKTVASTManager::ConsumableAds::hasUnconsumed() {
    while (cursor < ads.size() && ads[cursor]->hasBeenConsumed())
        ++cursor;
    return cursor < ads.size();
}

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
    if (!delegate()) {
        VKTLog::sharedInstance()->logDebug("VAST Manager cannot work without its delegate set!");
        return;
    }
    if (adapter_.expired()) {
        VKTLog::sharedInstance()->logDebug("VAST Manager cannot work without its adapter set!");
        return;
    }
    const auto generator = VKTVASTModelGenerator::initWithSessionManager(urlSessionManager_);
    const VKTVASTParserResponse response = generator.generateVASTModelFromXML(
        xml, withURL, timeout,
        [this](const auto& error, const auto& pixels, const auto& text) { report(error, pixels, text); });
    if (!response.model) {
        if (const auto listener = delegate()) listener->vastManagerDidFailWithError(response.error);
        return;
    }
    rootVASTModel_ = response.model;
    rootAds_.clear();
    for (const AdPointer& ad : rootVASTModel_->ads())
        rootAds_.insert(ad.get());
    processRootModel(*rootVASTModel_);
    if (const auto listener = delegate()) listener->vastManagerIsReadyToProvideAds();
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
    if (!rootVASTModel_) return;
    const VKTLock lock(mutex_);
    std::unordered_set<const VKTVASTAd*> known;
    for (const Ads* store : {&inlinePassbacks_.ads, &wrapperPassbacks_.ads}) {
        for (const AdPointer& ad : *store)
            known.insert(ad.get());
    }
    for (const AdPointer& ad : ads) {
        if (!isFirstLevel(*ad) || !known.insert(ad.get()).second) continue;
        (ad->isInline() ? inlinePassbacks_ : wrapperPassbacks_).add(ad);
    }
}

VKTVASTManagerResponse VKTVASTManager::nextAdWithTimeout(VKTTimeInterval timeout, bool dueToAdFailure) {
    if (timeout <= VKTTimeInterval::zero()) {
        return failure(VKTVASTManagerErrorTimeout, "VASTManager Timeout.");
    }
    if (!rootVASTModel_) return failure(VKTVASTManagerErrorNoModel, "Unable to create VAST Model.");
    Playable ad = dueToAdFailure ? findNextPassbackAd() : findNextMainAd();
    if (ad) return VKTVASTManagerResponse::initWithAd(std::move(ad), std::nullopt);
    if (!dueToAdFailure) return failure(VKTVASTManagerErrorNoMoreAds, "No more ads available.");
    if (isResolvingPassbackWrappers()) {
        return failure(VKTVASTManagerErrorPassbackIncomplete, "Passback resolution incomplete.");
    }
    return failure(VKTVASTManagerErrorNoMorePassback, "No more Passback.");
}

Playable VKTVASTManager::findNextMainAd() {
    while (const AdPointer ad = consumeNextMainAd()) {
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
        report(VKTVASTError::VAST_WRAPPER_ERROR_LIMIT_REACHED(), wrapper->errorPixels(), std::nullopt);
        return false;
    }
    const VKTVASTParserResponse response = resolveWrapper(
        wrapper, config_.requestTimeout,
        [&](const VKTVASTError& error, const std::vector<VKTVASTURL>& pixels, const auto& text) {
            const bool hasVASTCode = error.VASTCode() != -1;
            report(error, hasVASTCode ? joined(pixels, wrapper->errorPixels()) : std::vector<VKTVASTURL>(),
                   text);
        });
    if (response.error) {
        checkIfWrapperErrorShouldTriggerVNoAdPixel(*response.error, wrapper);
        return false;
    }
    if (!response.model) return true;  // neither model nor error: the next main ad's turn
    Ads ads;
    if (config_.handleWrappersAdpods) {
        ads = response.model->mainAds();
    } else if (const AdPointer first = response.model->firstAd()) {
        ads.push_back(first);
    }
    for (const AdPointer& ad : ads)
        ad->merge(*wrapper, mergeBudget_);
    insertAfterLastTaken(ads);
    return true;
}

void VKTVASTManager::insertAfterLastTaken(const Ads& ads) {
    mainAdsStore_.insert(mainAdsStore_.begin() + static_cast<std::ptrdiff_t>(mainCursor_), ads.begin(),
                         ads.end());
}

VKTVASTParserResponse VKTVASTManager::resolveWrapper(const AdPointer& ad, VKTTimeInterval timeout,
                                                     const VKTVASTDocumentErrorHandler& errorHandler) {
    const auto refuse = [&](const VKTVASTError& error) {
        errorHandler(error, {}, std::nullopt);
        return VKTVASTParserResponse::initWithModel(nullptr, error.error());
    };
    if (!ad->isWrapper()) {
        return VKTVASTParserResponse::initWithModel(
            nullptr, managerError(VKTVASTManagerErrorNotAWrapper, "No ad available."));
    }
    std::optional<VKTURL> url = ad->nextActionURL();
    if (!url) return refuse(VKTVASTError::VAST_VALIDATION_ERROR_MISSING_VASTADTAGURI());
    if (isFirstLevel(*ad)) {
        if (config_.strictWrapperFirstLevelImpressionValidation && ad->impressions().empty()) {
            return refuse(VKTVASTError::VAST_VALIDATION_ERROR_MISSING_IMPRESSION());
        }
        if (const auto listener = delegate()) listener->vastManagerDidStartToResolveWrapperAd(*this, ad);
    }
    if (const auto listener = delegate()) {
        if (const auto macros = listener->vastManagerRequestsVASTMacros(*this)) {
            url = VKTURLUtils::replaceMacros(*macros, *url);
        }
    }
    return VKTVASTModelGenerator::initWithSessionManager(urlSessionManager_, true)
        .generateVASTModelFromXML(std::nullopt, url, timeout, errorHandler);
}

void VKTVASTManager::checkIfWrapperErrorShouldTriggerVNoAdPixel(const VKTError& error, const AdPointer& ad) {
    if (error.domain() != VKTVASTErrorDomain) return;
    const auto* vastError = error.userInfoValue<VKTVASTError>(VKTVASTErrorUserInfoKey);
    const auto noAd = VKTVASTError::VAST_VALIDATION_ERROR_MISSING_INLINE_AND_WRAPPER();
    if (vastError == nullptr || vastError->korvoCode() != noAd.korvoCode()) return;
    if (const auto listener = delegate()) listener->vastManagerDidFailToResolveWrapperAd(*this, ad);
}

Playable VKTVASTManager::findNextPassbackAd() {
    while (true) {
        AdPointer ad;
        {
            const VKTLock lock(mutex_);
            ad = inlinePassbacks_.consumeNext();
        }
        if (!ad) return hasWrapperPassbacksAvailable() ? resolvePassbackWrappers() : nullptr;
        if (ad->isValid()) return convert(ad);
    }
}

Playable VKTVASTManager::resolvePassbackWrappers() {
    Ads passbacks;
    {
        const VKTLock lock(mutex_);
        if (resolution_.isRunning || resolution_.didRun || !wrapperPassbacks_.hasUnconsumed()) return nullptr;
        resolution_.isRunning = true;
        passbacks = wrapperPassbacks_.ads;
    }
    Ads withoutThread;
    for (const AdPointer& passback : passbacks) {
        const bool isPosted = passbackPool_->tryPost(
            [self = shared_from_this(), passback] { self->resolvePassback(passback); });
        if (!isPosted) withoutThread.push_back(passback);
    }
    resolveHere(withoutThread);
    Playable result;
    std::optional<std::string> resultID;
    {
        VKTLock lock(mutex_);
        while (!resolution_.hasEnded)
            resolutionEnded_.wait(lock);
        result = resolution_.result;
        resultID = resolution_.resultID;
    }
    VKTLog::sharedInstance()->logDebugWithFormat("Returning resolved ad: %@", resultID);
    return result;
}

// Passbacks for which there is no thread: on the waiting one, which gives up nothing but time.
void VKTVASTManager::resolveHere(const Ads& passbacks) {
    if (passbacks.empty()) return;
    VKTLog::sharedInstance()->logWarningWithFormat(
        "The system gives no thread for passbacks: %ld of them are resolved one after another by the thread "
        "that "
        "waits for an ad. Raise the limit of threads or memory, or start fewer.",
        passbacks.size());
    for (const AdPointer& passback : passbacks)
        resolvePassback(passback);
}

// One passback, on a passback thread if there is one.
void VKTVASTManager::resolvePassback(const AdPointer& passback) {
    const AdPointer resolved = transformWrapperToInline(passback);
    if (resolved) {
        VKTLog::sharedInstance()->logDebugWithFormat("Resolved wrapper ad: %@", resolved->adID());
    }
    if (!endPassback(resolved)) return;
    Playable playable = convert(resolved);
    const VKTLock lock(mutex_);
    resolution_.result = std::move(playable);
    resolution_.resultID = resolved->adID();
    resolution_.hasEnded = true;
    resolutionEnded_.notify_all();
}

// The end of one passback, decided in one critical section so that exactly one valid result wins. True when
// `resolved` has won; it is then converted outside the lock. The wait ends empty once every wrapper has been
// started and this one gave nothing, even while others are still downloading. The first of those to give a
// valid ad still wins, for nobody any more; what comes after it stays in the store for later calls.
bool VKTVASTManager::endPassback(const AdPointer& resolved) {
    const VKTLock lock(mutex_);
    const bool wins = resolved && !resolution_.isWon && resolved->consume() && resolved->isValid();
    resolution_.isWon = resolution_.isWon || wins;
    if (!wrapperPassbacks_.hasUnconsumed()) {
        resolution_.isRunning = false;
        resolution_.didRun = true;
        if (!resolution_.isWon) {
            resolution_.hasEnded = true;
            resolutionEnded_.notify_all();
        }
    }
    return wins;
}

AdPointer VKTVASTManager::transformWrapperToInline(AdPointer ad) {
    while (ad) {
        if (ad->hasBeenConsumed()) return nullptr;
        VKTLog::sharedInstance()->logDebugWithFormat("Transforming wrapper ad: %@", ad->adID());
        if (ad->isInline()) {
            const VKTLock lock(mutex_);
            const Ads& store = inlinePassbacks_.ads;
            if (std::find(store.begin(), store.end(), ad) == store.end()) inlinePassbacks_.add(ad);
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
        report(VKTVASTError::VAST_WRAPPER_ERROR_LIMIT_REACHED(), wrapper->errorPixels(), std::nullopt);
        return nullptr;
    }
    const VKTVASTParserResponse response = resolveWrapper(
        wrapper, config_.requestTimeout,
        [&](const VKTVASTError& error, const std::vector<VKTVASTURL>& pixels, const auto& text) {
            report(error, joined(pixels, wrapper->errorPixels()), text);
        });
    if (response.error) {
        checkIfWrapperErrorShouldTriggerVNoAdPixel(*response.error, wrapper);
        return nullptr;
    }
    AdPointer first = response.model ? response.model->firstAd() : nullptr;
    if (first) first->merge(*wrapper, mergeBudget_);
    return first;
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
    setDelegate(nullptr);
}

std::shared_ptr<VKTVASTManagerDelegate> VKTVASTManager::delegate() const {
    const VKTLock lock(mutex_);
    return delegate_.lock();
}

void VKTVASTManager::setDelegate(const std::shared_ptr<VKTVASTManagerDelegate>& delegate) {
    const VKTLock lock(mutex_);
    delegate_ = delegate;
}

bool VKTVASTManager::hasInlinePassbacksAvailable() {
    const VKTLock lock(mutex_);
    return inlinePassbacks_.hasUnconsumed();
}

bool VKTVASTManager::hasWrapperPassbacksAvailable() {
    const VKTLock lock(mutex_);
    return wrapperPassbacks_.hasUnconsumed();
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

VKTVASTManager::Ads VKTVASTManager::inlinePassbackAdsStore() const {
    const VKTLock lock(mutex_);
    return inlinePassbacks_.ads;
}

VKTVASTManager::Ads VKTVASTManager::wrapperPassbackAdsStore() const {
    const VKTLock lock(mutex_);
    return wrapperPassbacks_.ads;
}

bool VKTVASTManager::isResolvingPassbackWrappers() const {
    const VKTLock lock(mutex_);
    return resolution_.isRunning;
}

bool VKTVASTManager::didResolvePassbackWrappers() const {
    const VKTLock lock(mutex_);
    return resolution_.didRun;
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

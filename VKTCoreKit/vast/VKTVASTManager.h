// Runs one VAST ad request from the first document to playable ads.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/network/VKTURLSession.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/vast/VKTVASTManagerConfig.h"
#include "VKTCoreKit/vast/VKTVASTManagerProtocols.h"
#include "VKTCoreKit/vast/VKTVASTMergeBudget.h"
#include "VKTCoreKit/vast/VKTVASTModelGenerator.h"

class VKTPixelManager;
class VKTVASTPassbacks;

/// Codes of the manager's own errors, domain `VKTVASTErrorDomain`.
enum VKTVASTManagerErrorCode : std::int32_t {
    VKTVASTManagerErrorTimeout = 10001,
    VKTVASTManagerErrorNoModel = 10004,
    VKTVASTManagerErrorNoMoreAds = 10005,
    VKTVASTManagerErrorPassbackIncomplete = 10006,
    VKTVASTManagerErrorNoMorePassback = 10007,
    VKTVASTManagerErrorNotAWrapper = 10008,
};

/// Create it, call `createAdsStoreWithXML` once, then `nextAdWithTimeout` until it gives an error.
///
/// Threads: one thread at a time calls it, a worker and never the main thread or a passback thread, since
/// downloads block the caller. Passback wrappers are resolved on the platform's passback threads while that
/// caller waits. `cancel`, `cancelImmediately`, `delegate` and `setDelegate` may be called on any thread, and
/// inside callbacks. Delegate and adapter are held weakly. An operation under way, and a passback that is
/// still being resolved, keep the manager alive.
///
/// No exception leaves an operation but what delegate or adapter throw on the calling thread
/// (`VKTVASTManagerDelegate`).
///
/// ```cpp
/// // On a worker. `breakDelegate` hears of problems, `adapter` makes ads of the application's own.
/// auto manager = VKTVASTManager::initWithDelegate(breakDelegate, adapter, nullptr, VKTVASTManagerConfig());
/// manager->createAdsStoreWithXML(std::nullopt, url, VKTTimeInterval(10));
/// auto next = manager->nextAdWithTimeout(VKTTimeInterval(10), false);
/// if (!next.ad) std::cerr << next.error->localizedDescription().value_or("") << '\n';
/// ```
class VKT_EXPORT VKTVASTManager final : public VKTVASTManagerProtocol,
                                        public std::enable_shared_from_this<VKTVASTManager> {
  public:
    using Ads = VKTVASTModel::Ads;

    ~VKTVASTManager() override;

    /// A null session or pool means the shared one. The last passback may be the last to hold the manager: a
    /// pool of one's own outlives it, or may be destroyed on one of its own threads as the platform's may.
    static std::shared_ptr<VKTVASTManager> initWithDelegate(
        const std::shared_ptr<VKTVASTManagerDelegate>& delegate,
        const std::shared_ptr<VKTVASTAdAdapterProtocol>& adapter,
        std::shared_ptr<VKTURLSession> sessionManager, const VKTVASTManagerConfig& config,
        std::shared_ptr<VKTConcurrentPool> passbackPool = nullptr);

    static std::shared_ptr<VKTVASTManager> initWithDelegate(
        const std::shared_ptr<VKTVASTManagerDelegate>& delegate,
        const std::shared_ptr<VKTVASTAdAdapterProtocol>& adapter,
        std::shared_ptr<VKTURLSession> sessionManager, VKTTimeInterval requestTimeout,
        std::int64_t maximumWrappers, bool handleWrappersAdpods);

    /// The pixel manager is ignored: the delegate calls the pixels.
    static std::shared_ptr<VKTVASTManager> initWithDelegate(
        const std::shared_ptr<VKTVASTManagerDelegate>& delegate,
        const std::shared_ptr<VKTVASTAdAdapterProtocol>& adapter,
        std::shared_ptr<VKTURLSession> sessionManager, const std::shared_ptr<VKTPixelManager>& pixelManager,
        VKTTimeInterval requestTimeout, std::int64_t maximumWrappers, bool handleWrappersAdpods);

    /// Reads the text, or downloads the URL when there is none, and tells the delegate whether there is a
    /// model. Does nothing but log when the delegate or the adapter is gone, and when there is a model from
    /// an earlier call; after one that gave none it may be tried again. Blocks for `timeout` at most.
    void createAdsStoreWithXML(std::optional<std::string_view> xml, const std::optional<VKTURL>& withURL,
                               VKTTimeInterval timeout) override;

    /// The next playable ad; after a failed ad (`dueToAdFailure`) a passback. `timeout` is what is left of
    /// the caller's own budget: the manager only refuses to start when nothing is left. Blocks for each
    /// wrapper followed, at most the configured request time-out each.
    VKTVASTManagerResponse nextAdWithTimeout(VKTTimeInterval timeout, bool dueToAdFailure) override;

    /// Final: nothing is reported, and no wrapper, passback or conversion started any more. The call under
    /// way returns when its download has completed; `nextAdWithTimeout` gives an error from then on, as if no
    /// ad were left. A callback that has begun on another thread may still be running.
    void cancel() override;

    /// The same, and ends the requests under way, of which nothing is reported: the call under way returns at
    /// once. A session provider of one's own has to know `VKTURLRequest::canceller` for that.
    void cancelImmediately() override;

    [[nodiscard]] std::shared_ptr<VKTVASTManagerDelegate> delegate() const override;
    void setDelegate(const std::shared_ptr<VKTVASTManagerDelegate>& delegate) override;

    /// The macros an embedder answers to `vastManagerRequestsVASTMacros`; cache buster and timestamp are
    /// drawn once, here. Absent names print as "(null)".
    static std::map<std::string, std::string> generateDefaultVASTMacrosWithAppBundleIdentifier(
        const std::string& appBundleIdentifier, const std::optional<std::string>& OMPartnerName,
        const std::optional<std::string>& OMFrameworkVersion, const std::vector<int>& apiFrameworks);
    static std::string stringWithNumberArrayJoinedByComma(const std::vector<int>& numbers);

    // The steps, for embedding layers that drive them one by one.

    void processRootModel(const VKTVASTModel& model);

    /// Inserts at the front; with a current root ad, in its place.
    void addMainAds(const Ads& ads);

    /// Adds the root model's own ads to the passback stores, each once.
    void addPassbackAds(const Ads& ads);

    [[nodiscard]] bool hasInlinePassbacksAvailable() const;
    [[nodiscard]] bool hasWrapperPassbacksAvailable() const;

    /// 0 when the ad is not in the store.
    [[nodiscard]] static std::size_t adIndex(const VKTVASTAd& ad, const Ads& inStore);
    [[nodiscard]] Ads consumableMainAds() const;

    /// One wrapper's download; error 10008 for any other ad. The response's outcome is not told to the
    /// delegate here, since whoever calls this chooses the ads.
    VKTVASTParserResponse resolveWrapper(const std::shared_ptr<VKTVASTAd>& ad, VKTTimeInterval timeout,
                                         const VKTVASTDocumentErrorHandler& errorHandler);

    /// Follows a passback to an inline ad, which is put in the store, not consumed; null when there is none.
    std::shared_ptr<VKTVASTAd> transformWrapperToInline(std::shared_ptr<VKTVASTAd> ad);

    /// Resolves all wrapper passbacks at once; the first that the adapter takes wins, the others stay in the
    /// store. Runs once per manager. When no passback thread can be started the caller resolves them itself,
    /// one after another.
    std::shared_ptr<VKTConsumableVideoAd> resolvePassbackWrappers();

    std::shared_ptr<VKTConsumableVideoAd> findNextMainAd();
    std::shared_ptr<VKTConsumableVideoAd> findNextPassbackAd();
    void checkIfWrapperErrorShouldTriggerVNoAdPixel(const VKTError& error,
                                                    const std::shared_ptr<VKTVASTAd>& ad);

    [[nodiscard]] const VKTVASTManagerConfig& config() const { return config_; }
    [[nodiscard]] const std::shared_ptr<VKTURLSession>& urlSessionManager() const {
        return urlSessionManager_;
    }
    [[nodiscard]] const std::shared_ptr<VKTVASTModel>& rootVASTModel() const { return rootVASTModel_; }
    [[nodiscard]] const Ads& mainAdsStore() const { return mainAdsStore_; }
    [[nodiscard]] Ads inlinePassbackAdsStore() const;   ///< a copy
    [[nodiscard]] Ads wrapperPassbackAdsStore() const;  ///< a copy
    [[nodiscard]] const std::shared_ptr<VKTVASTAd>& currentRootAd() const { return currentRootAd_; }
    void setCurrentRootAd(std::shared_ptr<VKTVASTAd> ad) { currentRootAd_ = std::move(ad); }

    /// These change when the result of the wrapper passbacks is there, or it is certain that there is none.
    [[nodiscard]] bool isResolvingPassbackWrappers() const;
    [[nodiscard]] bool didResolvePassbackWrappers() const;

  private:
    VKTVASTManager();
    void configureWithDelegate(const std::shared_ptr<VKTVASTManagerDelegate>& delegate,
                               const std::shared_ptr<VKTVASTAdAdapterProtocol>& adapter,
                               std::shared_ptr<VKTURLSession> sessionManager,
                               const VKTVASTManagerConfig& config,
                               std::shared_ptr<VKTConcurrentPool> passbackPool);

    [[nodiscard]] bool isCancelled() const;
    [[nodiscard]] bool isFirstLevel(const VKTVASTAd& ad) const { return rootAds_.contains(&ad); }
    void report(const VKTVASTError& error, const std::vector<VKTVASTURL>& errorURLs,
                const std::optional<std::string>& VASTResponse);
    void takeRootModel(VKTVASTParserResponse& response);
    void conclude(VKTVASTDocumentOutcome& outcome, const Ads& ads, const Ads& taken, const char* whyNotTaken);
    void tell(const VKTVASTDocumentOutcome& outcome);
    void refuse(const VKTVASTAd& wrapper);
    std::shared_ptr<VKTVASTReadingListener> listenerFor(const std::optional<VKTURL>& url,
                                                        const std::shared_ptr<VKTVASTAd>& wrapper);
    std::shared_ptr<VKTConsumableVideoAd> convert(const std::shared_ptr<VKTVASTAd>& ad);
    std::shared_ptr<VKTVASTAd> consumeNextMainAd();
    bool followMainWrapper(const std::shared_ptr<VKTVASTAd>& wrapper);
    void insertAfterLastTaken(const Ads& ads);
    std::shared_ptr<VKTVASTAd> followPassbackWrapper(const std::shared_ptr<VKTVASTAd>& wrapper);
    void resolveHere(const Ads& passbacks);
    void resolvePassback(const std::shared_ptr<VKTVASTAd>& passback);

    // Set before the first document is read, or by the one calling thread.
    std::shared_ptr<VKTURLSession> urlSessionManager_;
    std::shared_ptr<VKTConcurrentPool> passbackPool_;
    VKTVASTManagerConfig config_;
    std::weak_ptr<VKTVASTAdAdapterProtocol> adapter_;
    std::shared_ptr<VKTVASTModel> rootVASTModel_;
    std::unordered_set<const VKTVASTAd*> rootAds_;
    Ads mainAdsStore_;
    std::size_t mainCursor_ = 0;  // every main ad before it has been consumed
    std::shared_ptr<VKTVASTAd> currentRootAd_;
    VKTVASTMergeBudget mergeBudget_;  // of all ads; any thread

    const std::unique_ptr<VKTVASTPassbacks> passbacks_;
    const std::shared_ptr<VKTHTTPCanceller> canceller_ = std::make_shared<VKTHTTPCanceller>();

    mutable VKTMutex mutex_;
    std::weak_ptr<VKTVASTManagerDelegate> delegate_ VKT_GUARDED_BY(mutex_);
    bool isCancelled_ VKT_GUARDED_BY(mutex_) = false;
};

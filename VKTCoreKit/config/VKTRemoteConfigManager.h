// Fetches a site's configuration document and keeps the last good one.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/config/VKTRemoteConfig.h"
#include "VKTCoreKit/core/VKTPropertyCacheManager.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/network/VKTURLSession.h"

class VKTRemoteConfigManager;

/// Domain and codes of configuration errors.
inline constexpr const char* VKTRemoteConfigErrorDomain = "VKTRemoteConfigErrorDomain";
inline constexpr int VKTRemoteConfigErrorWrongSiteID = 1;
inline constexpr int VKTRemoteConfigErrorInvalidConfig = 3;

/// Hears of configurations: of a cached or default one inside the fetching call, on its thread, and of a
/// downloaded one on the HTTP delivery thread. One fetch may bring a cached configuration and then a
/// downloaded one. A fetch that is started inside a callback is dropped. No lock is held.
class VKTRemoteConfigManagerDelegate {
  public:
    virtual ~VKTRemoteConfigManagerDelegate() = default;

    virtual void remoteConfigManagerDidFetchRemoteConfig(VKTRemoteConfigManager& /*manager*/,
                                                         const VKTRemoteConfig& /*remoteConfig*/) {}

    /// Follows the call above unless the configuration is the default one. `korvoDictionary` is the "korvo"
    /// object of the document; the others are all its objects but that one, each in a dictionary of its own
    /// under its name; nothing when there is none.
    virtual void remoteConfigManagerDidSucceedToFetchConfigWithKorvoDictionary(
        VKTRemoteConfigManager& /*manager*/, const VKTDictionary& /*korvoDictionary*/,
        const std::optional<std::vector<VKTDictionary>>& /*additionnalDictionaries*/) {}

    /// The transport's error; nothing when the server answered with a status of failure; or
    /// `VKTRemoteConfigErrorInvalidConfig`. What was cached stays.
    virtual void remoteConfigManagerDidFailToFetchConfigWithError(VKTRemoteConfigManager& /*manager*/,
                                                                  const std::optional<VKTError>& /*error*/) {}
};

/// Fetches on behalf of one owner, who calls it from one thread; `fetchInProgress` may be read on any. Has no
/// timer: the owner says when to fetch. Holds its delegate weakly; a request under way holds the manager.
///
/// ```cpp
/// struct Settings : VKTRemoteConfigManagerDelegate {
///     void remoteConfigManagerDidSucceedToFetchConfigWithKorvoDictionary(
///         VKTRemoteConfigManager&, const VKTDictionary& korvo,
///         const std::optional<std::vector<VKTDictionary>>&) override {
///         std::cout << VKTValue(korvo).description() << '\n';  // on the HTTP thread, or inside the fetch
///     }
/// };
/// auto settings = std::make_shared<Settings>();  // held weakly
/// auto manager = VKTRemoteConfigManager::initWithDelegate(settings, "https://config.example.com",
///                                                         "v1/[SITEID_PLACEHOLDER]", {});
/// manager->fetchRemoteConfigurationWithSiteId(42, false);
/// ```
class VKT_EXPORT VKTRemoteConfigManager : public std::enable_shared_from_this<VKTRemoteConfigManager> {
  public:
    /// Stands for the site ID in the path.
    static constexpr std::string_view SITEID_PLACEHOLDER = "[SITEID_PLACEHOLDER]";

    /// The longest time in seconds for which a configuration is valid, whatever it says itself.
    static constexpr double MAXIMUM_TTL = 604800;

    /// Seconds since 1970.
    using CurrentDate = std::function<double()>;

    /// `baseURL`, `path` and `queryStringParameters` make up the URL, see `endPointURLWithSiteId`. Without a
    /// session or a cache manager, over the shared session and a new `VKTDefaultPropertyCacheManager`. Each
    /// `sdkVersionId` has cached copies of its own, so that an upgrade never reads those of its predecessor.
    static std::shared_ptr<VKTRemoteConfigManager> initWithDelegate(
        const std::shared_ptr<VKTRemoteConfigManagerDelegate>& delegate, std::string baseURL,
        std::string path, VKTDictionary queryStringParameters);
    static std::shared_ptr<VKTRemoteConfigManager> initWithDelegate(
        const std::shared_ptr<VKTRemoteConfigManagerDelegate>& delegate,
        std::shared_ptr<VKTPropertyCacheManager> cacheManager, std::string baseURL, std::string path,
        VKTDictionary queryStringParameters, std::int64_t sdkVersionId,
        std::optional<VKTRemoteConfig> defaultRemoteConfig = std::nullopt);
    static std::shared_ptr<VKTRemoteConfigManager> initWithSession(
        std::shared_ptr<VKTURLSession> session, std::shared_ptr<VKTPropertyCacheManager> cacheManager,
        const std::shared_ptr<VKTRemoteConfigManagerDelegate>& delegate, std::string baseURL,
        std::string path, VKTDictionary queryStringParameters, std::int64_t sdkVersionId,
        std::optional<VKTRemoteConfig> defaultRemoteConfig);

    /// Does nothing while a fetch is in progress. Tells the delegate of the cached configuration, else of the
    /// default one, if any; then, when the cached one has expired, is missing or unreadable, or `forced`,
    /// makes a request. A good answer is told and cached; after a bad one the cached copy stays, also one
    /// that could not be read.
    void fetchRemoteConfigurationWithSiteId(std::int64_t siteId, bool forced);
    void fetchRemoteConfiguration(bool forced) { fetchRemoteConfigurationWithSiteId(0, forced); }

    /// Nothing when base and path make no URL; a fetch then fails as a request for a bad URL does.
    [[nodiscard]] std::optional<VKTURL> endPointURLWithSiteId(std::int64_t siteId) const;

    /// Seconds since 1970; an absent date has expired.
    [[nodiscard]] bool isConfigExpiredWithExpirationDate(std::optional<double> expirationDate) const;

    /// From 200 up to 399.
    [[nodiscard]] static bool isSuccessfullStatusCode(std::int64_t statusCode);

    [[nodiscard]] std::string configCacheConfigurationKeyForSiteId(std::int64_t siteId) const;

    /// Reads a configuration document, tells the delegate of it and, when `storeConfigInCache`, caches it
    /// with its expiration date.
    void setupConfigWithData(std::string_view data, std::int64_t siteId, bool storeConfigInCache);
    void fetchConfigDidFailWithResponse(const VKTURLSessionResponse& response);

    [[nodiscard]] std::shared_ptr<VKTRemoteConfigManagerDelegate> delegate() const {
        return delegate_.lock();
    }
    [[nodiscard]] const std::shared_ptr<VKTURLSession>& session() const { return session_; }
    [[nodiscard]] const std::shared_ptr<VKTPropertyCacheManager>& cacheManager() const {
        return cacheManager_;
    }
    [[nodiscard]] const std::optional<VKTRemoteConfig>& defaultRemoteConfig() const {
        return defaultRemoteConfig_;
    }
    [[nodiscard]] bool fetchInProgress() const { return fetchInProgress_; }
    [[nodiscard]] const std::string& baseURL() const { return baseURL_; }
    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] const VKTDictionary& queryStringParameters() const { return queryStringParameters_; }
    [[nodiscard]] const std::string& configCacheKeyTemplate() const { return configCacheKeyTemplate_; }

    /// The platform's clock unless another is set, which must happen before the first fetch; an empty
    /// function sets the platform's again. Called on the fetching thread and on the HTTP delivery thread.
    [[nodiscard]] const CurrentDate& currentDate() const { return currentDate_; }
    void setCurrentDate(CurrentDate currentDate);

  private:
    VKTRemoteConfigManager(std::shared_ptr<VKTURLSession> session,
                           std::shared_ptr<VKTPropertyCacheManager> cacheManager,
                           const std::shared_ptr<VKTRemoteConfigManagerDelegate>& delegate,
                           std::string baseURL, std::string path, VKTDictionary queryStringParameters,
                           std::int64_t sdkVersionId, std::optional<VKTRemoteConfig> defaultRemoteConfig);

    std::optional<double> setUpCachedConfig(std::int64_t siteId);
    void setUpConfig(VKTDictionary document, std::int64_t siteId, bool storeConfigInCache);
    void requestConfig(std::int64_t siteId);
    void configDidArrive(const VKTURLSessionResponse& response, std::int64_t siteId);
    void tellOfConfig(const VKTRemoteConfig& config);
    void tellOfFailure(const std::optional<VKTError>& error);

    const std::shared_ptr<VKTURLSession> session_;
    const std::shared_ptr<VKTPropertyCacheManager> cacheManager_;
    const std::weak_ptr<VKTRemoteConfigManagerDelegate> delegate_;
    const std::string baseURL_;
    const std::string path_;
    const VKTDictionary queryStringParameters_;
    const std::string configCacheKeyTemplate_;
    const std::optional<VKTRemoteConfig> defaultRemoteConfig_;
    CurrentDate currentDate_;
    std::atomic<bool> fetchInProgress_ = false;
};

#include "VKTCoreKit/config/VKTRemoteConfigManager.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "VKTCoreKit/config/VKTConfigReading.h"
#include "VKTCoreKit/core/VKTURLUtils.h"
#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/VKTServices.h"

namespace {

// Added to the cached copy of a document: whole seconds since 1970.
constexpr const char* expirationDateKey = "expirationDate";

double secondsSince1970() {
    return VKTTimeInterval(VKTPlatform::current().clock->now().time_since_epoch()).count();
}

VKTError invalidConfigError() {
    return VKTUtils::errorWithDomain(
        VKTRemoteConfigErrorDomain, VKTRemoteConfigErrorInvalidConfig,
        "Configuration FAILED - The remote configuration downloaded is invalid.");
}

std::optional<std::vector<VKTDictionary>> additionalDictionaries(const VKTDictionary& document) {
    std::vector<VKTDictionary> dictionaries;
    for (const auto& [key, value] : document) {
        if (value.asDictionary() == nullptr || key == "korvo" || key == "TTL") continue;
        dictionaries.emplace_back().set(key, value);
    }
    return dictionaries.empty() ? std::nullopt : std::optional(std::move(dictionaries));
}

}  // namespace

VKTRemoteConfigManager::VKTRemoteConfigManager(
    std::shared_ptr<VKTURLSession> session, std::shared_ptr<VKTPropertyCacheManager> cacheManager,
    const std::shared_ptr<VKTRemoteConfigManagerDelegate>& delegate, std::string baseURL, std::string path,
    VKTDictionary queryStringParameters, std::int64_t sdkVersionId,
    std::optional<VKTRemoteConfig> defaultRemoteConfig)
    : session_(std::move(session)),
      cacheManager_(std::move(cacheManager)),
      delegate_(delegate),
      baseURL_(std::move(baseURL)),
      path_(std::move(path)),
      queryStringParameters_(std::move(queryStringParameters)),
      configCacheKeyTemplate_(vkt_stringWithFormat(
          "com.korvonet.coresdk.remoteconfigmanager.VKTRemoteConfig-%d-[SITEID_PLACEHOLDER]",
          {sdkVersionId})),
      defaultRemoteConfig_(std::move(defaultRemoteConfig)),
      currentDate_(secondsSince1970) {}

std::shared_ptr<VKTRemoteConfigManager> VKTRemoteConfigManager::initWithDelegate(
    const std::shared_ptr<VKTRemoteConfigManagerDelegate>& delegate, std::string baseURL, std::string path,
    VKTDictionary queryStringParameters) {
    return initWithDelegate(delegate, nullptr, std::move(baseURL), std::move(path),
                            std::move(queryStringParameters), 0);
}

std::shared_ptr<VKTRemoteConfigManager> VKTRemoteConfigManager::initWithDelegate(
    const std::shared_ptr<VKTRemoteConfigManagerDelegate>& delegate,
    std::shared_ptr<VKTPropertyCacheManager> cacheManager, std::string baseURL, std::string path,
    VKTDictionary queryStringParameters, std::int64_t sdkVersionId,
    std::optional<VKTRemoteConfig> defaultRemoteConfig) {
    return initWithSession(nullptr, std::move(cacheManager), delegate, std::move(baseURL), std::move(path),
                           std::move(queryStringParameters), sdkVersionId, std::move(defaultRemoteConfig));
}

std::shared_ptr<VKTRemoteConfigManager> VKTRemoteConfigManager::initWithSession(
    std::shared_ptr<VKTURLSession> session, std::shared_ptr<VKTPropertyCacheManager> cacheManager,
    const std::shared_ptr<VKTRemoteConfigManagerDelegate>& delegate, std::string baseURL, std::string path,
    VKTDictionary queryStringParameters, std::int64_t sdkVersionId,
    std::optional<VKTRemoteConfig> defaultRemoteConfig) {
    if (!session) session = VKTURLSession::sharedInstance();
    if (!cacheManager) cacheManager = VKTDefaultPropertyCacheManager::init();
    return std::shared_ptr<VKTRemoteConfigManager>(new VKTRemoteConfigManager(
        std::move(session), std::move(cacheManager), delegate, std::move(baseURL), std::move(path),
        std::move(queryStringParameters), sdkVersionId, std::move(defaultRemoteConfig)));
}

void VKTRemoteConfigManager::setCurrentDate(CurrentDate currentDate) {
    currentDate_ = currentDate ? std::move(currentDate) : secondsSince1970;
}

void VKTRemoteConfigManager::fetchRemoteConfigurationWithSiteId(std::int64_t siteId, bool forced) {
    if (fetchInProgress_.exchange(true)) return;
    const auto self = shared_from_this();  // the delegate may let go of the manager
    bool isRequested = false;
    vkt_callGuarded("the cache or the clock of a VKTRemoteConfigManager", [&] {
        const std::optional<double> expirationDate = setUpCachedConfig(siteId);
        if (!forced && !isConfigExpiredWithExpirationDate(expirationDate)) return;
        requestConfig(siteId);
        isRequested = true;
    });
    if (!isRequested) fetchInProgress_ = false;
}

// The expiration date of the cached copy; nothing when there is none. A copy that cannot be read needs no
// third outcome: its date is unknown, so a request is made, and it stays until a good answer replaces it.
std::optional<double> VKTRemoteConfigManager::setUpCachedConfig(std::int64_t siteId) {
    std::optional<VKTValue> cached;
    vkt_callGuarded("the cache of a VKTRemoteConfigManager", [&] {
        cached = cacheManager_->objectForKey(configCacheConfigurationKeyForSiteId(siteId));
    });
    const VKTBytes* bytes = cached ? cached->asBytes() : nullptr;
    std::optional<VKTValue> json = bytes == nullptr ? std::nullopt : vkt_JSONValueWithData(bytes->bytes);
    VKTDictionary* document = json ? json->asDictionary() : nullptr;
    if (document == nullptr) {
        if (defaultRemoteConfig_) tellOfConfig(*defaultRemoteConfig_);
        return std::nullopt;
    }
    const std::optional<VKTNumber> expirationDate = vkt_configNumberForKey(*document, expirationDateKey);
    setUpConfig(std::move(*document), siteId, false);
    return expirationDate ? std::optional(expirationDate->doubleValue()) : std::nullopt;
}

void VKTRemoteConfigManager::requestConfig(std::int64_t siteId) {
    session_->asynchronousDataRequestWithURL(
        endPointURLWithSiteId(siteId).value_or(VKTURL()), VKTURLRequestReloadIgnoringLocalAndRemoteCacheData,
        VKTURLSession::DEFAULT_TIMEOUT,
        [self = shared_from_this(), siteId](const VKTURLSessionResponse& response, const auto& /*task*/) {
            self->configDidArrive(response, siteId);
        });
}

void VKTRemoteConfigManager::configDidArrive(const VKTURLSessionResponse& response, std::int64_t siteId) {
    const auto& HTTPResponse = response.response();
    vkt_callGuarded("the cache or the clock of a VKTRemoteConfigManager", [&] {
        if (!response.error() && HTTPResponse && isSuccessfullStatusCode(HTTPResponse->statusCode)) {
            setupConfigWithData(response.data() ? *response.data() : "", siteId, true);
        } else {
            fetchConfigDidFailWithResponse(response);
        }
    });
    fetchInProgress_ = false;
}

void VKTRemoteConfigManager::setupConfigWithData(std::string_view data, std::int64_t siteId,
                                                 bool storeConfigInCache) {
    std::optional<VKTValue> json = vkt_JSONValueWithData(data);
    VKTDictionary* document = json ? json->asDictionary() : nullptr;
    if (document == nullptr) return tellOfFailure(invalidConfigError());
    setUpConfig(std::move(*document), siteId, storeConfigInCache);
}

void VKTRemoteConfigManager::setUpConfig(VKTDictionary document, std::int64_t siteId,
                                         bool storeConfigInCache) {
    const std::optional<VKTRemoteConfig> config = VKTRemoteConfig::initWithDictionary(document);
    if (!config) return tellOfFailure(invalidConfigError());

    const auto additional = additionalDictionaries(document);
    const VKTNumber expirationDate(std::round(currentDate_() + std::min(config->TTL, MAXIMUM_TTL)));
    document.set(expirationDateKey, expirationDate.integerValue());

    tellOfConfig(*config);
    if (const auto delegate = delegate_.lock()) {
        vkt_callGuarded("remoteConfigManagerDidSucceedToFetchConfigWithKorvoDictionary", [&] {
            delegate->remoteConfigManagerDidSucceedToFetchConfigWithKorvoDictionary(
                *this, *document.find("korvo")->asDictionary(), additional);
        });
    }

    if (!storeConfigInCache) return;
    if (auto bytes = vkt_JSONStringWithValue(VKTValue(std::move(document))))
        cacheManager_->setObject(VKTBytes{*std::move(bytes)}, configCacheConfigurationKeyForSiteId(siteId));
}

void VKTRemoteConfigManager::fetchConfigDidFailWithResponse(const VKTURLSessionResponse& response) {
    tellOfFailure(response.error());
}

void VKTRemoteConfigManager::tellOfConfig(const VKTRemoteConfig& config) {
    if (const auto delegate = delegate_.lock()) {
        vkt_callGuarded("remoteConfigManagerDidFetchRemoteConfig",
                        [&] { delegate->remoteConfigManagerDidFetchRemoteConfig(*this, config); });
    }
}

void VKTRemoteConfigManager::tellOfFailure(const std::optional<VKTError>& error) {
    if (const auto delegate = delegate_.lock()) {
        vkt_callGuarded("remoteConfigManagerDidFailToFetchConfigWithError",
                        [&] { delegate->remoteConfigManagerDidFailToFetchConfigWithError(*this, error); });
    }
}

std::optional<VKTURL> VKTRemoteConfigManager::endPointURLWithSiteId(std::int64_t siteId) const {
    const std::string path = vkt_replacingOccurrences(path_, SITEID_PLACEHOLDER, std::to_string(siteId));
    return VKTURLUtils::buildURLWithBaseURLString(baseURL_, path, queryStringParameters_);
}

bool VKTRemoteConfigManager::isConfigExpiredWithExpirationDate(std::optional<double> expirationDate) const {
    return !expirationDate || currentDate_() >= *expirationDate;
}

bool VKTRemoteConfigManager::isSuccessfullStatusCode(std::int64_t statusCode) {
    return statusCode >= 200 && statusCode < 400;
}

std::string VKTRemoteConfigManager::configCacheConfigurationKeyForSiteId(std::int64_t siteId) const {
    const std::string unsignedSiteId = std::to_string(static_cast<std::uint64_t>(siteId));
    return vkt_replacingOccurrences(configCacheKeyTemplate_, SITEID_PLACEHOLDER, unsignedSiteId);
}

// The settings of an embedding SDK and what the remote configuration adds to them.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/config/VKTRemoteConfigManager.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTLocationServices.h"
#include "VKTCoreKit/platform/VKTNotificationCentre.h"
#include "VKTCoreKit/privacy/VKTIdentity.h"

/// A coordinate that is nowhere.
inline constexpr VKTCoordinate VKTInvalidCoordinate{-180, -180};

/// What is invalid of the additional parameters.
enum VKTAdditionalParametersPart : std::int8_t {
    VKTAdditionalParametersPartAll = -1,
    VKTAdditionalParametersPartPOST = 0,
    VKTAdditionalParametersPartGET = 1,
};

/// Reports what is wrong in a remote configuration. Called on the thread that applies it.
class VKTConfigurationRemoteLogger {
  public:
    virtual ~VKTConfigurationRemoteLogger() = default;

    virtual void logWrongSiteIDError() = 0;
    virtual void logInvalidAdditionalParameters(VKTAdditionalParametersPart part) = 0;
};

/// Holds the settings, and starts the fetches of the remote configuration: for a site, whenever the
/// application comes back to the foreground, and once more after a failure without network. What is fetched
/// reaches the delegate of the remote configuration manager, who hands it back to
/// `configureWithKorvoDictionary` or `retryRemoteConfigurationAfterError`.
///
/// Main thread only. An embedding SDK keeps one for its lifetime; destroying it ends the fetches that it
/// would start.
///
/// ```cpp
/// auto configuration = VKTConfiguration::init();
/// configuration->configureWithSiteID(42, configManager);    // fetches
/// configuration->configureWithKorvoDictionary(korvo);       // what has come of it
/// if (configuration->isDeprecated()) std::cerr << "there is a newer version\n";
/// auto identity = configuration->deviceIdentity();
/// ```
class VKT_EXPORT VKTConfiguration : public std::enable_shared_from_this<VKTConfiguration> {
  public:
    using GETParameters = std::map<std::string, std::string, std::less<>>;

    /// `identifierHashing` is not stored: it stays false until it is set. The default parameters have the
    /// shape of "adCallAdditionalParameters" in the remote configuration.
    static std::shared_ptr<VKTConfiguration> init();
    static std::shared_ptr<VKTConfiguration> initWithDefaultAdCallAdditionalParemeters(
        const VKTDictionary& parameters);
    static std::shared_ptr<VKTConfiguration> initWithLoggingEnabled(
        bool loggingEnabled, bool transientIDEnabled, bool allowAutomaticLocationDetection,
        VKTCoordinate manualLocation, bool identifierHashing, std::optional<std::string> customIdentifier,
        const std::optional<VKTDictionary>& defaultAdCallAdditionalParemeters = std::nullopt);

    /// Stores both and fetches. Without a site ID, `VKTRemoteConfigErrorWrongSiteID`, and nothing is stored.
    std::optional<VKTError> configureWithSiteID(std::optional<std::int64_t> siteID,
                                                std::shared_ptr<VKTRemoteConfigManager> remoteConfigManager);

    /// Does nothing before there is a remote configuration manager.
    void fetchRemoteConfiguration(bool forced);

    /// Logs the error, and when it says that there is no network (-1009), fetches once more in 5 seconds.
    void retryRemoteConfigurationAfterError(const std::optional<VKTError>& error);

    void appWillEnterForeground();

    /// Applies the "korvo" object of a remote configuration. What is missing or of another type changes
    /// nothing and is reported to `remoteLogger`, which may be null and is not kept. A "latestSDKVersionId"
    /// other than `frameworkDatabaseVersionID` (in decimal) marks the SDK deprecated and says so on standard
    /// error; without that argument it is not looked at.
    void configureWithKorvoDictionary(
        const VKTDictionary& dictionary, VKTConfigurationRemoteLogger* remoteLogger = nullptr,
        std::optional<std::string_view> frameworkDatabaseVersionID = std::nullopt);

    [[nodiscard]] bool isConfigured() const { return siteID_.has_value(); }
    [[nodiscard]] std::int64_t siteID() const { return siteID_.value_or(0); }
    [[nodiscard]] const std::shared_ptr<VKTRemoteConfigManager>& remoteConfigManager() const {
        return remoteConfigManager_;
    }

    /// What the remote configuration has said.
    [[nodiscard]] bool isDeprecated() const { return isDeprecated_; }
    [[nodiscard]] std::int64_t networkID() const { return networkID_; }
    [[nodiscard]] const VKTDictionary& adCallAdditionalParametersPOST() const {
        return adCallAdditionalParametersPOST_;
    }
    [[nodiscard]] const GETParameters& adCallAdditionalParametersGET() const {
        return adCallAdditionalParametersGET_;
    }
    [[nodiscard]] const VKTURL& networkBaseURL() const { return networkBaseURL_; }

    /// "iabFrameworks" of the POST parameters; null when absent. Valid until the next configuration.
    [[nodiscard]] const VKTValue* iabFrameworks() const;

    /// The manual one when it is set, else the network's.
    [[nodiscard]] const VKTURL& baseURL() const { return manualBaseURL_ ? *manualBaseURL_ : networkBaseURL_; }

    /// A new one at each call, not hashed.
    [[nodiscard]] std::shared_ptr<VKTIdentity> deviceIdentity() const;

    [[nodiscard]] bool loggingEnabled() const { return loggingEnabled_; }
    void setLoggingEnabled(bool enabled) { loggingEnabled_ = enabled; }

    [[nodiscard]] bool allowAutomaticLocationDetection() const { return allowAutomaticLocationDetection_; }
    void setAllowAutomaticLocationDetection(bool allow) { allowAutomaticLocationDetection_ = allow; }

    [[nodiscard]] bool transientIDEnabled() const { return transientIDEnabled_; }
    void setTransientIDEnabled(bool enabled) { transientIDEnabled_ = enabled; }

    [[nodiscard]] bool identifierHashing() const { return identifierHashing_; }
    void setIdentifierHashing(bool hashing) { identifierHashing_ = hashing; }

    [[nodiscard]] std::int64_t masterTimestamp() const { return masterTimestamp_; }
    void setMasterTimestamp(std::int64_t timestamp) { masterTimestamp_ = timestamp; }

    [[nodiscard]] const std::optional<std::string>& customIdentifier() const { return customIdentifier_; }
    void setCustomIdentifier(std::optional<std::string> identifier) {
        customIdentifier_ = std::move(identifier);
    }

    [[nodiscard]] VKTCoordinate manualLocation() const { return manualLocation_; }
    void setManualLocation(VKTCoordinate location) { manualLocation_ = location; }

    [[nodiscard]] const std::optional<VKTURL>& manualBaseURL() const { return manualBaseURL_; }
    void setManualBaseURL(std::optional<VKTURL> url) { manualBaseURL_ = std::move(url); }

  private:
    VKTConfiguration(bool loggingEnabled, bool transientIDEnabled, bool allowAutomaticLocationDetection,
                     VKTCoordinate manualLocation, std::optional<std::string> customIdentifier);

    void observeForeground();
    void applyLatestVersion(const VKTDictionary& dictionary, std::string_view frameworkDatabaseVersionID);
    void applyNetwork(const VKTDictionary& dictionary, VKTConfigurationRemoteLogger* remoteLogger);
    void applyAdditionalParameters(const VKTValue& parameters, VKTConfigurationRemoteLogger* remoteLogger);
    bool applyGETParameters(const VKTValue& parameters);

    bool loggingEnabled_;
    bool allowAutomaticLocationDetection_;
    bool transientIDEnabled_;
    bool identifierHashing_ = false;
    bool isDeprecated_ = false;
    std::int64_t masterTimestamp_ = 0;
    std::optional<std::string> customIdentifier_;
    VKTCoordinate manualLocation_;
    std::optional<VKTURL> manualBaseURL_;
    std::optional<std::int64_t> siteID_;
    std::int64_t networkID_ = 0;
    VKTDictionary adCallAdditionalParametersPOST_;
    GETParameters adCallAdditionalParametersGET_;
    VKTURL networkBaseURL_;
    std::shared_ptr<VKTRemoteConfigManager> remoteConfigManager_;
    VKTNotificationToken foregroundToken_;
};

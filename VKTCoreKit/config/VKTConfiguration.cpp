#include "VKTCoreKit/config/VKTConfiguration.h"

#include <cstdio>
#include <utility>

#include "VKTCoreKit/config/VKTConfigReading.h"
#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"

namespace {

constexpr VKTTimeInterval retryDelay{5};

void writeToConsole(const std::string& message) {
    const std::string line = "[Korvonet] " + vkt_onOneLine(message) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

std::optional<std::string> description(const std::optional<VKTError>& error) {
    if (!error) return std::nullopt;
    return vkt_stringWithFormat("%@ %ld: %@",
                                {error->domain(), error->code(), error->localizedDescription()});
}

}  // namespace

VKTConfiguration::VKTConfiguration(bool loggingEnabled, bool transientIDEnabled,
                                   bool allowAutomaticLocationDetection, VKTCoordinate manualLocation,
                                   std::optional<std::string> customIdentifier)
    : loggingEnabled_(loggingEnabled),
      allowAutomaticLocationDetection_(allowAutomaticLocationDetection),
      transientIDEnabled_(transientIDEnabled),
      customIdentifier_(std::move(customIdentifier)),
      manualLocation_(manualLocation),
      networkBaseURL_(*VKTURL::URLWithString(VKTProductionAdServerBaseURL)) {}

std::shared_ptr<VKTConfiguration> VKTConfiguration::init() {
    return initWithLoggingEnabled(false, true, false, VKTInvalidCoordinate, false, std::nullopt);
}

std::shared_ptr<VKTConfiguration> VKTConfiguration::initWithDefaultAdCallAdditionalParemeters(
    const VKTDictionary& parameters) {
    return initWithLoggingEnabled(false, true, false, VKTInvalidCoordinate, false, std::nullopt, parameters);
}

std::shared_ptr<VKTConfiguration> VKTConfiguration::initWithLoggingEnabled(
    bool loggingEnabled, bool transientIDEnabled, bool allowAutomaticLocationDetection,
    VKTCoordinate manualLocation, bool /*identifierHashing*/, std::optional<std::string> customIdentifier,
    const std::optional<VKTDictionary>& defaultAdCallAdditionalParemeters) {
    std::shared_ptr<VKTConfiguration> configuration(
        new VKTConfiguration(loggingEnabled, transientIDEnabled, allowAutomaticLocationDetection,
                             manualLocation, std::move(customIdentifier)));
    if (defaultAdCallAdditionalParemeters)
        configuration->configureWithKorvoDictionary(
            {{"adCallAdditionalParameters", *defaultAdCallAdditionalParemeters}});
    configuration->observeForeground();
    return configuration;
}

void VKTConfiguration::observeForeground() {
    foregroundToken_ = VKTPlatform::current().notificationCentre->addObserver(
        VKTApplicationWillEnterForegroundNotification, [weakSelf = weak_from_this()](const auto&) {
            if (const auto self = weakSelf.lock()) self->appWillEnterForeground();
        });
}

std::optional<VKTError> VKTConfiguration::configureWithSiteID(
    std::optional<std::int64_t> siteID, std::shared_ptr<VKTRemoteConfigManager> remoteConfigManager) {
    if (!siteID)
        return VKTUtils::errorWithDomain(
            VKTRemoteConfigErrorDomain, VKTRemoteConfigErrorWrongSiteID,
            "Configuration FAILED - Wrong SiteID. Please try with another siteID.");
    siteID_ = siteID;
    remoteConfigManager_ = std::move(remoteConfigManager);
    fetchRemoteConfiguration(false);
    return std::nullopt;
}

void VKTConfiguration::fetchRemoteConfiguration(bool forced) {
    if (remoteConfigManager_) remoteConfigManager_->fetchRemoteConfigurationWithSiteId(siteID(), forced);
}

void VKTConfiguration::retryRemoteConfigurationAfterError(const std::optional<VKTError>& error) {
    VKTLog::sharedInstance()->logErrorWithFormat("Unable to fetch remote configuration because of error: %@",
                                                 description(error));
    if (!error || error->code() != VKTURLErrorNotConnectedToInternet) return;
    VKTPlatform::current().mainRunLoop->postAfter(retryDelay, [weakSelf = weak_from_this()] {
        if (const auto self = weakSelf.lock()) self->fetchRemoteConfiguration(true);
    });
}

void VKTConfiguration::appWillEnterForeground() {
    if (isConfigured()) fetchRemoteConfiguration(false);
}

void VKTConfiguration::configureWithKorvoDictionary(
    const VKTDictionary& dictionary, VKTConfigurationRemoteLogger* remoteLogger,
    std::optional<std::string_view> frameworkDatabaseVersionID) {
    isDeprecated_ = false;
    if (frameworkDatabaseVersionID) applyLatestVersion(dictionary, *frameworkDatabaseVersionID);
    applyNetwork(dictionary, remoteLogger);
    if (auto url = vkt_configURLForKey(dictionary, "adCallBaseURL")) networkBaseURL_ = *std::move(url);
    if (const VKTValue* parameters = dictionary.find("adCallAdditionalParameters"))
        applyAdditionalParameters(*parameters, remoteLogger);
}

void VKTConfiguration::applyLatestVersion(const VKTDictionary& dictionary,
                                          std::string_view frameworkDatabaseVersionID) {
    const auto versionID = vkt_configNumberForKey(dictionary, "latestSDKVersionId");
    if (!versionID || versionID->integerValue() < 1) return;
    if (std::to_string(versionID->integerValue()) == frameworkDatabaseVersionID) return;
    writeToConsole("Warning: a newer version of the SDK exists!");
    if (const std::string* message = vkt_configStringForKey(dictionary, "latestSDKMessage"))
        writeToConsole(*message);
    isDeprecated_ = true;
}

void VKTConfiguration::applyNetwork(const VKTDictionary& dictionary,
                                    VKTConfigurationRemoteLogger* remoteLogger) {
    const auto networkID = vkt_configNumberForKey(dictionary, "networkId");
    if (networkID && networkID->integerValue() > 0) {
        networkID_ = networkID->integerValue();
    } else if (remoteLogger != nullptr) {
        vkt_callGuarded("logWrongSiteIDError", [&] { remoteLogger->logWrongSiteIDError(); });
    }
}

void VKTConfiguration::applyAdditionalParameters(const VKTValue& parameters,
                                                 VKTConfigurationRemoteLogger* remoteLogger) {
    const auto report = [&](VKTAdditionalParametersPart part) {
        if (remoteLogger != nullptr)
            vkt_callGuarded("logInvalidAdditionalParameters",
                            [&] { remoteLogger->logInvalidAdditionalParameters(part); });
    };
    const VKTDictionary* dictionary = parameters.asDictionary();
    if (dictionary == nullptr) return report(VKTAdditionalParametersPartAll);

    if (const VKTValue* post = dictionary->find("post")) {
        if (const VKTDictionary* postParameters = post->asDictionary()) {
            adCallAdditionalParametersPOST_ = *postParameters;
        } else {
            report(VKTAdditionalParametersPartPOST);
        }
    }
    const VKTValue* get = dictionary->find("get");
    if (get != nullptr && !applyGETParameters(*get)) report(VKTAdditionalParametersPartGET);
}

// Keeps the entries that are texts. False when anything else is there.
bool VKTConfiguration::applyGETParameters(const VKTValue& parameters) {
    const VKTDictionary* dictionary = parameters.asDictionary();
    if (dictionary == nullptr) return false;
    adCallAdditionalParametersGET_.clear();
    for (const auto& [key, value] : *dictionary) {
        if (const std::string* text = value.asString()) adCallAdditionalParametersGET_.emplace(key, *text);
    }
    return adCallAdditionalParametersGET_.size() == dictionary->size();
}

const VKTValue* VKTConfiguration::iabFrameworks() const {
    return adCallAdditionalParametersPOST_.find("iabFrameworks");
}

std::shared_ptr<VKTIdentity> VKTConfiguration::deviceIdentity() const {
    return VKTIdentity::initWithHashed(false, transientIDEnabled_, customIdentifier_);
}

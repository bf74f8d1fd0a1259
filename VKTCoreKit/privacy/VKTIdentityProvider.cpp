#include "VKTCoreKit/privacy/VKTIdentityProvider.h"

#include <utility>

#include "VKTCoreKit/core/VKTUUID.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/privacy/VKTConsentSignals.h"

std::shared_ptr<VKTIdentityProvider> VKTIdentityProvider::init() {
    const VKTPlatform& platform = VKTPlatform::current();
    return initWithDevice(platform.device, VKTDefaultPropertyCacheManager::init(), platform.clock,
                          platform.random);
}

std::shared_ptr<VKTIdentityProvider> VKTIdentityProvider::initWithDevice(
    std::shared_ptr<const VKTDevice> device, std::shared_ptr<VKTPropertyCacheManager> propertyCacheManager,
    std::shared_ptr<const VKTClock> clock, std::shared_ptr<VKTRandomSource> random) {
    return std::shared_ptr<VKTIdentityProvider>(new VKTIdentityProvider(
        std::move(device), std::move(propertyCacheManager), std::move(clock), std::move(random)));
}

VKTIdentityProvider::VKTIdentityProvider(std::shared_ptr<const VKTDevice> device,
                                         std::shared_ptr<VKTPropertyCacheManager> propertyCacheManager,
                                         std::shared_ptr<const VKTClock> clock,
                                         std::shared_ptr<VKTRandomSource> random)
    : device_(std::move(device)),
      propertyCacheManager_(std::move(propertyCacheManager)),
      clock_(std::move(clock)),
      random_(std::move(random)) {}

std::optional<VKTTransientID> VKTIdentityProvider::retrieveTransientID() const {
    // The date comes first: another process may write both meanwhile, the value before the date.
    const auto date = propertyCacheManager_->objectForKey(VKTTransientIDLastGenerationKey);
    const auto value = propertyCacheManager_->objectForKey(VKTTransientIDKey);
    if (!value || !value->asString() || !date || !date->asDate()) return std::nullopt;
    return VKTTransientID{*value->asString(), *date->asDate()};
}

std::string VKTIdentityProvider::generateNewTransientID() {
    std::string transientID = vkt_randomUUIDString(*random_);
    // The date comes last, and only after the value: never may an old value get a new date and live on.
    if (propertyCacheManager_->setObject(transientID, VKTTransientIDKey))
        propertyCacheManager_->setObject(currentDate(), VKTTransientIDLastGenerationKey);
    return transientID;
}

std::optional<VKTTCFString> VKTIdentityProvider::TCFString() const {
    auto string = storedString(VKTConsentKeyTCFString);
    if (!string) string = storedString(VKTConsentKeyLegacyTCFString);
    if (!string) return std::nullopt;
    return VKTTCFString::initWithTCFString(std::move(*string), false, propertyCacheManager_);
}

std::optional<std::string> VKTIdentityProvider::gdprConsentString() const {
    const auto string = TCFString();
    return string ? std::optional(string->TCFString()) : std::nullopt;
}

std::int64_t VKTIdentityProvider::TCFGDPRApplies() const {
    const auto value = propertyCacheManager_->objectForKey(VKTConsentKeyGDPRApplies);
    if (!value) return -1;
    if (const std::string* text = value->asString()) return vkt_integerValue(*text);
    return value->asNumber().value_or(VKTNumber(0)).integerValue();
}

std::optional<std::string> VKTIdentityProvider::TCFPurposeConsents() const {
    return storedString(VKTConsentKeyPurposeConsents);
}

std::optional<std::string> VKTIdentityProvider::TCFVendorConsents() const {
    return storedString(VKTConsentKeyVendorConsents);
}

std::optional<VKTCCPAString> VKTIdentityProvider::CCPAString() const {
    auto string = storedString(VKTConsentKeyCCPAString);
    if (!string) return std::nullopt;
    return VKTCCPAString::initWithCCPAString(std::move(*string));
}

std::optional<VKTGPPString> VKTIdentityProvider::GPPString() const {
    auto string = storedString(VKTConsentKeyGPPString);
    auto IDs = storedString(VKTConsentKeyGPPSIDs);
    if (!string || !IDs) return std::nullopt;
    const auto stored = propertyCacheManager_->objectForKey(VKTConsentKeyGPPVersion);
    const auto version = stored ? stored->asNumber() : std::nullopt;
    return VKTGPPString::initWithGPPString(std::move(*string), std::move(*IDs),
                                           version.value_or(VKTNumber(0)).integerValue(),
                                           propertyCacheManager_);
}

std::optional<std::string> VKTIdentityProvider::storedString(std::string_view key) const {
    return vkt_storedString(*propertyCacheManager_, key);
}

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

VKTPrivacyReading<VKTTransientID> VKTIdentityProvider::readTransientID() const {
    // The date comes first: another process may write both meanwhile, the value before the date.
    const VKTStoredValue date = propertyCacheManager_->readObjectForKey(VKTTransientIDLastGenerationKey);
    const VKTStoredValue value = propertyCacheManager_->readObjectForKey(VKTTransientIDKey);
    if (date.status == VKTStoredValue::Unreadable || value.status == VKTStoredValue::Unreadable)
        return {std::nullopt, true};
    if (!value.value.asString() || !date.value.asDate()) return {};
    return {VKTTransientID{*value.value.asString(), *date.value.asDate()}};
}

VKTTransientID VKTIdentityProvider::makeTransientID() const {
    return {vkt_randomUUIDString(*random_), currentDate()};
}

std::string VKTIdentityProvider::generateNewTransientID() {
    VKTTransientID made = makeTransientID();
    // The date comes last, and only after the value: never may an old value get a new date and live on.
    if (propertyCacheManager_->setObject(made.transientID, VKTTransientIDKey))
        propertyCacheManager_->setObject(made.lastGeneration, VKTTransientIDLastGenerationKey);
    return std::move(made.transientID);
}

VKTPrivacyReading<VKTTCFString> VKTIdentityProvider::readTCFString() const {
    VKTConsentReader reader(*propertyCacheManager_);
    auto string = reader.stringForKey(VKTConsentKeyTCFString);
    if (!string && !reader.hasFailed()) string = reader.stringForKey(VKTConsentKeyLegacyTCFString);
    if (!string) return {std::nullopt, reader.hasFailed()};
    return {VKTTCFString::initWithTCFString(std::move(*string), false, propertyCacheManager_)};
}

std::optional<std::string> VKTIdentityProvider::gdprConsentString() const {
    const auto string = TCFString();
    return string ? std::optional(string->TCFString()) : std::nullopt;
}

VKTPrivacyReading<std::int64_t> VKTIdentityProvider::readTCFGDPRApplies() const {
    VKTConsentReader reader(*propertyCacheManager_);
    const auto value = reader.valueForKey(VKTConsentKeyGDPRApplies);
    if (reader.hasFailed()) return {std::nullopt, true};
    if (!value) return {-1};
    if (const std::string* text = value->asString()) return {vkt_integerValue(*text)};
    return {value->asNumber().value_or(VKTNumber(0)).integerValue()};
}

std::optional<std::string> VKTIdentityProvider::TCFPurposeConsents() const {
    return storedString(VKTConsentKeyPurposeConsents);
}

std::optional<std::string> VKTIdentityProvider::TCFVendorConsents() const {
    return storedString(VKTConsentKeyVendorConsents);
}

VKTPrivacyReading<VKTCCPAString> VKTIdentityProvider::readCCPAString() const {
    VKTConsentReader reader(*propertyCacheManager_);
    auto string = reader.stringForKey(VKTConsentKeyCCPAString);
    if (!string) return {std::nullopt, reader.hasFailed()};
    return {VKTCCPAString::initWithCCPAString(std::move(*string))};
}

VKTPrivacyReading<VKTGPPString> VKTIdentityProvider::readGPPString() const {
    VKTConsentReader reader(*propertyCacheManager_);
    auto string = reader.stringForKey(VKTConsentKeyGPPString);
    auto IDs = reader.stringForKey(VKTConsentKeyGPPSIDs);
    if (!string || !IDs) return {std::nullopt, reader.hasFailed()};
    const auto version = reader.numberForKey(VKTConsentKeyGPPVersion);
    if (reader.hasFailed()) return {std::nullopt, true};
    return {VKTGPPString::initWithGPPString(std::move(*string), std::move(*IDs),
                                            version.value_or(VKTNumber(0)).integerValue(),
                                            propertyCacheManager_)};
}

std::optional<std::string> VKTIdentityProvider::storedString(std::string_view key) const {
    return vkt_storedString(*propertyCacheManager_, key);
}

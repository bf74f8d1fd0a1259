#include "VKTCoreKit/privacy/VKTIdentityProvider.h"

#include <utility>

#include "VKTCoreKit/core/detail/VKTUUID.h"
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
    const auto date = vkt_readConsentValue(*propertyCacheManager_, VKTTransientIDLastGenerationKey);
    const auto value = vkt_readConsentText(*propertyCacheManager_, VKTTransientIDKey);
    if (date.isUnreadable || value.isUnreadable)
        return {std::nullopt, true, date.isUnreadable ? date.signal : value.signal};
    const VKTDate* made = date.value ? date.value->asDate() : nullptr;
    if (!value.value || !made) return {std::nullopt, false, value.value ? date.signal : value.signal};
    return {VKTTransientID{*value.value, *made}, false, value.signal};
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
    auto text = vkt_readConsentText(*propertyCacheManager_, VKTConsentKeyTCFString);
    if (!text.value && !text.isUnreadable)
        text = vkt_readConsentText(*propertyCacheManager_, VKTConsentKeyLegacyTCFString);
    if (!text.value) return {std::nullopt, text.isUnreadable, text.signal};
    return {VKTTCFString::initWithTCFString(std::move(*text.value), false, propertyCacheManager_), false,
            text.signal};
}

std::optional<std::string> VKTIdentityProvider::gdprConsentString() const {
    const auto string = TCFString();
    return string ? std::optional(string->TCFString()) : std::nullopt;
}

VKTPrivacyReading<std::int64_t> VKTIdentityProvider::readTCFGDPRApplies() const {
    const auto [value, isUnreadable, signal] =
        vkt_readConsentValue(*propertyCacheManager_, VKTConsentKeyGDPRApplies);
    if (isUnreadable) return {std::nullopt, true, signal};
    if (!value) return {-1, false, signal};
    if (const std::string* text = value->asString()) return {vkt_integerValue(*text), false, signal};
    return {value->asNumber().value_or(VKTNumber(0)).integerValue(), false, signal};
}

std::optional<std::string> VKTIdentityProvider::TCFPurposeConsents() const {
    return vkt_readConsentText(*propertyCacheManager_, VKTConsentKeyPurposeConsents).value;
}

std::optional<std::string> VKTIdentityProvider::TCFVendorConsents() const {
    return vkt_readConsentText(*propertyCacheManager_, VKTConsentKeyVendorConsents).value;
}

VKTPrivacyReading<VKTCCPAString> VKTIdentityProvider::readCCPAString() const {
    auto text = vkt_readConsentText(*propertyCacheManager_, VKTConsentKeyCCPAString);
    if (!text.value) return {std::nullopt, text.isUnreadable, text.signal};
    return {VKTCCPAString::initWithCCPAString(std::move(*text.value)), false, text.signal};
}

VKTPrivacyReading<VKTGPPString> VKTIdentityProvider::readGPPString() const {
    auto string = vkt_readConsentText(*propertyCacheManager_, VKTConsentKeyGPPString);
    auto IDs = vkt_readConsentText(*propertyCacheManager_, VKTConsentKeyGPPSIDs);
    for (const auto* text : {&string, &IDs})
        if (text->isUnreadable) return {std::nullopt, true, text->signal};
    for (const auto* text : {&string, &IDs})
        if (!text->value) return {std::nullopt, false, text->signal};
    const auto version = vkt_readConsentNumber(*propertyCacheManager_, VKTConsentKeyGPPVersion);
    if (version.isUnreadable) return {std::nullopt, true, version.signal};
    return {VKTGPPString::initWithGPPString(std::move(*string.value), std::move(*IDs.value),
                                            version.value.value_or(VKTNumber(0)).integerValue(),
                                            propertyCacheManager_),
            false, string.signal};
}

std::vector<VKTConsentClause> VKTIdentityProvider::signalFaults() const {
    std::vector<VKTConsentClause> faults;
    const auto note = [&faults](const VKTConsentClause& signal) {
        if (signal.rule != VKTConsentRuleSignalPresent && signal.rule != VKTConsentRuleSignalMissing)
            faults.push_back(signal);
    };
    for (const std::string_view key : VKTConsentTextSignals)
        note(vkt_readConsentText(*propertyCacheManager_, key).signal);
    for (const std::string_view key : VKTConsentNumberSignals)
        note(vkt_readConsentNumber(*propertyCacheManager_, key).signal);
    return faults;
}

#include "VKTCoreKit/privacy/VKTIdentity.h"

#include <chrono>
#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/privacy/VKTConsentSignals.h"

namespace {

constexpr std::chrono::hours transientIDLifetime(24);

// One for all providers: they share the stored ID.
struct TransientIDState {
    VKTMutex mutex;
    std::optional<VKTTransientID> standIn VKT_GUARDED_BY(mutex);  // while the stored one cannot be read
};

TransientIDState& transientIDState() {
    static auto* state = new TransientIDState;
    return *state;
}

}  // namespace

std::shared_ptr<VKTIdentity> VKTIdentity::initWithIdentityProvider(
    std::shared_ptr<VKTIdentityProvider> identityProvider, bool hashed, bool transientIDEnabled,
    std::optional<std::string> customIdentifier) {
    return std::shared_ptr<VKTIdentity>(new VKTIdentity(std::move(identityProvider), hashed,
                                                        transientIDEnabled, std::move(customIdentifier)));
}

std::shared_ptr<VKTIdentity> VKTIdentity::initWithHashed(bool hashed, bool transientIDEnabled,
                                                         std::optional<std::string> customIdentifier) {
    return initWithIdentityProvider(VKTIdentityProvider::init(), hashed, transientIDEnabled,
                                    std::move(customIdentifier));
}

VKTIdentity::VKTIdentity(std::shared_ptr<VKTIdentityProvider> identityProvider, bool hashed,
                         bool transientIDEnabled, std::optional<std::string> customIdentifier)
    : identityProvider_(std::move(identityProvider)),
      isHashed_(hashed),
      isTransientIDEnabled_(transientIDEnabled),
      customIdentifier_(std::move(customIdentifier)) {
    if (auto advertisingID = identityProvider_->advertisingID(); isValidUUID(advertisingID)) {
        ifa_ = std::move(advertisingID);
    } else if (isTransientIDEnabled_) {
        transientId_ = retrieveTransientIDWithProvider(*identityProvider_);
    }
    if (auto vendorID = identityProvider_->identifierForVendor(); isValidUUID(vendorID))
        ifv_ = std::move(vendorID);

    if (customIdentifier_) {
        type_ = VKTIdentityTypeCustomIdentifier;
        typeReason_ = "a custom identifier is given";
        identity_ = *customIdentifier_;
    } else if (ifa_) {
        type_ = VKTIdentityTypeAdvertisingID;
        typeReason_ = "no custom identifier is given and the advertising identifier is valid";
        identity_ = *ifa_;
    } else if (transientId_) {
        type_ = VKTIdentityTypeTransientID;
        typeReason_ =
            "no custom identifier is given, the advertising identifier is not valid and transient IDs are "
            "enabled";
        identity_ = *transientId_;
    } else {
        typeReason_ =
            "no custom identifier is given, the advertising identifier is not valid and transient IDs are "
            "not "
            "enabled";
    }
}

bool VKTIdentity::isValidUUID(std::string_view string) {
    return !string.empty() && string != "00000000-0000-0000-0000-000000000000";
}

std::string VKTIdentity::retrieveTransientIDWithProvider(VKTIdentityProvider& provider) {
    TransientIDState& state = transientIDState();
    const VKTLock lock(state.mutex);
    const auto [stored, isUnreadable, signal] = provider.readTransientID();
    const auto isValid = [now = provider.currentDate()](const std::optional<VKTTransientID>& ID) {
        return ID && isValidTransientIDWithGenerationDate(ID->lastGeneration, now);
    };
    if (isValid(stored)) return stored->transientID;
    if (!isUnreadable) return provider.generateNewTransientID();
    if (!isValid(state.standIn)) state.standIn = provider.makeTransientID();
    return state.standIn->transientID;
}

bool VKTIdentity::isValidTransientIDWithGenerationDate(VKTDate date) {
    return isValidTransientIDWithGenerationDate(date, VKTPlatform::current().clock->now());
}

bool VKTIdentity::isValidTransientIDWithGenerationDate(VKTDate date, VKTDate now) {
    return now - transientIDLifetime < date && date < now + transientIDLifetime;
}

VKTConsentVerdict VKTIdentity::verdictOnIDs() const {
    const auto GPP = identityProvider_->readGPPString();
    if (GPP.isUnreadable) return {VKTConsentDecisionRefused, {GPP.signal}};
    if (!GPP.value) return verdictWithoutGPP();
    VKTConsentVerdict verdict = GPP.value->verdictOnIDs();
    if (verdict.decision == VKTConsentDecisionUndetermined)
        return verdictWithoutGPP().under({VKTConsentRuleGPPLeavesItOpen});
    return std::move(verdict).under({VKTConsentRuleGPPDecides});
}

VKTConsentVerdict VKTIdentity::verdictWithoutGPP() const {
    const auto TCF = identityProvider_->readTCFString();
    if (TCF.isUnreadable) return {VKTConsentDecisionRefused, {TCF.signal}};
    if (TCF.value) return TCF.value->verdictOnIDs().under({VKTConsentRuleTCFDecides});
    const VKTConsentClause noString{VKTConsentRuleTCFMissing};
    const auto [applies, isUnreadable, signal] = identityProvider_->readTCFGDPRApplies();
    if (isUnreadable) return {VKTConsentDecisionRefused, {noString, signal}};
    if (applies == -1)
        return {VKTConsentDecisionAllowed, {noString, {VKTConsentRuleGDPRNotSaidToApply, signal.key}}};
    return {applies == 1 ? VKTConsentDecisionRefused : VKTConsentDecisionAllowed,
            {noString, {VKTConsentRuleGDPRCountsAs, signal.key, *applies}}};
}

VKTConsentVerdict VKTIdentity::verdictOnLocation() const {
    const auto [string, isUnreadable, signal] = identityProvider_->readGPPString();
    if (isUnreadable) return {VKTConsentDecisionRefused, {signal}};
    if (!string) return {VKTConsentDecisionAllowed, {{VKTConsentRuleGPPMissing}}};
    VKTConsentVerdict verdict = string->verdictOnLocation();
    if (verdict.decision == VKTConsentDecisionUndetermined)
        return {VKTConsentDecisionAllowed, {{VKTConsentRuleGPPLeavesLocationOpen}}};
    return std::move(verdict).under({VKTConsentRuleGPPDecides});
}

bool VKTIdentity::tcfPurposesAreValid(std::string_view purposes) {
    return isValidTCFBooleanStringArray(purposes) && vkt_missingIDPurposes(purposes) == 0;
}

bool VKTIdentity::tcfVendorsAreValid(std::string_view vendors) {
    return isValidTCFBooleanStringArray(vendors) && vkt_hasConsentFlag(vendors, VKTConsentVendorID);
}

bool VKTIdentity::isValidTCFBooleanStringArray(std::string_view string) {
    return string.find_first_not_of("01") == std::string_view::npos;
}

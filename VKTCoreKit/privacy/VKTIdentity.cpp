#include "VKTCoreKit/privacy/VKTIdentity.h"

#include <chrono>
#include <utility>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/privacy/VKTConsentSignals.h"

namespace {

constexpr std::chrono::hours transientIDLifetime(24);

// One for all providers: they share the stored ID.
VKTMutex& transientIDMutex() {
    static auto* mutex = new VKTMutex;
    return *mutex;
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
        identity_ = *customIdentifier_;
    } else if (ifa_) {
        type_ = VKTIdentityTypeAdvertisingID;
        identity_ = *ifa_;
    } else if (transientId_) {
        type_ = VKTIdentityTypeTransientID;
        identity_ = *transientId_;
    }
}

bool VKTIdentity::isValidUUID(std::string_view string) {
    return !string.empty() && string != "00000000-0000-0000-0000-000000000000";
}

std::string VKTIdentity::retrieveTransientIDWithProvider(VKTIdentityProvider& provider) {
    const VKTLock lock(transientIDMutex());
    auto stored = provider.retrieveTransientID();
    if (stored && isValidTransientIDWithGenerationDate(stored->lastGeneration, provider.currentDate()))
        return std::move(stored->transientID);
    return provider.generateNewTransientID();
}

bool VKTIdentity::isValidTransientIDWithGenerationDate(VKTDate date) {
    return isValidTransientIDWithGenerationDate(date, VKTPlatform::current().clock->now());
}

bool VKTIdentity::isValidTransientIDWithGenerationDate(VKTDate date, VKTDate now) {
    return now - transientIDLifetime < date && date < now + transientIDLifetime;
}

bool VKTIdentity::canSendIDs() const {
    if (const auto string = GPPString()) {
        const auto decision = string->canSendIDs();
        if (decision != VKTConsentDecisionUndetermined) return decision == VKTConsentDecisionAllowed;
    }
    if (const auto string = TCFString()) return string->canSendIDs() == VKTConsentDecisionAllowed;
    return identityProvider_->TCFGDPRApplies() != 1;
}

bool VKTIdentity::canSendLocation() const {
    const auto string = GPPString();
    return !string || !string->isValid() || string->canSendLocation() != VKTConsentDecisionRefused;
}

bool VKTIdentity::tcfPurposesAreValid(std::string_view purposes) {
    return isValidTCFBooleanStringArray(purposes) && vkt_hasConsentForIDPurposes(purposes);
}

bool VKTIdentity::tcfVendorsAreValid(std::string_view vendors) {
    return isValidTCFBooleanStringArray(vendors) && vkt_hasConsentFlag(vendors, VKTConsentVendorID);
}

bool VKTIdentity::isValidTCFBooleanStringArray(std::string_view string) {
    return string.find_first_not_of("01") == std::string_view::npos;
}

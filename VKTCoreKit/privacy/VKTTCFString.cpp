#include "VKTCoreKit/privacy/VKTTCFString.h"

#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/privacy/VKTConsentSignals.h"

namespace {

// One more than the vendor's number asks for.
constexpr std::size_t vendorFlagsMinimumLength = 46;

using Clauses = std::vector<VKTConsentClause>;

std::optional<VKTConsentRule> faultOf(const std::string& string) {
    if (string.empty()) return VKTConsentRuleTCFStringEmpty;
    if (!VKTUtils::isValidGDPRConsentString(string)) return VKTConsentRuleTCFStringNotBase64URL;
    if (VKTTCFString::TCFVersionFromString(string) == -1) return VKTConsentRuleTCFVersionUnknown;
    return std::nullopt;
}

// By two texts of which one at least gives nothing: which, and what follows.
std::optional<VKTConsentVerdict> verdictWithout(const VKTPrivacyReading<std::string>& first,
                                                const VKTPrivacyReading<std::string>& second,
                                                VKTConsentDecision ifMissing) {
    for (const auto* reading : {&first, &second})
        if (reading->isUnreadable) return {{VKTConsentDecisionRefused, {reading->signal}}};
    for (const auto* reading : {&first, &second})
        if (!reading->value) return {{ifMissing, {reading->signal}}};
    return std::nullopt;
}

void addVendorFault(std::string_view flags, std::string_view key, Clauses& faults) {
    const auto vendor = std::int64_t{VKTConsentVendorID};
    if (!vkt_hasConsentFlag(flags, VKTConsentVendorID)) {
        faults.push_back({VKTConsentRuleVendorNotConsented, key, vendor});
    } else if (!vkt_consentFlag(flags, vendorFlagsMinimumLength)) {
        faults.push_back({VKTConsentRuleVendorFlagsEndTooSoon, key, vendor});
    }
}

VKTConsentVerdict verdictByFaults(Clauses faults, VKTConsentRule withoutFault) {
    if (faults.empty()) return {VKTConsentDecisionAllowed, {{withoutFault}}};
    return {VKTConsentDecisionRefused, std::move(faults)};
}

}  // namespace

VKTTCFString VKTTCFString::initWithTCFString(
    std::string TCFString, bool isComingFromGPP,
    std::shared_ptr<const VKTPropertyCacheManager> propertyCacheManager) {
    if (!propertyCacheManager) propertyCacheManager = VKTDefaultPropertyCacheManager::init();
    return {std::move(TCFString), isComingFromGPP, std::move(propertyCacheManager)};
}

VKTTCFString::VKTTCFString(std::string TCFString, bool isComingFromGPP,
                           std::shared_ptr<const VKTPropertyCacheManager> propertyCacheManager)
    : TCFString_(std::move(TCFString)),
      isComingFromGPP_(isComingFromGPP),
      fault_(faultOf(TCFString_)),
      version_(fault_ ? -1 : TCFVersionFromString(TCFString_)),
      propertyCacheManager_(std::move(propertyCacheManager)) {
    if (fault_ != VKTConsentRuleTCFStringNotBase64URL) return;
    VKTLog::sharedInstance()->logErrorWithFormat(
        "Consent string '%@' is invalid! An valid IAB consent string must be encoded in base64url without "
        "padding.",
        TCFString_);
}

std::optional<VKTConsentClause> VKTTCFString::fault(std::string_view key) const {
    return fault_ ? std::optional(VKTConsentClause{*fault_, key}) : std::nullopt;
}

int VKTTCFString::TCFVersionFromString(std::string_view string) {
    return string.empty() ? -1 : TCFVersionFromInteger(string.front() - 'A');
}

int VKTTCFString::TCFVersionFromInteger(std::int64_t integer) {
    return integer == 1 || integer == 2 ? static_cast<int>(integer) : -1;
}

VKTConsentDecision VKTTCFString::getIDConsentFromCacheForPurposeConsent(
    std::string_view purposeConsent, std::string_view vendorConsent) const {
    return verdictByFlags(purposeConsent, vendorConsent).decision;
}

VKTConsentVerdict VKTTCFString::verdictOnIDs() const {
    if (isComingFromGPP_)
        return verdictByFlags(VKTConsentKeyGPPPurposeConsents, VKTConsentKeyGPPVendorConsents);
    const auto applies = vkt_readConsentNumber(*propertyCacheManager_, VKTConsentKeyGDPRApplies);
    if (applies.isUnreadable) return {VKTConsentDecisionRefused, {applies.signal}};
    if (!applies.value) return {VKTConsentDecisionAllowed, {applies.signal}};
    const VKTConsentClause clause{VKTConsentRuleGDPRApplies, VKTConsentKeyGDPRApplies, *applies.value};
    if (*applies.value != VKTNumber(1)) return {VKTConsentDecisionAllowed, {clause}};
    return verdictByFlags(VKTConsentKeyPurposeConsents, VKTConsentKeyVendorConsents).under(clause);
}

VKTConsentVerdict VKTTCFString::verdictOnLocation() const {
    if (!isComingFromGPP_) return {VKTConsentDecisionAllowed, {{VKTConsentRuleTCFLeavesLocation}}};
    if (const auto invalid = fault()) return {VKTConsentDecisionRefused, {*invalid}};
    const auto vendors = vkt_readConsentText(*propertyCacheManager_, VKTConsentKeyGPPVendorConsents);
    const auto features = vkt_readConsentText(*propertyCacheManager_, VKTConsentKeyGPPSpecialFeatures);
    if (auto verdict = verdictWithout(vendors, features, VKTConsentDecisionUndetermined)) return *verdict;
    Clauses faults;
    addVendorFault(*vendors.value, VKTConsentKeyGPPVendorConsents, faults);
    // Special feature 1 is the precise location; there are two at least.
    if (!features.value->starts_with('1')) {
        faults.push_back({VKTConsentRuleSpecialFeatureNotOptedIn, VKTConsentKeyGPPSpecialFeatures});
    } else if (features.value->size() < 2) {
        faults.push_back({VKTConsentRuleSpecialFeaturesEndTooSoon, VKTConsentKeyGPPSpecialFeatures});
    }
    return verdictByFaults(std::move(faults), VKTConsentRuleLocationFlagsConsented);
}

VKTConsentVerdict VKTTCFString::verdictByFlags(std::string_view purposeKey,
                                               std::string_view vendorKey) const {
    const auto purposes = vkt_readConsentText(*propertyCacheManager_, purposeKey);
    const auto vendors = vkt_readConsentText(*propertyCacheManager_, vendorKey);
    const auto ifMissing = isComingFromGPP_ ? VKTConsentDecisionUndetermined : VKTConsentDecisionRefused;
    if (auto verdict = verdictWithout(purposes, vendors, ifMissing)) return *verdict;
    Clauses faults;
    if (const auto missing = vkt_missingIDPurposes(*purposes.value); missing != 0)
        faults.push_back(
            {.rule = VKTConsentRulePurposesNotConsented, .key = purposeKey, .purposes = missing});
    addVendorFault(*vendors.value, vendorKey, faults);
    return verdictByFaults(std::move(faults), VKTConsentRuleIDFlagsConsented);
}

std::string VKTTCFString::description() const {
    return vkt_stringWithFormat("VKTTCFString(TCFString: %@, isValid: %@, version: %ld)",
                                {TCFString_, isValid() ? "YES" : "NO", version_});
}

#include "VKTCoreKit/privacy/VKTTCFString.h"

#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/privacy/VKTConsentSignals.h"

namespace {

// One more than the vendor's number asks for.
constexpr std::size_t vendorFlagsMinimumLength = 46;

bool hasVendorConsent(std::string_view vendorFlags) {
    return vkt_hasConsentFlag(vendorFlags, VKTConsentVendorID) &&
           vkt_consentFlag(vendorFlags, vendorFlagsMinimumLength);
}

int versionOf(const std::string& string) {
    if (string.empty()) return -1;
    if (VKTUtils::isValidGDPRConsentString(string)) return VKTTCFString::TCFVersionFromString(string);
    VKTLog::sharedInstance()->logErrorWithFormat(
        "Consent string '%@' is invalid! An valid IAB consent string must be encoded in base64url without "
        "padding.",
        string);
    return -1;
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
      version_(versionOf(TCFString_)),
      propertyCacheManager_(std::move(propertyCacheManager)) {}

int VKTTCFString::TCFVersionFromString(std::string_view string) {
    return string.empty() ? -1 : TCFVersionFromInteger(string.front() - 'A');
}

int VKTTCFString::TCFVersionFromInteger(std::int64_t integer) {
    return integer == 1 || integer == 2 ? static_cast<int>(integer) : -1;
}

VKTConsentDecision VKTTCFString::canSendIDs() const {
    VKTConsentReader reader(*propertyCacheManager_);
    return reader.checked(decisionOnIDs(reader));
}

VKTConsentDecision VKTTCFString::canSendLocation() const {
    VKTConsentReader reader(*propertyCacheManager_);
    return reader.checked(decisionOnLocation(reader));
}

VKTConsentDecision VKTTCFString::getIDConsentFromCacheForPurposeConsent(
    std::string_view purposeConsent, std::string_view vendorConsent) const {
    VKTConsentReader reader(*propertyCacheManager_);
    return reader.checked(decisionByFlags(reader, purposeConsent, vendorConsent));
}

VKTConsentDecision VKTTCFString::decisionOnIDs(VKTConsentReader& reader) const {
    if (isComingFromGPP_)
        return decisionByFlags(reader, VKTConsentKeyGPPPurposeConsents, VKTConsentKeyGPPVendorConsents);
    const auto applies = reader.numberForKey(VKTConsentKeyGDPRApplies);
    if (!applies || *applies != VKTNumber(1)) return VKTConsentDecisionAllowed;
    return decisionByFlags(reader, VKTConsentKeyPurposeConsents, VKTConsentKeyVendorConsents);
}

VKTConsentDecision VKTTCFString::decisionOnLocation(VKTConsentReader& reader) const {
    if (!isComingFromGPP_) return VKTConsentDecisionAllowed;
    if (!isValid()) return VKTConsentDecisionRefused;
    const auto vendors = reader.stringForKey(VKTConsentKeyGPPVendorConsents);
    const auto features = reader.stringForKey(VKTConsentKeyGPPSpecialFeatures);
    if (!vendors || !features) return VKTConsentDecisionUndetermined;
    // Special feature 1 is the precise location; there are two at least.
    const bool isAllowed = hasVendorConsent(*vendors) && features->size() >= 2 && features->front() == '1';
    return isAllowed ? VKTConsentDecisionAllowed : VKTConsentDecisionRefused;
}

VKTConsentDecision VKTTCFString::decisionByFlags(VKTConsentReader& reader, std::string_view purposeConsent,
                                                 std::string_view vendorConsent) const {
    const auto purposes = reader.stringForKey(purposeConsent);
    const auto vendors = reader.stringForKey(vendorConsent);
    if (!purposes || !vendors)
        return isComingFromGPP_ ? VKTConsentDecisionUndetermined : VKTConsentDecisionRefused;
    const bool isAllowed = vkt_hasConsentForIDPurposes(*purposes) && hasVendorConsent(*vendors);
    return isAllowed ? VKTConsentDecisionAllowed : VKTConsentDecisionRefused;
}

std::string VKTTCFString::description() const {
    return vkt_stringWithFormat("VKTTCFString(TCFString: %@, isValid: %@, version: %ld)",
                                {TCFString_, isValid() ? "YES" : "NO", version_});
}

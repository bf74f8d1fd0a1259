#include "VKTCoreKit/privacy/VKTCCPAString.h"

#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"

VKTCCPAString VKTCCPAString::initWithCCPAString(std::string CCPAString) {
    return VKTCCPAString(std::move(CCPAString));
}

VKTCCPAString::VKTCCPAString(std::string CCPAString)
    : CCPAString_(std::move(CCPAString)),
      isValid_(CCPAString_.size() == 4 && CCPAString_.front() == '1' &&
               !hasInvalidCharacters(CCPAString_, 1, 3)) {}

bool VKTCCPAString::hasInvalidCharacters(std::string_view string, std::size_t fromIndex,
                                         std::size_t toIndex) {
    for (std::size_t i = fromIndex; i <= toIndex; ++i) {
        if (i >= string.size() || (string[i] != 'Y' && string[i] != 'N' && string[i] != '-')) return true;
    }
    return false;
}

VKTConsentVerdict VKTCCPAString::verdictOnIDs(std::string_view key) const {
    if (!isValid_) return {VKTConsentDecisionRefused, {{VKTConsentRuleUSPrivacyForm, key}}};
    if (CCPAString_[2] == 'Y') return {VKTConsentDecisionRefused, {{VKTConsentRuleOptedOutOfSale}}};
    return {VKTConsentDecisionAllowed, {{VKTConsentRuleNotOptedOutOfSale}}};
}

std::string VKTCCPAString::description() const {
    return vkt_stringWithFormat("VKTCCPAString(CCPAString: %@, isValid: %@, version: %ld)",
                                {CCPAString_, isValid_ ? "YES" : "NO", version()});
}

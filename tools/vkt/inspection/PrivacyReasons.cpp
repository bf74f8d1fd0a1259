#include "inspection/PrivacyReasons.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <utility>

#include "VKTCoreKit/core/VKTUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/privacy/VKTConsentSignals.h"

namespace {

using Texts = std::vector<std::string>;
using Store = VKTPropertyCacheManager;

constexpr std::int32_t TCFSectionID = 2;
constexpr std::int32_t CCPASectionID = 6;

constexpr std::array textSignals{
    VKTConsentKeyTCFString,         VKTConsentKeyLegacyTCFString,
    VKTConsentKeyPurposeConsents,   VKTConsentKeyVendorConsents,
    VKTConsentKeyCCPAString,        VKTConsentKeyGPPString,
    VKTConsentKeyGPPSIDs,           VKTConsentKeyGPPSectionTCF,
    VKTConsentKeyGPPSectionCCPA,    VKTConsentKeyGPPPurposeConsents,
    VKTConsentKeyGPPVendorConsents, VKTConsentKeyGPPSpecialFeatures,
};

constexpr std::array numberSignals{VKTConsentKeyGDPRApplies, VKTConsentKeyGPPVersion};

std::string typeOf(const VKTValue& value) {
    if (value.asString()) return "a text";
    if (value.asInteger() || value.asUnsignedInteger()) return "an integer";
    if (value.asDouble()) return "a double";
    if (value.asBool()) return "a boolean";
    if (value.asBytes()) return "bytes";
    if (value.asDate()) return "a date";
    return value.asArray() ? "an array" : "a dictionary";
}

// What stands under a key in place of the type that is read.
std::string notRead(const Store& store, std::string_view key, const std::string& expected) {
    const VKTStoredValue stored = store.readObjectForKey(key);
    const std::string name(key);
    if (stored.status == VKTStoredValue::Unreadable) return name + " cannot be read";
    if (stored.status == VKTStoredValue::Absent) return name + " is missing";
    return name + " is " + typeOf(stored.value) + ", not " + expected;
}

bool isUnreadable(const Store& store, std::string_view key) {
    return store.readObjectForKey(key).status == VKTStoredValue::Unreadable;
}

// The first of the keys that cannot be read, a clause; empty when all can. It refuses by itself.
std::string unreadableOf(const Store& store, std::initializer_list<std::string_view> keys) {
    for (const std::string_view key : keys) {
        if (isUnreadable(store, key)) return std::string(key) + " cannot be read";
    }
    return "";
}

// Empty for what is valid, as below.
std::string faultOf(const VKTTCFString& string) {
    if (string.isValid()) return "";
    if (string.TCFString().empty()) return "is empty";
    return VKTUtils::isValidGDPRConsentString(string.TCFString())
               ? "begins with neither B nor C (version 1 or 2)"
               : "is not base64url without padding";
}

std::string faultOf(const VKTCCPAString& string) {
    return string.isValid() ? "" : "is not a 1 followed by three of Y, N and -";
}

std::string faultOf(const VKTGPPString& string) {
    const auto starting = [](std::string_view key, const char* fault) { return std::string(key) + fault; };
    if (string.version() != 1) return starting(VKTConsentKeyGPPVersion, " is not the number 1");
    if (!VKTGPPString::isRawGPPStringValid(string.GPPString()))
        return starting(VKTConsentKeyGPPString, " is empty or holds characters that no GPP string has");
    if (!VKTGPPString::isRawGPPSIDStringValid(string.GPPSIDString()))
        return starting(VKTConsentKeyGPPSIDs, " is no list of section IDs with _ between them");
    if (!VKTGPPString::gppSIDsFromRawGPPSIDString(string.GPPSIDString()))
        return starting(VKTConsentKeyGPPSIDs, " holds a number that is too large for a section ID");
    return "";
}

// The one fault of the flags for this SDK's vendor, if any.
Texts faultsOfVendor(const std::string& flags, std::string_view key) {
    const std::string vendor = "vendor " + std::to_string(VKTConsentVendorID);
    if (!vkt_hasConsentFlag(flags, VKTConsentVendorID)) return {vendor + " is not consented"};
    if (vkt_consentFlag(flags, VKTConsentVendorID + 1)) return {};
    return {std::string(key) + " ends with " + vendor + " while one flag more is asked for"};
}

std::string reasonOfIDFlags(const Store& store, std::string_view purposeKey, std::string_view vendorKey) {
    if (auto fault = unreadableOf(store, {purposeKey, vendorKey}); !fault.empty()) return fault;
    const auto purposes = vkt_storedString(store, purposeKey);
    const auto vendors = vkt_storedString(store, vendorKey);
    if (!purposes) return notRead(store, purposeKey, "a text");
    if (!vendors) return notRead(store, vendorKey, "a text");
    Texts lacking;
    for (const std::size_t purpose : VKTConsentIDPurposes) {
        if (!vkt_hasConsentFlag(*purposes, purpose)) lacking.push_back(std::to_string(purpose));
    }
    Texts faults = faultsOfVendor(*vendors, vendorKey);
    if (!lacking.empty()) {
        faults.insert(faults.begin(), (lacking.size() == 1 ? "purpose " : "purposes ") +
                                          vkt_joined(lacking, ", ") + (lacking.size() == 1 ? " is" : " are") +
                                          " not consented");
    }
    return faults.empty() ? "the purposes and the vendor are consented" : vkt_joined(faults, " and ");
}

std::string reasonOfLocationFlags(const Store& store) {
    const auto keys = {VKTConsentKeyGPPVendorConsents, VKTConsentKeyGPPSpecialFeatures};
    if (auto fault = unreadableOf(store, keys); !fault.empty()) return fault;
    const auto vendors = vkt_storedString(store, VKTConsentKeyGPPVendorConsents);
    const auto features = vkt_storedString(store, VKTConsentKeyGPPSpecialFeatures);
    if (!vendors) return notRead(store, VKTConsentKeyGPPVendorConsents, "a text");
    if (!features) return notRead(store, VKTConsentKeyGPPSpecialFeatures, "a text");
    Texts faults = faultsOfVendor(*vendors, VKTConsentKeyGPPVendorConsents);
    if (!vkt_hasConsentFlag(*features, 1)) {
        faults.emplace_back("special feature 1 is not opted in to");
    } else if (!vkt_consentFlag(*features, 2)) {
        faults.push_back(std::string(VKTConsentKeyGPPSpecialFeatures) + " has one flag only");
    }
    return faults.empty() ? "the vendor and special feature 1 are consented" : vkt_joined(faults, " and ");
}

std::string reasonOfPlainIDs(const Store& store) {
    const auto stored = store.objectForKey(VKTConsentKeyGDPRApplies);
    const auto applies = stored ? stored->asNumber() : std::nullopt;
    if (!applies) return notRead(store, VKTConsentKeyGDPRApplies, "a number");
    std::string reason = std::string(VKTConsentKeyGDPRApplies) + " is " + applies->description();
    if (*applies != VKTNumber(1)) return reason;
    return reason + " and " +
           reasonOfIDFlags(store, VKTConsentKeyPurposeConsents, VKTConsentKeyVendorConsents);
}

PrivacyVerdicts verdictsOfTCFSection(const std::shared_ptr<const Store>& store) {
    const std::string name = "section 2 (TCF) applies and ";
    VKTConsentReader reader(*store);
    const auto section = reader.stringForKey(VKTConsentKeyGPPSectionTCF);
    std::string fault;
    if (section) {
        const auto string = VKTTCFString::initWithTCFString(*section, true, store);
        if (string.isValid()) {
            PrivacyVerdicts verdicts = verdictsOf(string);
            for (PrivacyVerdict* verdict : {&verdicts.IDs, &verdicts.location})
                verdict->reason = name + verdict->reason;
            return verdicts;
        }
        fault = std::string(VKTConsentKeyGPPSectionTCF) + " " + faultOf(string);
    } else {
        fault = notRead(*store, VKTConsentKeyGPPSectionTCF, "a text");
    }
    const PrivacyVerdict verdict{reader.checked(VKTConsentDecisionUndetermined), name + fault};
    return {verdict, verdict};
}

PrivacyVerdict verdictOfCCPASection(const Store& store) {
    const std::string name = "section 6 (US Privacy) applies and ";
    VKTConsentReader reader(store);
    const auto section = reader.stringForKey(VKTConsentKeyGPPSectionCCPA);
    if (!section)
        return {reader.checked(VKTConsentDecisionUndetermined),
                name + notRead(store, VKTConsentKeyGPPSectionCCPA, "a text")};
    const auto string = VKTCCPAString::initWithCCPAString(*section);
    const auto [decision, reason] = verdictOf(string);
    if (string.isValid()) return {decision, name + reason};
    return {VKTConsentDecisionUndetermined,
            name + std::string(VKTConsentKeyGPPSectionCCPA) + " " + faultOf(string)};
}

std::string unreadableOfGPP(const Store& store) {
    return unreadableOf(store, {VKTConsentKeyGPPString, VKTConsentKeyGPPSIDs, VKTConsentKeyGPPVersion});
}

PrivacyVerdict verdictOfIDs(const VKTIdentity& identity, const Store& store) {
    const auto decision = identity.canSendIDs() ? VKTConsentDecisionAllowed : VKTConsentDecisionRefused;
    const VKTIdentityProvider& provider = *identity.identityProvider();
    const auto GPP = provider.readGPPString();
    if (GPP.isUnreadable) return {decision, unreadableOfGPP(store)};
    std::string open;
    if (GPP.value) {
        const PrivacyVerdict verdict = verdictsOf(*GPP.value).IDs;
        if (verdict.decision != VKTConsentDecisionUndetermined)
            return {decision, "the GPP string decides, " + verdict.reason};
        open = "the GPP string leaves it open; ";
    }
    const auto TCF = provider.readTCFString();
    if (TCF.isUnreadable)
        return {decision, open + unreadableOf(store, {VKTConsentKeyTCFString, VKTConsentKeyLegacyTCFString})};
    if (TCF.value) return {decision, open + "the TCF string decides, " + verdictsOf(*TCF.value).IDs.reason};
    const auto applies = provider.readTCFGDPRApplies();
    const std::string state = applies.isUnreadable   ? " cannot be read"
                              : *applies.value == -1 ? " does not say 1"
                                                     : " counts as " + std::to_string(*applies.value);
    return {decision, open + "there is no TCF string and " + std::string(VKTConsentKeyGDPRApplies) + state};
}

PrivacyVerdict verdictOfLocation(const VKTIdentity& identity, const Store& store) {
    const auto decision = identity.canSendLocation() ? VKTConsentDecisionAllowed : VKTConsentDecisionRefused;
    const auto GPP = identity.identityProvider()->readGPPString();
    if (GPP.isUnreadable) return {decision, unreadableOfGPP(store)};
    if (!GPP.value) return {decision, "there is no GPP string and nothing else binds the location"};
    const PrivacyVerdict verdict = verdictsOf(*GPP.value).location;
    const bool isOpen = verdict.decision == VKTConsentDecisionUndetermined;
    return {decision, isOpen ? "the GPP string leaves it open and nothing else binds the location"
                             : "the GPP string decides, " + verdict.reason};
}

void warnOfTypes(const VKTIdentity& identity, const Store& store, Texts& warnings) {
    for (const std::string_view key : textSignals) {
        if (store.objectForKey(key) && !vkt_storedString(store, key))
            warnings.push_back(notRead(store, key, "a text") + ", and counts as missing");
    }
    for (const std::string_view key : numberSignals) {
        const auto value = store.objectForKey(key);
        if (!value || value->asNumber()) continue;
        const auto integer = std::to_string(identity.identityProvider()->TCFGDPRApplies());
        warnings.push_back(notRead(store, key, "a number") + ", and counts as missing" +
                           (key == VKTConsentKeyGDPRApplies
                                ? " beside a TCF string and as " + integer + " without one"
                                : ""));
    }
}

void warnOfPlainStrings(const VKTIdentity& identity, const Store& store, Texts& warnings) {
    if (const auto TCF = identity.TCFString()) {
        const bool isLegacy = !vkt_storedString(store, VKTConsentKeyTCFString);
        const std::string key(isLegacy ? VKTConsentKeyLegacyTCFString : VKTConsentKeyTCFString);
        if (isLegacy)
            warnings.push_back(key + " is used, a legacy key, as " + std::string(VKTConsentKeyTCFString) +
                               " holds no text");
        if (!TCF->isValid()) warnings.push_back(key + " " + faultOf(*TCF));
    }
    const auto CCPA = identity.CCPAString();
    if (CCPA && !CCPA->isValid())
        warnings.push_back(std::string(VKTConsentKeyCCPAString) + " " + faultOf(*CCPA));
}

void warnOfGPP(const VKTIdentity& identity, const Store& store, Texts& warnings) {
    const auto [GPP, isGPPUnreadable] = identity.identityProvider()->readGPPString();
    if (isGPPUnreadable) return;  // and told
    if (GPP) {
        const auto [IDs, location] = verdictsOf(*GPP);
        if (IDs.decision == VKTConsentDecisionUndetermined)
            warnings.push_back("the GPP string does not decide on identifiers: " + IDs.reason);
        if (location.decision == VKTConsentDecisionUndetermined && location.reason != IDs.reason)
            warnings.push_back("the GPP string does not decide on the location: " + location.reason);
        return;
    }
    for (const auto& [present, other] : {std::pair(VKTConsentKeyGPPString, VKTConsentKeyGPPSIDs),
                                         {VKTConsentKeyGPPSIDs, VKTConsentKeyGPPString}}) {
        if (vkt_storedString(store, present))
            warnings.push_back(std::string(present) + " is not used, as " + notRead(store, other, "a text"));
    }
}

}  // namespace

PrivacyVerdicts verdictsOf(const VKTTCFString& string) {
    const Store& store = *string.propertyCacheManager();
    if (string.isComingFromGPP())
        return {{string.canSendIDs(),
                 reasonOfIDFlags(store, VKTConsentKeyGPPPurposeConsents, VKTConsentKeyGPPVendorConsents)},
                {string.canSendLocation(), reasonOfLocationFlags(store)}};
    return {{string.canSendIDs(), reasonOfPlainIDs(store)},
            {string.canSendLocation(), "a TCF string outside a GPP string does not bind the location"}};
}

PrivacyVerdict verdictOf(const VKTCCPAString& string) {
    if (!string.isValid()) return {VKTConsentDecisionRefused, "the string " + faultOf(string)};
    if (!string.canSendIDs()) return {VKTConsentDecisionRefused, "the user has opted out of sale"};
    return {VKTConsentDecisionAllowed, "the user has not opted out of sale"};
}

PrivacyVerdicts verdictsOf(const VKTGPPString& string) {
    PrivacyVerdicts verdicts{{string.canSendIDs(), faultOf(string)},
                             {string.canSendLocation(), faultOf(string)}};
    if (!verdicts.IDs.reason.empty()) return verdicts;
    const auto IDs = *VKTGPPString::gppSIDsFromRawGPPSIDString(string.GPPSIDString());
    const auto applies = [&IDs](std::int32_t ID) {
        return std::find(IDs.begin(), IDs.end(), ID) != IDs.end();
    };
    std::vector<PrivacyVerdict> sections;
    verdicts.location.reason = "section 2 (TCF) does not apply";
    if (applies(TCFSectionID)) {
        const PrivacyVerdicts section = verdictsOfTCFSection(string.propertyCacheManager());
        sections.push_back(section.IDs);
        verdicts.location.reason = section.location.reason;
    }
    if (applies(CCPASectionID)) sections.push_back(verdictOfCCPASection(*string.propertyCacheManager()));
    Texts reasons;
    for (const auto& [decision, reason] : sections) {
        if (decision == verdicts.IDs.decision) reasons.push_back(reason);
    }
    verdicts.IDs.reason = sections.empty() ? "neither section 2 (TCF) nor section 6 (US Privacy) applies"
                                           : vkt_joined(reasons, "; ");
    return verdicts;
}

PrivacyVerdicts verdictsOf(const VKTIdentity& identity, const VKTPropertyCacheManager& store) {
    return {verdictOfIDs(identity, store), verdictOfLocation(identity, store)};
}

std::string reasonOfType(VKTIdentityType type) {
    switch (type) {
        case VKTIdentityTypeCustomIdentifier:
            return "a custom identifier is given";
        case VKTIdentityTypeAdvertisingID:
            return "no custom identifier is given and the advertising identifier is valid";
        case VKTIdentityTypeTransientID:
            return "no custom identifier is given, the advertising identifier is not valid and transient IDs "
                   "are enabled";
        case VKTIdentityTypeNone:
            break;
    }
    return "no custom identifier is given, the advertising identifier is not valid and transient IDs are not "
           "enabled";
}

std::vector<std::string> unreadableSignals(const VKTIdentity& identity,
                                           const VKTPropertyCacheManager& store) {
    const auto fault = [](std::string what, const std::string& consequence, const char* remedy) {
        return what.append(" cannot be read (damaged, or locked by another program), so ")
            .append(consequence)
            .append("; close what else uses the file and try again, or ")
            .append(remedy);
    };
    Texts faults;
    const auto check = [&](std::string_view key) {
        if (isUnreadable(store, key))
            faults.push_back(fault(std::string(key), "every decision that asks for it refuses",
                                   "store the signal anew with --set"));
    };
    std::for_each(textSignals.begin(), textSignals.end(), check);
    std::for_each(numberSignals.begin(), numberSignals.end(), check);
    if (faults.size() == textSignals.size() + numberSignals.size())
        faults = {fault("what the file holds of consent", "neither identifiers nor location may be sent",
                        "restore the file")};
    if (identity.transientId() && identity.identityProvider()->readTransientID().isUnreadable)
        faults.push_back(fault("the transient ID", "the one that is shown stands in and is not stored",
                               "delete the file"));
    return faults;
}

std::vector<std::string> privacyWarnings(const VKTIdentity& identity, const VKTPropertyCacheManager& store) {
    Texts warnings;
    warnOfTypes(identity, store, warnings);
    warnOfPlainStrings(identity, store, warnings);
    warnOfGPP(identity, store, warnings);
    return warnings;
}

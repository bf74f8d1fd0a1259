#include "VKTCoreKit/privacy/VKTGPPString.h"

#include <algorithm>
#include <limits>
#include <unordered_set>
#include <utility>

#include "VKTCoreKit/foundation/VKTKeyedHash.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/privacy/VKTCCPAString.h"
#include "VKTCoreKit/privacy/VKTConsentSignals.h"
#include "VKTCoreKit/privacy/VKTTCFString.h"

namespace {

constexpr std::int32_t TCFSectionID = 2;
constexpr std::int32_t CCPASectionID = 6;

bool isSectionID(std::string_view text) {
    return text == "-1" || (!text.empty() && std::all_of(text.begin(), text.end(), vkt_isDigit));
}

bool contains(const std::vector<std::int32_t>& IDs, std::int32_t ID) {
    return std::find(IDs.begin(), IDs.end(), ID) != IDs.end();
}

const VKTConsentClause sectionIDTooLarge{VKTConsentRuleGPPSectionIDTooLarge, VKTConsentKeyGPPSIDs};

}  // namespace

VKTGPPString VKTGPPString::initWithGPPString(
    std::string GPPString, std::string GPPSIDString, std::int64_t gppVersion,
    std::shared_ptr<const VKTPropertyCacheManager> propertyCacheManager) {
    if (!propertyCacheManager) propertyCacheManager = VKTDefaultPropertyCacheManager::init();
    return {std::move(GPPString), std::move(GPPSIDString), gppVersion, std::move(propertyCacheManager)};
}

VKTGPPString::VKTGPPString(std::string GPPString, std::string GPPSIDString, std::int64_t gppVersion,
                           std::shared_ptr<const VKTPropertyCacheManager> propertyCacheManager)
    : GPPString_(std::move(GPPString)),
      GPPSIDString_(std::move(GPPSIDString)),
      version_(GPPVersionFromInteger(gppVersion)),
      fault_(findFault()),
      propertyCacheManager_(std::move(propertyCacheManager)) {}

std::optional<VKTConsentClause> VKTGPPString::findFault() const {
    if (version_ != 1) return {{VKTConsentRuleGPPVersionUnknown, VKTConsentKeyGPPVersion}};
    if (!isRawGPPStringValid(GPPString_)) return {{VKTConsentRuleGPPStringForm, VKTConsentKeyGPPString}};
    if (!isRawGPPSIDStringValid(GPPSIDString_))
        return {{VKTConsentRuleGPPSectionIDsForm, VKTConsentKeyGPPSIDs}};
    return std::nullopt;
}

int VKTGPPString::GPPVersionFromInteger(std::int64_t integer) {
    return integer == 1 ? 1 : -1;
}

bool VKTGPPString::isRawGPPStringValid(std::string_view string) {
    return !string.empty() && std::all_of(string.begin(), string.end(), [](char c) {
        return vkt_isLetter(c) || vkt_isDigit(c) || c == '.' || c == '~' || c == '_' || c == '-';
    });
}

bool VKTGPPString::isRawGPPSIDStringValid(std::string_view string) {
    const auto pieces = vkt_split(string, '_');
    return std::all_of(pieces.begin(), pieces.end(), isSectionID);
}

std::optional<std::vector<std::int32_t>> VKTGPPString::gppSIDsFromRawGPPSIDString(std::string_view string) {
    if (!isRawGPPSIDStringValid(string)) return std::nullopt;
    std::vector<std::int32_t> IDs;
    std::unordered_set<std::int32_t, VKTKeyedHash> seen;
    for (const std::string_view piece : vkt_split(string, '_')) {
        const std::int64_t value = vkt_integerValue(piece);
        if (value > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
        const auto ID = static_cast<std::int32_t>(value);
        if (seen.insert(ID).second) IDs.push_back(ID);
    }
    return IDs;
}

VKTConsentVerdict VKTGPPString::verdictOnIDs() const {
    if (fault_) return {VKTConsentDecisionUndetermined, {*fault_}};
    const auto IDs = gppSIDsFromRawGPPSIDString(GPPSIDString_);
    if (!IDs) return {VKTConsentDecisionUndetermined, {sectionIDTooLarge}};
    std::vector<VKTConsentVerdict> sections;
    if (contains(*IDs, TCFSectionID)) sections.push_back(verdictOfTCFSection(false));
    if (contains(*IDs, CCPASectionID)) sections.push_back(verdictOfCCPASection());
    if (sections.empty()) return {VKTConsentDecisionAllowed, {{VKTConsentRuleGPPNoSectionApplies}}};
    const bool isReadable = std::none_of(sections.begin(), sections.end(),
                                         [](const auto& section) { return section.restsOnUnreadable(); });
    // The numbers rise with the weight: allowed by both, refused by one, undetermined by one.
    VKTConsentVerdict verdict{VKTConsentDecisionAllowed, {}};
    for (const VKTConsentVerdict& section : sections)
        verdict.decision = std::max(verdict.decision, section.decision);
    if (!isReadable) verdict.decision = VKTConsentDecisionRefused;
    for (const auto& [decision, clauses] : sections)
        if (decision == verdict.decision)
            verdict.clauses.insert(verdict.clauses.end(), clauses.begin(), clauses.end());
    return verdict;
}

VKTConsentVerdict VKTGPPString::verdictOnLocation() const {
    if (fault_) return {VKTConsentDecisionUndetermined, {*fault_}};
    const auto IDs = gppSIDsFromRawGPPSIDString(GPPSIDString_);
    if (!IDs) return {VKTConsentDecisionUndetermined, {sectionIDTooLarge}};
    if (contains(*IDs, TCFSectionID)) return verdictOfTCFSection(true);
    return {VKTConsentDecisionAllowed, {{VKTConsentRuleGPPSectionTCFNotListed}}};
}

VKTConsentVerdict VKTGPPString::verdictOfTCFSection(bool isAboutLocation) const {
    const VKTConsentClause applies{VKTConsentRuleGPPSectionTCFApplies};
    auto section = vkt_readConsentText(*propertyCacheManager_, VKTConsentKeyGPPSectionTCF);
    if (section.isUnreadable) return {VKTConsentDecisionRefused, {applies, section.signal}};
    if (!section.value) return {VKTConsentDecisionUndetermined, {applies, section.signal}};
    const auto string =
        VKTTCFString::initWithTCFString(std::move(*section.value), true, propertyCacheManager_);
    if (const auto fault = string.fault(VKTConsentKeyGPPSectionTCF))
        return {VKTConsentDecisionUndetermined, {applies, *fault}};
    return (isAboutLocation ? string.verdictOnLocation() : string.verdictOnIDs()).under(applies);
}

VKTConsentVerdict VKTGPPString::verdictOfCCPASection() const {
    const VKTConsentClause applies{VKTConsentRuleGPPSectionUSPrivacyApplies};
    auto section = vkt_readConsentText(*propertyCacheManager_, VKTConsentKeyGPPSectionCCPA);
    if (section.isUnreadable) return {VKTConsentDecisionRefused, {applies, section.signal}};
    if (!section.value) return {VKTConsentDecisionUndetermined, {applies, section.signal}};
    const auto string = VKTCCPAString::initWithCCPAString(std::move(*section.value));
    VKTConsentVerdict verdict = string.verdictOnIDs(VKTConsentKeyGPPSectionCCPA).under(applies);
    if (!string.isValid()) verdict.decision = VKTConsentDecisionUndetermined;
    return verdict;
}

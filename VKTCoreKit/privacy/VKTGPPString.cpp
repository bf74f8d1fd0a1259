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
      isValid_(version_ == 1 && isRawGPPStringValid(GPPString_) && isRawGPPSIDStringValid(GPPSIDString_)),
      propertyCacheManager_(std::move(propertyCacheManager)) {}

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

VKTConsentDecision VKTGPPString::canSendIDs() const {
    const auto IDs = isValid_ ? gppSIDsFromRawGPPSIDString(GPPSIDString_) : std::nullopt;
    if (!IDs) return VKTConsentDecisionUndetermined;
    VKTConsentReader reader(*propertyCacheManager_);
    const bool isTCFListed = contains(*IDs, TCFSectionID);
    const bool isCCPAListed = contains(*IDs, CCPASectionID);
    // The numbers rise with the weight: allowed by both, refused by one, undetermined by one.
    const auto byTCF = isTCFListed ? TCFSectionDecision(reader, false) : VKTConsentDecisionAllowed;
    const auto byCCPA = isCCPAListed ? CCPASectionDecision(reader) : VKTConsentDecisionAllowed;
    return reader.checked(std::max(byTCF, byCCPA));
}

VKTConsentDecision VKTGPPString::canSendLocation() const {
    const auto IDs = isValid_ ? gppSIDsFromRawGPPSIDString(GPPSIDString_) : std::nullopt;
    if (!IDs) return VKTConsentDecisionUndetermined;
    if (!contains(*IDs, TCFSectionID)) return VKTConsentDecisionAllowed;
    VKTConsentReader reader(*propertyCacheManager_);
    return reader.checked(TCFSectionDecision(reader, true));
}

VKTConsentDecision VKTGPPString::TCFSectionDecision(VKTConsentReader& reader, bool isAboutLocation) const {
    auto section = reader.stringForKey(VKTConsentKeyGPPSectionTCF);
    if (!section) return VKTConsentDecisionUndetermined;
    const auto string = VKTTCFString::initWithTCFString(std::move(*section), true, propertyCacheManager_);
    if (!string.isValid()) return VKTConsentDecisionUndetermined;
    return isAboutLocation ? string.decisionOnLocation(reader) : string.decisionOnIDs(reader);
}

VKTConsentDecision VKTGPPString::CCPASectionDecision(VKTConsentReader& reader) {
    auto section = reader.stringForKey(VKTConsentKeyGPPSectionCCPA);
    if (!section) return VKTConsentDecisionUndetermined;
    const auto string = VKTCCPAString::initWithCCPAString(std::move(*section));
    if (!string.isValid()) return VKTConsentDecisionUndetermined;
    return string.canSendIDs() ? VKTConsentDecisionAllowed : VKTConsentDecisionRefused;
}

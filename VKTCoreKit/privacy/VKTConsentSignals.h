// Where a consent platform stores what the user has answered, and how its flags are read.
//
// A flag string has one character "0" or "1" per purpose or vendor; the first stands for number 1.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/core/VKTPropertyCacheManager.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/privacy/VKTPrivacyReading.h"

// Texts, unless said otherwise.
inline constexpr std::string_view VKTConsentKeyTCFString = "IABTCF_TCString";
inline constexpr std::string_view VKTConsentKeyLegacyTCFString = "IABConsent_ConsentString";
inline constexpr std::string_view VKTConsentKeyGDPRApplies = "IABTCF_gdprApplies";  ///< number
inline constexpr std::string_view VKTConsentKeyPurposeConsents = "IABTCF_PurposeConsents";
inline constexpr std::string_view VKTConsentKeyVendorConsents = "IABTCF_VendorConsents";
inline constexpr std::string_view VKTConsentKeyCCPAString = "IABUSPrivacy_String";
inline constexpr std::string_view VKTConsentKeyGPPVersion = "IABGPP_HDR_Version";  ///< number
inline constexpr std::string_view VKTConsentKeyGPPString = "IABGPP_HDR_GppString";
inline constexpr std::string_view VKTConsentKeyGPPSIDs = "IABGPP_GppSID";
inline constexpr std::string_view VKTConsentKeyGPPSectionTCF = "IABGPP_2_String";
inline constexpr std::string_view VKTConsentKeyGPPSectionCCPA = "IABGPP_6_String";
inline constexpr std::string_view VKTConsentKeyGPPPurposeConsents = "IABGPP_TCFEU2_PurposesConsent";
inline constexpr std::string_view VKTConsentKeyGPPVendorConsents = "IABGPP_TCFEU2_VendorConsent";
inline constexpr std::string_view VKTConsentKeyGPPSpecialFeatures = "IABGPP_TCFEU2_SpecialFeatureOptIns";

/// This SDK's own number in vendor flags.
inline constexpr std::size_t VKTConsentVendorID = 45;

/// The purposes that identifiers need.
inline constexpr std::array<std::size_t, 5> VKTConsentIDPurposes{1, 2, 4, 7, 10};

/// Each signal, with the type in which it is read.
inline constexpr std::array VKTConsentTextSignals{
    VKTConsentKeyTCFString,         VKTConsentKeyLegacyTCFString,
    VKTConsentKeyPurposeConsents,   VKTConsentKeyVendorConsents,
    VKTConsentKeyCCPAString,        VKTConsentKeyGPPString,
    VKTConsentKeyGPPSIDs,           VKTConsentKeyGPPSectionTCF,
    VKTConsentKeyGPPSectionCCPA,    VKTConsentKeyGPPPurposeConsents,
    VKTConsentKeyGPPVendorConsents, VKTConsentKeyGPPSpecialFeatures,
};
inline constexpr std::array VKTConsentNumberSignals{VKTConsentKeyGDPRApplies, VKTConsentKeyGPPVersion};

/// What stands under `key`, a constant, of which the reading's clause keeps the characters. Nothing of a
/// signal of another type or one that cannot be read; the latter refuses whatever rests on it.
VKT_EXPORT VKTPrivacyReading<VKTValue> vkt_readConsentValue(const VKTPropertyCacheManager& store,
                                                            std::string_view key);
VKT_EXPORT VKTPrivacyReading<std::string> vkt_readConsentText(const VKTPropertyCacheManager& store,
                                                              std::string_view key);
VKT_EXPORT VKTPrivacyReading<VKTNumber> vkt_readConsentNumber(const VKTPropertyCacheManager& store,
                                                              std::string_view key);

/// The flag of `number` (from 1): of a character outside ASCII its first byte. Nothing when there are fewer.
VKT_EXPORT std::optional<char> vkt_consentFlag(std::string_view flags, std::size_t number);

/// Whether that flag is there and "1".
VKT_EXPORT bool vkt_hasConsentFlag(std::string_view flags, std::size_t number);

/// The purposes that identifiers need and whose flags are not "1": bit n stands for purpose n.
VKT_EXPORT std::uint32_t vkt_missingIDPurposes(std::string_view purposeFlags);

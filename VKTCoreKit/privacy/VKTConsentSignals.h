// Where a consent platform stores what the user has answered, and how its flags are read.
//
// A flag string has one character "0" or "1" per purpose or vendor; the first stands for number 1.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/core/VKTPropertyCacheManager.h"
#include "VKTCoreKit/privacy/VKTConsentDecision.h"

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

/// Reads the signals of one decision and remembers whether one of them could not be read. Of those it gives
/// nothing, as of missing ones, so whoever decides asks at the end. For one thread; the store must outlive
/// it.
class VKTConsentReader {
  public:
    explicit VKTConsentReader(const VKTPropertyCacheManager& store) : store_(store) {}

    /// Nothing when there is none, one of another type, or one that cannot be read.
    std::optional<VKTValue> valueForKey(std::string_view key);
    std::optional<std::string> stringForKey(std::string_view key);
    std::optional<VKTNumber> numberForKey(std::string_view key);

    /// Whether any signal so far could not be read.
    [[nodiscard]] bool hasFailed() const { return hasFailed_; }

    /// The decision itself, which is refused when it rests on a signal that could not be read.
    [[nodiscard]] VKTConsentDecision checked(VKTConsentDecision decision) const {
        return hasFailed_ ? VKTConsentDecisionRefused : decision;
    }

  private:
    const VKTPropertyCacheManager& store_;
    bool hasFailed_ = false;
};

/// The text stored under `key`; nothing when there is none, one that cannot be read, or a value of another
/// type. To be shown, not to decide by.
std::optional<std::string> vkt_storedString(const VKTPropertyCacheManager& store, std::string_view key);

/// The flag of `number` (from 1): of a character outside ASCII its first byte. Nothing when there are fewer.
std::optional<char> vkt_consentFlag(std::string_view flags, std::size_t number);

/// Whether that flag is there and "1".
bool vkt_hasConsentFlag(std::string_view flags, std::size_t number);

/// Whether the flags of all purposes that identifiers need are "1".
bool vkt_hasConsentForIDPurposes(std::string_view purposeFlags);

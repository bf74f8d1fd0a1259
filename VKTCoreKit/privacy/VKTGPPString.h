// The IAB's Global Privacy Platform string with the sections that apply.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/core/VKTPropertyCacheManager.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/privacy/VKTConsentVerdict.h"

/// Judges both strings by their form and decides by the sections 2 (TCF EU v2) and 6 (US Privacy) that the
/// consent platform stores beside them. A value; the decisions read the store at each call, on any thread.
/// Holds the store.
class VKT_EXPORT VKTGPPString {
  public:
    /// The sections are read from the platform's store when no other is given.
    static VKTGPPString initWithGPPString(
        std::string GPPString, std::string GPPSIDString, std::int64_t gppVersion,
        std::shared_ptr<const VKTPropertyCacheManager> propertyCacheManager = nullptr);

    /// 1 as it is, -1 for anything else.
    static int GPPVersionFromInteger(std::int64_t integer);

    /// Whether the string is not empty and made only of A-Z, a-z, 0-9, ".", "~", "_" and "-".
    static bool isRawGPPStringValid(std::string_view string);

    /// Whether the string is made of section IDs, each decimal digits or "-1", with a "_" between two.
    static bool isRawGPPSIDStringValid(std::string_view string);

    /// Each ID once, in the order in which it first comes. Nothing for a string that is not valid, or with an
    /// ID beyond 2147483647.
    static std::optional<std::vector<std::int32_t>> gppSIDsFromRawGPPSIDString(std::string_view string);

    [[nodiscard]] const std::string& GPPString() const { return GPPString_; }
    [[nodiscard]] const std::string& GPPSIDString() const { return GPPSIDString_; }
    [[nodiscard]] int version() const { return version_; }  ///< 1, or -1 when unknown
    [[nodiscard]] bool isValid() const { return !fault_; }
    [[nodiscard]] const std::shared_ptr<const VKTPropertyCacheManager>& propertyCacheManager() const {
        return propertyCacheManager_;
    }

    /// Undetermined when the strings are not valid, or a section that applies is missing or not valid.
    /// Refused when what is read of a section that applies cannot be read, whatever the other section says.
    [[nodiscard]] VKTConsentVerdict verdictOnIDs() const;
    [[nodiscard]] VKTConsentVerdict verdictOnLocation() const;
    [[nodiscard]] VKTConsentDecision canSendIDs() const { return verdictOnIDs().decision; }
    [[nodiscard]] VKTConsentDecision canSendLocation() const { return verdictOnLocation().decision; }

  private:
    VKTGPPString(std::string GPPString, std::string GPPSIDString, std::int64_t gppVersion,
                 std::shared_ptr<const VKTPropertyCacheManager> propertyCacheManager);

    [[nodiscard]] std::optional<VKTConsentClause> findFault() const;
    [[nodiscard]] VKTConsentVerdict verdictOfTCFSection(bool isAboutLocation) const;
    [[nodiscard]] VKTConsentVerdict verdictOfCCPASection() const;

    std::string GPPString_;
    std::string GPPSIDString_;
    int version_;
    std::optional<VKTConsentClause> fault_;
    std::shared_ptr<const VKTPropertyCacheManager> propertyCacheManager_;
};

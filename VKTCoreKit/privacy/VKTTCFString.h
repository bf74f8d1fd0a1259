// The consent string of the IAB's Transparency and Consent Framework.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/core/VKTPropertyCacheManager.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/privacy/VKTConsentVerdict.h"

/// Judges the string by its form and reads the flags that the consent platform stores beside it; the string's
/// bit fields are not decoded. A value; the decisions read the store at each call, on any thread. Holds the
/// store.
class VKT_EXPORT VKTTCFString {
  public:
    /// A string of a wrong form is logged as an error and kept. The flags are read from the platform's store
    /// when no other is given.
    static VKTTCFString initWithTCFString(
        std::string TCFString, bool isComingFromGPP = false,
        std::shared_ptr<const VKTPropertyCacheManager> propertyCacheManager = nullptr);

    /// 1 for a string that begins with "B", 2 for "C", else -1.
    static int TCFVersionFromString(std::string_view string);

    /// 1 and 2 as they are, -1 for anything else.
    static int TCFVersionFromInteger(std::int64_t integer);

    [[nodiscard]] const std::string& TCFString() const { return TCFString_; }
    [[nodiscard]] bool isValid() const { return version_ != -1; }
    [[nodiscard]] int version() const { return version_; }  ///< 1, 2, or -1 when unknown

    /// What makes it invalid, of the signal `key` (a constant); nothing when it is valid.
    [[nodiscard]] std::optional<VKTConsentClause> fault(std::string_view key = {}) const;

    /// Whether the string is the TCF section of a GPP string, which has flags of its own.
    [[nodiscard]] bool isComingFromGPP() const { return isComingFromGPP_; }
    [[nodiscard]] const std::shared_ptr<const VKTPropertyCacheManager>& propertyCacheManager() const {
        return propertyCacheManager_;
    }

    /// Of a plain string: allowed where the GDPR is not known to apply. It does not ask whether the string is
    /// valid. Refused when what it reads in the store cannot be read.
    [[nodiscard]] VKTConsentVerdict verdictOnIDs() const;
    [[nodiscard]] VKTConsentVerdict verdictOnLocation() const;
    [[nodiscard]] VKTConsentDecision canSendIDs() const { return verdictOnIDs().decision; }
    [[nodiscard]] VKTConsentDecision canSendLocation() const { return verdictOnLocation().decision; }

    /// The decision by the flags stored under these two keys. Without both: undetermined from a GPP string,
    /// else refused; refused, too, when one of them cannot be read.
    [[nodiscard]] VKTConsentDecision getIDConsentFromCacheForPurposeConsent(
        std::string_view purposeConsent, std::string_view vendorConsent) const;

    [[nodiscard]] std::string description() const;

  private:
    VKTTCFString(std::string TCFString, bool isComingFromGPP,
                 std::shared_ptr<const VKTPropertyCacheManager> propertyCacheManager);

    [[nodiscard]] VKTConsentVerdict verdictByFlags(std::string_view purposeKey,
                                                   std::string_view vendorKey) const;

    std::string TCFString_;
    bool isComingFromGPP_;
    std::optional<VKTConsentRule> fault_;
    int version_;
    std::shared_ptr<const VKTPropertyCacheManager> propertyCacheManager_;
};

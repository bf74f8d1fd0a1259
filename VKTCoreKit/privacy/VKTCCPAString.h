// The US Privacy string of the IAB.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/privacy/VKTConsentVerdict.h"

/// Four characters: the version "1", then whether notice was given, whether the user opted out of the sale of
/// personal data, and whether the limited service provider agreement covers it, each "Y", "N" or "-". A
/// value.
class VKT_EXPORT VKTCCPAString {
  public:
    static VKTCCPAString initWithCCPAString(std::string CCPAString);

    /// Whether any character from `fromIndex` to `toIndex`, both included, is missing or none of "Y", "N",
    /// "-".
    static bool hasInvalidCharacters(std::string_view string, std::size_t fromIndex, std::size_t toIndex);

    [[nodiscard]] const std::string& CCPAString() const { return CCPAString_; }
    [[nodiscard]] bool isValid() const { return isValid_; }
    [[nodiscard]] int version() const { return isValid_ ? 1 : -1; }

    /// Refused, never undetermined, unless it is valid and the user has not opted out of sale. The signal
    /// `key` (a constant) is named in the verdict on an invalid one.
    [[nodiscard]] VKTConsentVerdict verdictOnIDs(std::string_view key = {}) const;
    [[nodiscard]] bool canSendIDs() const { return verdictOnIDs().decision == VKTConsentDecisionAllowed; }

    [[nodiscard]] std::string description() const;

  private:
    explicit VKTCCPAString(std::string CCPAString);

    std::string CCPAString_;
    bool isValid_;
};

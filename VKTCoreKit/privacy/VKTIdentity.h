// The user identifier that is sent, and whether it may be.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/privacy/VKTIdentityProvider.h"

enum VKTIdentityType : int {
    VKTIdentityTypeNone = 0,
    VKTIdentityTypeAdvertisingID = 1,
    VKTIdentityTypeTransientID = 2,
    VKTIdentityTypeCustomIdentifier = 3,
};

/// The identifiers are those of the moment in which it was made; consent strings and decisions are read from
/// the provider at each call. Any thread. Holds its provider.
///
/// ```cpp
/// auto identity = VKTIdentity::initWithHashed(false, true);
/// if (identity->canSendIDs())
///     std::cout << identity->identity() << '\n';
/// else
///     std::cout << identity->verdictOnIDs().reason() << '\n';
/// ```
class VKT_EXPORT VKTIdentity {
  public:
    /// The provider must not be null. The identity is the first there is of: the custom identifier (an empty
    /// one counts), the advertising identifier, the transient ID if enabled; else none and "".
    static std::shared_ptr<VKTIdentity> initWithIdentityProvider(
        std::shared_ptr<VKTIdentityProvider> identityProvider, bool hashed, bool transientIDEnabled,
        std::optional<std::string> customIdentifier);

    /// Over a default provider.
    static std::shared_ptr<VKTIdentity> initWithHashed(
        bool hashed, bool transientIDEnabled, std::optional<std::string> customIdentifier = std::nullopt);

    /// Neither empty nor all zeros.
    static bool isValidUUID(std::string_view string);

    /// The stored one while it is valid, else a new one. Calls that come at once get the same.
    /// One that is stored and cannot be read is not overwritten: another stands in for it, in memory only,
    /// for a day, for all providers of the process, and as long as the stored one stays unreadable.
    static std::string retrieveTransientIDWithProvider(VKTIdentityProvider& provider);

    /// Less than 24 hours away from now, on either side.
    static bool isValidTransientIDWithGenerationDate(VKTDate date);
    static bool isValidTransientIDWithGenerationDate(VKTDate date, VKTDate now);

    [[nodiscard]] const std::string& identity() const { return identity_; }
    [[nodiscard]] VKTIdentityType type() const { return type_; }

    /// Why it is of that type, a clause: "a custom identifier is given".
    [[nodiscard]] std::string_view typeReason() const { return typeReason_; }
    [[nodiscard]] const std::optional<std::string>& ifa() const { return ifa_; }
    [[nodiscard]] const std::optional<std::string>& ifv() const { return ifv_; }

    /// Nothing when there is an advertising identifier.
    [[nodiscard]] const std::optional<std::string>& transientId() const { return transientId_; }
    [[nodiscard]] const std::optional<std::string>& customIdentifier() const { return customIdentifier_; }
    [[nodiscard]] bool isHashed() const { return isHashed_; }
    [[nodiscard]] bool isTransientIDEnabled() const { return isTransientIDEnabled_; }
    [[nodiscard]] const std::shared_ptr<VKTIdentityProvider>& identityProvider() const {
        return identityProvider_;
    }

    [[nodiscard]] std::optional<VKTTCFString> TCFString() const { return identityProvider_->TCFString(); }
    [[nodiscard]] std::optional<VKTCCPAString> CCPAString() const { return identityProvider_->CCPAString(); }
    [[nodiscard]] std::optional<VKTGPPString> GPPString() const { return identityProvider_->GPPString(); }
    [[nodiscard]] std::optional<std::string> gdprConsentString() const {
        return identityProvider_->gdprConsentString();
    }

    /// What the GPP string decides; else the TCF string; without one, whether the GDPR does not apply. A
    /// plain US Privacy string has no say. Consent that cannot be read refuses: when any signal that the
    /// decision asks for cannot be read. Never undetermined.
    [[nodiscard]] VKTConsentVerdict verdictOnIDs() const;
    [[nodiscard]] bool canSendIDs() const { return verdictOnIDs().decision == VKTConsentDecisionAllowed; }

    /// Allowed unless a valid GPP string refuses, or what it is made of cannot be read. Never undetermined.
    [[nodiscard]] VKTConsentVerdict verdictOnLocation() const;
    [[nodiscard]] bool canSendLocation() const {
        return verdictOnLocation().decision == VKTConsentDecisionAllowed;
    }

    /// For callers that judge stored flags themselves: "0" and "1" only, with those that identifiers need
    /// set. Of vendors 45 flags are enough, while the TCF string itself asks for 46.
    static bool tcfPurposesAreValid(std::string_view purposes);
    static bool tcfVendorsAreValid(std::string_view vendors);

    /// Whether there is nothing but "0" and "1".
    static bool isValidTCFBooleanStringArray(std::string_view string);

  private:
    VKTIdentity(std::shared_ptr<VKTIdentityProvider> identityProvider, bool hashed, bool transientIDEnabled,
                std::optional<std::string> customIdentifier);

    [[nodiscard]] VKTConsentVerdict verdictWithoutGPP() const;

    const std::shared_ptr<VKTIdentityProvider> identityProvider_;
    const bool isHashed_;
    const bool isTransientIDEnabled_;
    const std::optional<std::string> customIdentifier_;
    std::optional<std::string> ifa_;
    std::optional<std::string> ifv_;
    std::optional<std::string> transientId_;
    VKTIdentityType type_ = VKTIdentityTypeNone;
    std::string_view typeReason_;
    std::string identity_;
};

// What the platform and the consent platform say of the user.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/core/VKTPropertyCacheManager.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTClock.h"
#include "VKTCoreKit/platform/VKTDevice.h"
#include "VKTCoreKit/platform/VKTRandomSource.h"
#include "VKTCoreKit/privacy/VKTCCPAString.h"
#include "VKTCoreKit/privacy/VKTGPPString.h"
#include "VKTCoreKit/privacy/VKTPrivacyReading.h"
#include "VKTCoreKit/privacy/VKTTCFString.h"
#include "VKTCoreKit/privacy/VKTTransientID.h"

inline constexpr std::string_view VKTTransientIDKey =
    "com.korvonet.coresdk.transientid.UUIDLocalValueKey";  ///< text
inline constexpr std::string_view VKTTransientIDLastGenerationKey =
    "com.korvonet.coresdk.transientid.UUIDLocalLastGenerationKey";  ///< date

/// Asks device and store afresh at each call; stored values of a type that is not expected count as missing.
/// The operations that begin with "read" tell what cannot be read from what is missing, and are for whoever
/// decides by it; the plain ones give nothing for both. Any thread. Holds its collaborators.
///
/// ```cpp
/// auto provider = VKTIdentityProvider::init();
/// for (const auto& fault : provider->signalFaults()) std::cerr << fault.words() << '\n';
/// auto identity = VKTIdentity::initWithIdentityProvider(provider, false, true, std::nullopt);
/// ```
class VKT_EXPORT VKTIdentityProvider {
  public:
    /// Over the platform's services.
    static std::shared_ptr<VKTIdentityProvider> init();

    /// None may be null.
    static std::shared_ptr<VKTIdentityProvider> initWithDevice(
        std::shared_ptr<const VKTDevice> device,
        std::shared_ptr<VKTPropertyCacheManager> propertyCacheManager, std::shared_ptr<const VKTClock> clock,
        std::shared_ptr<VKTRandomSource> random);

    /// UUIDs; empty where the platform has none.
    [[nodiscard]] std::string advertisingID() const { return device_->advertisingIdentifier(); }
    [[nodiscard]] std::string identifierForVendor() const { return device_->identifierForVendor(); }

    /// The stored one, however old. Unreadable when its value or its date is.
    [[nodiscard]] VKTPrivacyReading<VKTTransientID> readTransientID() const;
    [[nodiscard]] std::optional<VKTTransientID> retrieveTransientID() const {
        return readTransientID().value;
    }

    /// A new one of this moment, which is not stored.
    [[nodiscard]] VKTTransientID makeTransientID() const;

    /// A new one, stored in place of the old, whatever that is. It is returned even when it could not be
    /// stored.
    std::string generateNewTransientID();

    /// The legacy key is asked only where the preferred one is missing, not where it is unreadable.
    [[nodiscard]] VKTPrivacyReading<VKTTCFString> readTCFString() const;
    [[nodiscard]] std::optional<VKTTCFString> TCFString() const { return readTCFString().value; }
    [[nodiscard]] std::optional<std::string> gdprConsentString() const;

    /// -1 when nothing is stored; else the value as an integer, also of a text, 0 when it has none.
    [[nodiscard]] VKTPrivacyReading<std::int64_t> readTCFGDPRApplies() const;
    [[nodiscard]] std::int64_t TCFGDPRApplies() const { return readTCFGDPRApplies().value.value_or(-1); }
    [[nodiscard]] std::optional<std::string> TCFPurposeConsents() const;
    [[nodiscard]] std::optional<std::string> TCFVendorConsents() const;
    [[nodiscard]] VKTPrivacyReading<VKTCCPAString> readCCPAString() const;
    [[nodiscard]] std::optional<VKTCCPAString> CCPAString() const { return readCCPAString().value; }

    /// Nothing without both the string and the section IDs. Unreadable when one of these is, or the version.
    [[nodiscard]] VKTPrivacyReading<VKTGPPString> readGPPString() const;
    [[nodiscard]] std::optional<VKTGPPString> GPPString() const { return readGPPString().value; }

    /// Each stored signal that is not read, as it cannot be read or is of another type than its standard
    /// says.
    [[nodiscard]] std::vector<VKTConsentClause> signalFaults() const;

    [[nodiscard]] VKTDate currentDate() const { return clock_->now(); }

  private:
    VKTIdentityProvider(std::shared_ptr<const VKTDevice> device,
                        std::shared_ptr<VKTPropertyCacheManager> propertyCacheManager,
                        std::shared_ptr<const VKTClock> clock, std::shared_ptr<VKTRandomSource> random);

    const std::shared_ptr<const VKTDevice> device_;
    const std::shared_ptr<VKTPropertyCacheManager> propertyCacheManager_;
    const std::shared_ptr<const VKTClock> clock_;
    const std::shared_ptr<VKTRandomSource> random_;
};

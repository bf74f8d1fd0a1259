// Deciding what may be sent.
#include <memory>
#include <string>

#include "Pairs.h"
#include "VKTCoreKit/privacy/VKTConsentSignals.h"
#include "VKTCoreKit/privacy/VKTIdentity.h"

namespace {

// What one decision reads when a GPP string with both sections allows.
constexpr std::string_view keysOfADecision[] = {
    VKTConsentKeyGPPString,          VKTConsentKeyGPPSIDs,
    VKTConsentKeyGPPVersion,         VKTConsentKeyGPPSectionTCF,
    VKTConsentKeyGPPPurposeConsents, VKTConsentKeyGPPVendorConsents,
    VKTConsentKeyGPPSectionCCPA};

void fill(VKTPropertyCacheManager& store) {
    store.setObject("DBACNYA~CPXxRfAPXxRfAAfKABENB-CgAAAAAAAAAAYgAAAAAAAA~1YNN", VKTConsentKeyGPPString);
    store.setObject("2_6", VKTConsentKeyGPPSIDs);
    store.setObject(1, VKTConsentKeyGPPVersion);
    store.setObject("CPXxRfAPXxRfAAfKABENB-CgAAAAAAAAAAYgAAAAAAAA", VKTConsentKeyGPPSectionTCF);
    store.setObject("1101001001", VKTConsentKeyGPPPurposeConsents);
    store.setObject(std::string(1000, '1'), VKTConsentKeyGPPVendorConsents);
    store.setObject("1YNN", VKTConsentKeyGPPSectionCCPA);
}

}  // namespace

void addPrivacyBenchmarks() {
    const std::shared_ptr<VKTPropertyCacheManager> store = VKTDefaultPropertyCacheManager::init();
    fill(*store);
    addPair(
        "consent_decision",
        [identity = VKTIdentity::initWithHashed(false, false)] {
            if (!identity->canSendIDs()) fail("the decision is not to send");
        },
        [store] {
            for (const std::string_view key : keysOfADecision)
                if (!store->objectForKey(key)) fail("the store has not " + std::string(key));
        });
}

// Why the stored signals of consent decide as they do, in an engineer's words. The decisions are the
// library's; the words are found from what it offers and never decide anything.
#pragma once

#include <string>
#include <vector>

#include "VKTCoreKit/privacy/VKTConsentDecision.h"
#include "VKTCoreKit/privacy/VKTIdentity.h"

/// A decision and the rule that made it, a clause: "IABTCF_gdprApplies is 1 and purpose 4 is not consented".
struct PrivacyVerdict {
    VKTConsentDecision decision = VKTConsentDecisionUndetermined;
    std::string reason;
};

struct PrivacyVerdicts {
    PrivacyVerdict IDs;
    PrivacyVerdict location;
};

PrivacyVerdicts verdictsOf(const VKTTCFString& string);
PrivacyVerdict verdictOf(const VKTCCPAString& string);
PrivacyVerdicts verdictsOf(const VKTGPPString& string);

/// Of all signals together; never undetermined.
PrivacyVerdicts verdictsOf(const VKTIdentity& identity, const VKTPropertyCacheManager& store);

/// Why the identity is of its type, a clause.
std::string reasonOfType(VKTIdentityType type);

/// Each signal, and the transient ID if it is used, that cannot be read: why, what follows and what to do, in
/// a sentence without its point.
std::vector<std::string> unreadableSignals(const VKTIdentity& identity, const VKTPropertyCacheManager& store);

/// Each signal that is stored in a form that is not read, or read and of no use, likewise.
std::vector<std::string> privacyWarnings(const VKTIdentity& identity, const VKTPropertyCacheManager& store);

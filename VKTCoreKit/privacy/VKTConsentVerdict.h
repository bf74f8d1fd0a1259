// A decision about consent with the rules behind it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/privacy/VKTConsentDecision.h"

/// The rules of the IAB's TCF v2, US Privacy and GPP as this library applies them, and how they are combined.
/// VKTConsentRules.inc has their words.
enum VKTConsentRule : int {
#define VKT_CONSENT_RULE(name, words) VKTConsentRule##name,
#include "VKTCoreKit/privacy/VKTConsentRules.inc"
#undef VKT_CONSENT_RULE
};

/// One rule and what it found.
struct VKT_EXPORT VKTConsentClause {
    VKTConsentRule rule = VKTConsentRuleSignalMissing;
    std::string_view key{};         ///< of the signal, a constant; empty when the rule is about none
    VKTNumber number = 0;           ///< what is stored, or the number of the vendor
    std::string_view storedType{};  ///< of a value that is not read, "a boolean"; a constant
    std::uint32_t purposes = 0;     ///< bit n stands for purpose n, which is not consented

    /// "purpose 4 is not consented"
    [[nodiscard]] std::string words() const;
};

/// A value, decided by the code that names the rules; words are made only when asked for. Any thread.
struct VKT_EXPORT VKTConsentVerdict {
    VKTConsentDecision decision = VKTConsentDecisionUndetermined;
    std::vector<VKTConsentClause> clauses;  ///< from the general to the particular; one at least

    /// The clauses as one: "IABTCF_gdprApplies is 1 and purpose 4 is not consented".
    [[nodiscard]] std::string reason() const;

    /// Whether it refuses only because a signal is there and cannot be read.
    [[nodiscard]] bool restsOnUnreadable() const;

    /// The same decision, with a more general clause before its own.
    [[nodiscard]] VKTConsentVerdict under(const VKTConsentClause& clause) &&;
};

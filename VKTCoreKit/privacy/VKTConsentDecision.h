// What a privacy signal says about sending something.
#pragma once

enum VKTConsentDecision : int {
    VKTConsentDecisionAllowed = 0,
    VKTConsentDecisionRefused = 1,
    VKTConsentDecisionUndetermined = 2,  ///< other signals decide
};

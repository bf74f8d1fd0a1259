// Why an ad cannot be used.
#pragma once

#include <string>

#include "VKTCoreKit/vast/VKTVASTAd.h"

/// Half a sentence; empty for a valid ad.
inline std::string vkt_invalidReason(const VKTVASTAd& ad) {
    return ad.isValid() ? "" : "it has no creative that can be used";
}

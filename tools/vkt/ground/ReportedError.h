#pragma once

#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/vast/VKTVASTError.h"
#include "VKTCoreKit/vast/VKTVASTURL.h"

/// One VAST problem as a delegate hears of it.
struct ReportedError {
    VKTVASTError error;
    std::vector<VKTVASTURL> errorURLs;
    bool hasDocument = false;
    std::optional<std::string> detail = std::nullopt;  ///< a sentence that says more
};

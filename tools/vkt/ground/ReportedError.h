#pragma once

#include <memory>
#include <string>
#include <vector>

#include "VKTCoreKit/vast/VKTVASTError.h"
#include "VKTCoreKit/vast/VKTVASTURL.h"

/// One VAST problem as a delegate hears of it.
struct ReportedError {
    VKTVASTError error;
    std::vector<VKTVASTURL> errorURLs;
    bool hasDocument = false;
    std::shared_ptr<const std::string> detail = nullptr;  ///< a sentence that says more, shared by many
};

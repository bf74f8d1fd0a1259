// A click event.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"

/// A value; any thread.
struct VKT_EXPORT VKTVASTClickEvent {
    std::string type;
    VKTURL url;

    static VKTVASTClickEvent initWithType(std::string type, VKTURL url);

    /// Nothing when the type or the text is blank, or when the text does not read as a URL.
    static std::optional<VKTVASTClickEvent> initWithType(std::string type, std::string_view urlString);

    friend bool operator==(const VKTVASTClickEvent&, const VKTVASTClickEvent&) = default;
};

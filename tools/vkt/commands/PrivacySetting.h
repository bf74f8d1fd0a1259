// A stored value as a user writes it on the command line.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTValue.h"

struct PrivacySetting {
    std::string key;
    VKTValue value;

    /// Of "KEY=TYPE:VALUE"; nothing for a text of another shape or a value that is none of its type. TYPE is
    /// string (UTF-8), int, double (finite) or bool ("true" or "false").
    static std::optional<PrivacySetting> initWithText(std::string_view text);
};

// String, colour and error helpers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTColor.h"
#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTBundle.h"

/// Pure functions, safe from any thread.
class VKT_EXPORT VKTUtils {
  public:
    /// An absent string counts as empty.
    static bool stringIsEmptyOrWhiteSpace(std::optional<std::string_view> string);

    static std::string stringByRemovingWhiteSpace(std::string_view string);

    /// The string under `key` in the table `stringFile`; "" when it is missing.
    static std::string localizedStringForKey(std::string_view key, std::string_view stringFile,
                                             const VKTBundle& bundle);

    /// Whether a consent string is there and made only of a-z, A-Z, 0-9, "-", "_" and ".".
    static bool isValidGDPRConsentString(std::optional<std::string_view> string);

    /// Whether the string is there and made only of decimal digits, one at least.
    static bool stringIsDigitsOnly(std::optional<std::string_view> string);

    /// Reads RGB, ARGB, RRGGBB or AARRGGBB in hexadecimal digits of either case, after `withPrefix`; the
    /// prefix may be missing when `optionalPrefix`. Alpha is 1 when it is not given. Nothing for any other
    /// text.
    static std::optional<VKTColor> colorFromString(std::string_view string, std::string_view withPrefix = "#",
                                                   bool optionalPrefix = false);

    /// The component written as `length` (1 or 2) hexadecimal digits at `start`, from 0 to 1; one digit
    /// stands for two equal ones. 0 when no digits are there.
    static double colorComponentFrom(std::string_view string, std::size_t start, std::size_t length);

    /// The prefix ("#" when none is named) and RRGGBB, or AARRGGBB with `includeAlpha`, in upper case.
    static std::string colorStringFromColor(const VKTColor& color, bool includeAlpha);
    static std::string colorStringFromColor(const VKTColor& color, std::string_view withPrefix,
                                            bool includeAlpha);

    /// The one maker of plain error objects.
    static VKTError errorWithDomain(std::string domain, std::int64_t code,
                                    std::optional<std::string> description = std::nullopt);
};

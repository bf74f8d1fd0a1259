// Probes that look where a script can be put into ad markup.
#pragma once

#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"

/// Pure functions, safe from any thread. All searches ignore case.
class VKT_EXPORT VKTHTMLUtils {
  public:
    /// Whether the script names the MRAID bridge file, in quotes of that kind.
    static bool containsMRAIDBridgeSingleQuoteInScript(std::string_view script);
    static bool containsMRAIDBridgeDoubleQuoteInScript(std::string_view script);

    static bool containsClosingHEADTagInScript(std::string_view script);
    static bool containsOpeningBODYTagInScript(std::string_view script);
    static bool containsOpeningHTMLTagInScript(std::string_view script);
    static bool containsClosingHTMLTagInScript(std::string_view script);
};

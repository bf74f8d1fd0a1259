// Digests used as identifiers.
#pragma once

#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"

/// Pure functions, safe from any thread.
class VKT_EXPORT VKTHash {
  public:
    /// MD5 of the bytes as 32 lower-case hexadecimal digits; "" for an empty string.
    static std::string md5(std::string_view string);
};

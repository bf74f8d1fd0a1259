// Stateless services of the platform. Declared here, defined by the platform library that is linked; all of
// them are safe from any thread.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTValue.h"

/// JSON nesting accepted and written (RFC 8259 allows such a limit).
inline constexpr int VKTJSONDepthLimit = 512;

/// Reads one JSON text: strict RFC 8259, UTF-8, integers from -2^63 to 2^64 - 1 kept as integers (others
/// become doubles), the last of duplicate names wins. Nothing for anything else; `error`, when given, then
/// says where.
VKT_EXPORT std::optional<VKTValue> vkt_JSONValueWithData(std::string_view data,
                                                         std::optional<VKTError>* error = nullptr);

/// Writes compact JSON ("/" not escaped, names in the dictionary's order; a double without a fraction is
/// written without ".0"). Nothing when the value holds bytes, a date, a text that is not UTF-8, a number that
/// is not finite, or nests too deep.
VKT_EXPORT std::optional<std::string> vkt_JSONStringWithValue(const VKTValue& value);

/// The same, indented by two blanks a level, for people to read.
VKT_EXPORT std::optional<std::string> vkt_prettyJSONStringWithValue(const VKTValue& value);

/// The 16 bytes of the MD5 digest (RFC 1321). An identifier, not a protection.
VKT_EXPORT std::string vkt_MD5Digest(std::string_view bytes);

/// Offset of the device's local time from UTC at an instant.
VKT_EXPORT std::chrono::seconds vkt_localOffsetFromUTC(VKTDate date);

/// The calling thread's stack, innermost first, one line per frame. Empty where the C library cannot tell it
/// (musl has no <execinfo.h>).
VKT_EXPORT std::vector<std::string> vkt_callStackSymbols();

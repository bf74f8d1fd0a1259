// Filling the URLs of pixels.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTURL.h"

/// Macro or variable names and their values. Walked in byte order of the names.
using VKTReplacements = std::map<std::string, std::string>;

/// Longest URL that replacing may yield, in bytes; a longer one counts as invalid.
inline constexpr std::size_t VKTEventURLLengthLimit = std::size_t{1024} * 1024;

/// Replaces every occurrence. False, and the text as it was, when it would become longer than the limit.
bool vkt_replaceWithinLimit(std::string& text, std::string_view pattern, std::string_view replacement);

/// Fills macros, which stand in the URL percent-encoded, as "%5BNAME%5D", with their values as they are. The
/// first set goes first and therefore wins. Nothing when the result is not a valid URL.
std::optional<VKTURL> vkt_URLByReplacingMacros(const VKTURL& url, const VKTReplacements& macros,
                                               const VKTReplacements& additionalMacros);

/// Says, at debug level, that the URL is called as it is, since replacing `what` in it has failed.
void vkt_logInvalidReplacement(std::string_view what, const VKTURL& url);

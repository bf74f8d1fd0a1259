// Filling the URLs of pixels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"

/// Macro or variable names and their values. Walked in byte order of the names.
using VKTReplacements = std::map<std::string, std::string>;

/// Longest URL that replacing may yield, in bytes; a longer one counts as invalid.
inline constexpr std::size_t VKTEventURLLengthLimit = std::size_t{1024} * 1024;

/// Why a URL of a document is called as it stands there, or not at all.
enum VKTEventURLProblem : std::uint8_t {
    VKTEventURLTooLong,      ///< filled, it would be longer than VKTEventURLLengthLimit
    VKTEventURLInvalid,      ///< filled, it would be no valid URL
    VKTEventURLOfGoneEvent,  ///< its event has fired and was consumable, or was never among the manager's
    VKTEventURLWithoutCode,  ///< an error pixel of an error that VAST has no code for
};

/// A URL whose macros or variables were filled, or the template with what has kept it so.
struct VKTFilledEventURL {
    VKTURL url;
    std::optional<VKTEventURLProblem> problem;
};

/// Replaces every occurrence. False, and the text as it was, when it would become longer than the limit.
VKT_EXPORT bool vkt_replaceWithinLimit(std::string& text, std::string_view pattern,
                                       std::string_view replacement);

/// Fills macros, which stand in the URL percent-encoded, as "%5BNAME%5D", with their values as they are. The
/// first set goes first and therefore wins. Nothing when the result is not a valid URL.
VKT_EXPORT std::optional<VKTURL> vkt_URLByReplacingMacros(const VKTURL& url, const VKTReplacements& macros,
                                                          const VKTReplacements& additionalMacros);

/// The text of the URL that `vkt_URLByReplacingMacros` yields; nothing when it would become too long.
VKT_EXPORT std::optional<std::string> vkt_textByReplacingMacros(const VKTURL& url,
                                                                const VKTReplacements& macros,
                                                                const VKTReplacements& additionalMacros);

/// The URL of the text in which `what` of the template was replaced. The template when there is no text, as
/// it became too long, or when the text is no URL; the log says so at debug level.
VKT_EXPORT VKTFilledEventURL vkt_filledEventURL(const VKTURL& templateURL, std::string_view what,
                                                const std::optional<std::string>& text);

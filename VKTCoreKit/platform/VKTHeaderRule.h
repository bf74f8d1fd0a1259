// Which headers a configuration may add to requests.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"

/// Names and values.
using VKTHeaderList = std::vector<std::pair<std::string, std::string>>;

/// Why a configured header of this name cannot be sent; null when it can. Refused are an empty name, one that
/// is no token (RFC 9110), and those that frame a message, which are the HTTP client's own business:
/// Content-Length, Transfer-Encoding, Host, Connection, Expect and Trailer, in any case of letters. Values
/// are taken as they are: a line break in one goes out as a blank.
VKT_EXPORT const char* vkt_headerRefusal(std::string_view name);

/// Those that can be sent, in their order. Each of the others is a warning in the log that names `source`,
/// where they stand. Any thread; call it with no lock held.
VKT_EXPORT VKTHeaderList vkt_usableHeaders(VKTHeaderList headers, std::string_view source);

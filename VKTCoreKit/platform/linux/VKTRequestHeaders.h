// The header lines of a request, put together from all who have a say.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VKTCoreKit/platform/VKTHTTPSession.h"
#include "VKTCoreKit/platform/VKTHTTPSessionOptions.h"

using VKTHeaderFields = std::vector<std::pair<std::string, std::string>>;

/// The request's headers, then those of the options that it does not have, then what its cache policy asks
/// for. Names are equal up to case; each comes once, at its first place and in its first spelling, with its
/// values joined by commas.
VKTHeaderFields vkt_requestHeaders(const VKTURLRequest& request, const VKTHTTPSessionOptions& options);

/// The first header of that name, up to case; null when there is none.
const std::string* vkt_headerNamed(std::string_view name, const VKTHeaderFields& headers);

/// True for headers that are meant for one origin alone: credentials and the host's own name.
bool vkt_belongsToOneOrigin(std::string_view headerName);

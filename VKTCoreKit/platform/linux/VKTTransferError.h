// What became of a transfer that failed.
#pragma once

#include <curl/curl.h>

#include <string_view>

#include "VKTCoreKit/platform/VKTHTTPSession.h"

bool vkt_isHTTPScheme(std::string_view scheme);

/// "WHAT (HOST): REASON" in the transport error domain.
VKTError vkt_transferError(VKTURLErrorCode code, const char* what, const VKTURL& url,
                           std::string_view reason = {});

/// The error for libcurl's code, any but CURLE_OK. `systemError` is the errno of the connection, or 0.
VKTError vkt_errorForCurlCode(CURLcode code, long systemError, const VKTURL& url, std::string_view reason);

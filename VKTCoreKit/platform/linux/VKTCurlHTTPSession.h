// HTTP by libcurl.
#pragma once

#include <memory>

#include "VKTCoreKit/platform/VKTHTTPSession.h"
#include "VKTCoreKit/platform/VKTHTTPSessionOptions.h"

/// A session with one thread for all its transfers and one for delivery; both start with the first task.
std::shared_ptr<VKTHTTPSession> vkt_makeCurlHTTPSession(const VKTHTTPSessionOptions& options = {});

// How the linked platform's services are to be made.
#pragma once

#include "VKTCoreKit/platform/VKTHTTPSessionOptions.h"

/// A passive record. To use it, before anything else of the library is used:
///
/// ```cpp
/// VKTPlatformOptions options;
/// options.HTTPSession.CAFile = "/etc/operator/ca.pem";
/// VKTPlatform::setCurrent(vkt_makeDefaultPlatform(options));
/// ```
struct VKTPlatformOptions {
    VKTHTTPSessionOptions HTTPSession;
};

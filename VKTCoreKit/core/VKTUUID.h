// Random identifiers.
#pragma once

#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTRandomSource.h"

/// A random UUID (RFC 9562, version 4) of 122 bits drawn from `random`, in upper case. Any thread.
VKT_EXPORT std::string vkt_randomUUIDString(VKTRandomSource& random);

// Random identifiers.
#pragma once

#include <string>

#include "VKTCoreKit/platform/VKTRandomSource.h"

/// A random UUID (RFC 9562, version 4) of 122 bits drawn from `random`, in upper case. Any thread.
std::string vkt_randomUUIDString(VKTRandomSource& random);

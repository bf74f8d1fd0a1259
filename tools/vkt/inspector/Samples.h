// Documents of the demo server to look at, chosen for what they teach.
#pragma once

#include <string>

#include "VKTCoreKit/foundation/VKTValue.h"

/// {"name", "description", "path"} each.
VKTArray inspectorSamples();

// Which contents of an "Extension" element the library reads.
#pragma once

#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTValue.h"

/// The names of the contents that are read of an "Extension" node. The library's reader is asked: it is given
/// samples that it cannot miss in the place of the node's own contents.
std::vector<std::string_view> contentsReadOf(const VKTDictionary& extension);

// How readers of an ad document report what is wrong with it.
#pragma once

#include <vector>

#include "VKTCoreKit/foundation/VKTHandler.h"
#include "VKTCoreKit/vast/VKTVASTError.h"
#include "VKTCoreKit/vast/VKTVASTURL.h"

/// Receives each problem that a reader meets, with the error pixels to call. The reader goes on afterwards.
/// Called on the reading thread, before the reader returns. An empty one ignores all.
using VKTVASTErrorHandler =
    VKTHandler<void(const VKTVASTError& error, const std::vector<VKTVASTURL>& errorPixels)>;

/// A handler that does nothing.
inline void vkt_ignoreVASTErrors(const VKTVASTError& /*error*/,
                                 const std::vector<VKTVASTURL>& /*errorPixels*/) {}

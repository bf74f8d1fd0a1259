// How readers of an ad document report what is wrong with it.
#pragma once

#include <functional>
#include <vector>

#include "VKTCoreKit/vast/VKTVASTError.h"
#include "VKTCoreKit/vast/VKTVASTURL.h"

/// Receives each problem that a reader meets, with the error pixels to call. The reader goes on afterwards.
/// Called on the reading thread, before the reader returns.
using VKTVASTErrorHandler =
    std::function<void(const VKTVASTError& error, const std::vector<VKTVASTURL>& errorPixels)>;

/// A handler that does nothing.
inline void vkt_ignoreVASTErrors(const VKTVASTError& /*error*/,
                                 const std::vector<VKTVASTURL>& /*errorPixels*/) {}

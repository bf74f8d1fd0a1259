// A canvas over a context of cairo's, for applications that draw with cairo themselves (GStreamer's
// cairooverlay, GTK). Defined by the library VKTCairoCanvas, which there is when VKTCoreKit was built with
// cairo.
#pragma once

#include <memory>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTCanvas.h"

// NOLINTNEXTLINE(modernize-use-using): as cairo declares it, so that both may be included.
typedef struct _cairo cairo_t;

/// Draws on the context, whose units are the points. Holds a reference of it; once the canvas is destroyed,
/// the context's state is as it was before. On the context's thread only.
VKT_EXPORT std::unique_ptr<VKTCanvas> vkt_makeCairoCanvasOnContext(cairo_t* context);

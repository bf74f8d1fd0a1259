// What the readers of an ad document share while they read: where problems go, and who hears what a document
// loses.
#pragma once

#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTErrorHandler.h"

/// Hears what of a document leaves no trace in what is made of it, and what was read but deserves a look.
///
/// A path is an XPath from the root of its document: "/VAST/Ad[2]/InLine/Impression". A position, from 1,
/// stands where an element has siblings of its name; a path may end in "/text()" or "/@name". A reason is
/// half a sentence whose subject is what stands at the path: "it has no text". Both may repeat any text of
/// the document: filter them before they reach a terminal or a page.
///
/// Called on the reading thread, before the reader returns. Merging wrappers into ads may lose more of a
/// document later: the path is then that of the ad, and the reason says how much was lost.
class VKT_EXPORT VKTVASTReadingListener {
  public:
    virtual ~VKTVASTReadingListener() = default;

    /// What stands at the path is not in the model, and neither is anything below it; the model would be the
    /// same without it.
    virtual void dropped(const std::string& path, const std::string& reason) = 0;

    /// What stands at the path was read and is in the model, but cannot be used as it stands or asks for
    /// something that is not done: a duration that is no time, a relative URL, an `adType`.
    /// The element, or one above it, may be dropped all the same afterwards. Also told of an element that
    /// gives nothing and yet keeps others from being read.
    virtual void needsAttention(const std::string& /*path*/, const std::string& /*reason*/) {}
};

/// Where a reader of an ad document tells of what it meets. Refers to what it is given, for the time of one
/// reading.
struct VKTVASTReadingContext {
    VKTErrorOutput error = nullptr;  ///< the last problem that made an ad or creative unusable; may be null
    const VKTVASTErrorHandler& errorHandler;
    bool isWrapper = false;                      ///< whether the ad that is read is a wrapper
    VKTVASTReadingListener* listener = nullptr;  ///< null: nobody listens, which costs nothing
};

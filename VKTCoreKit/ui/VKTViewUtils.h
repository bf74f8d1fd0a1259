// Questions about where views stand in one another.
#pragma once

#include <memory>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTRect.h"
#include "VKTCoreKit/platform/VKTView.h"

/// Looks at a tree of views as it is at that moment and keeps nothing. Main thread only.
///
/// A view is shown when it is not hidden and its alpha is above 0; one that is not shown hides all that is
/// in it. Views clip what stands in them.
class VKT_EXPORT VKTViewUtils {
  public:
    /// From the superview up to the topmost view.
    static std::vector<std::shared_ptr<VKTView>> ancestorsOfView(const VKTView& view);

    /// Whether the view is the other one or stands in it, at whatever depth.
    static bool isViewInView(const VKTView& view, const VKTView& other);

    /// The deepest view that both stand in or are; null when there is none.
    static std::shared_ptr<const VKTView> commonAncestorOfViews(const std::shared_ptr<const VKTView>& first,
                                                                const std::shared_ptr<const VKTView>& second);

    /// The part of the view that its ancestors and its window leave to be seen, in the coordinates of the
    /// nearest window, the view itself included. What stands in front of it is not asked. Null when nothing
    /// is left, when the view or an ancestor is not shown, without a window, and for frames that are not
    /// finite.
    static VKTRect visibleRectOfView(const VKTView& view);

    /// The views under a point of `root`, from the front to the back: what is drawn last comes first, and
    /// `root` is the last one. Views that are not shown are left out. The left and upper edges belong to a
    /// view, the right and lower ones do not. Empty for a null root.
    static std::vector<std::shared_ptr<VKTView>> viewsAtPoint(const std::shared_ptr<VKTView>& root,
                                                              VKTPoint point);
};

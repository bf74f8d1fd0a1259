#include "VKTCoreKit/ui/VKTViewUtils.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <unordered_set>

namespace {

bool isShown(const VKTView& view) {
    return !view.isHidden() && view.alpha() > 0;
}

bool isFinite(const VKTRect& rect) {
    return std::isfinite(rect.x + rect.y + rect.width + rect.height);
}

bool contains(const VKTRect& rect, VKTPoint point) {
    return point.x >= rect.x && point.y >= rect.y && point.x < rect.x + rect.width &&
           point.y < rect.y + rect.height;
}

}  // namespace

std::vector<std::shared_ptr<VKTView>> VKTViewUtils::ancestorsOfView(const VKTView& view) {
    std::vector<std::shared_ptr<VKTView>> ancestors;
    for (auto ancestor = view.superview(); ancestor; ancestor = ancestor->superview())
        ancestors.push_back(ancestor);
    return ancestors;
}

bool VKTViewUtils::isViewInView(const VKTView& view, const VKTView& other) {
    if (&view == &other) return true;
    auto ancestor = view.superview();
    while (ancestor && ancestor.get() != &other)
        ancestor = ancestor->superview();
    return ancestor != nullptr;
}

std::shared_ptr<const VKTView> VKTViewUtils::commonAncestorOfViews(
    const std::shared_ptr<const VKTView>& first, const std::shared_ptr<const VKTView>& second) {
    std::unordered_set<const VKTView*> known;
    for (auto view = first; view; view = view->superview())
        known.insert(view.get());
    auto view = second;
    while (view && known.count(view.get()) == 0)
        view = view->superview();
    return view;
}

VKTRect VKTViewUtils::visibleRectOfView(const VKTView& view) {
    VKTRect rect = view.bounds();
    std::shared_ptr<VKTView> holder;
    for (const VKTView* each = &view; each != nullptr; each = holder.get()) {
        const VKTRect bounds = each->bounds();
        if (!isShown(*each) || !isFinite(bounds) || !isFinite(rect)) return VKTRect::null();
        rect = rect.intersection(bounds);
        if (rect.isNull() || rect.area() <= 0) return VKTRect::null();
        if (each->isWindow()) return rect;
        const VKTRect frame = each->frame();
        rect.x += frame.x - bounds.x;
        rect.y += frame.y - bounds.y;
        holder = each->superview();
    }
    return VKTRect::null();
}

std::vector<std::shared_ptr<VKTView>> VKTViewUtils::viewsAtPoint(const std::shared_ptr<VKTView>& root,
                                                                 VKTPoint point) {
    std::vector<std::shared_ptr<VKTView>> found;
    std::vector<std::shared_ptr<VKTView>> waiting;
    std::vector<VKTPoint> points;  // for each that waits, in its superview's coordinates
    if (root) {
        const VKTRect frame = root->frame();
        const VKTRect bounds = root->bounds();
        waiting.push_back(root);
        points.push_back({point.x + frame.x - bounds.x, point.y + frame.y - bounds.y});
    }
    while (!waiting.empty()) {
        const auto view = waiting.back();
        VKTPoint inside = points.back();
        waiting.pop_back();
        points.pop_back();
        if (!view || !isShown(*view)) continue;
        const VKTRect frame = view->frame();
        const VKTRect bounds = view->bounds();
        inside.x += bounds.x - frame.x;
        inside.y += bounds.y - frame.y;
        if (!contains(bounds, inside)) continue;

        found.push_back(view);
        const auto before = static_cast<std::ptrdiff_t>(waiting.size());
        view->appendSubviewsTo(waiting);
        std::reverse(waiting.begin() + before, waiting.end());
        points.resize(waiting.size(), inside);
    }
    std::reverse(found.begin(), found.end());
    return found;
}

#include "VKTCoreKit/platform/VKTView.h"

namespace {

// Where the view's own (0, 0) lies in the coordinates around its topmost view.
VKTPoint originInRoot(const VKTView& view) {
    VKTPoint origin;
    const auto add = [&](const VKTView& each) {
        origin.x += each.frame().x - each.bounds().x;
        origin.y += each.frame().y - each.bounds().y;
    };
    add(view);
    for (auto ancestor = view.superview(); ancestor; ancestor = ancestor->superview())
        add(*ancestor);
    return origin;
}

}  // namespace

void VKTView::appendSubviewsTo(std::vector<std::shared_ptr<VKTView>>& list) const {
    const auto own = subviews();
    list.insert(list.end(), own.begin(), own.end());
}

VKTPoint VKTView::convertPointToView(VKTPoint point, const VKTView& view) const {
    const VKTPoint from = originInRoot(*this);
    const VKTPoint to = originInRoot(view);
    return {point.x + from.x - to.x, point.y + from.y - to.y};
}

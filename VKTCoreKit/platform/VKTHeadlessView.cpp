#include "VKTCoreKit/platform/VKTHeadlessView.h"

#include <algorithm>
#include <utility>

namespace {

bool isOrStandsIn(std::shared_ptr<VKTView> view, const VKTView& other) {
    while (view && view.get() != &other)
        view = view->superview();
    return view != nullptr;
}

}  // namespace

std::shared_ptr<VKTHeadlessView> VKTHeadlessView::initWithFrame(const VKTRect& frame) {
    return std::shared_ptr<VKTHeadlessView>(new VKTHeadlessView(frame, false));
}

std::shared_ptr<VKTHeadlessView> VKTHeadlessView::windowWithFrame(const VKTRect& frame) {
    return std::shared_ptr<VKTHeadlessView>(new VKTHeadlessView(frame, true));
}

std::vector<std::shared_ptr<VKTView>> VKTHeadlessView::subviews() const {
    return {subviews_.begin(), subviews_.end()};
}

void VKTHeadlessView::appendSubviewsTo(std::vector<std::shared_ptr<VKTView>>& list) const {
    list.insert(list.end(), subviews_.begin(), subviews_.end());
}

void VKTHeadlessView::addSubview(std::shared_ptr<VKTHeadlessView> view) {
    if (isOrStandsIn(shared_from_this(), *view)) return;
    view->removeFromSuperview();
    view->superview_ = weak_from_this();
    subviews_.push_back(std::move(view));
}

void VKTHeadlessView::removeFromSuperview() {
    const auto self = shared_from_this();
    const auto superview = std::dynamic_pointer_cast<VKTHeadlessView>(superview_.lock());
    superview_.reset();
    if (superview) std::erase(superview->subviews_, self);
}

void VKTHeadlessView::setSuperview(const std::shared_ptr<VKTView>& superview) {
    if (isOrStandsIn(superview, *this)) return;
    removeFromSuperview();
    superview_ = superview;
}

void VKTHeadlessApplication::setApplicationState(VKTApplicationState state) {
    const bool wasInBackground = std::exchange(state_, state) == VKTApplicationStateBackground;
    const bool isInBackground = state == VKTApplicationStateBackground;
    if (wasInBackground == isInBackground) return;
    notificationCentre_->post({isInBackground ? VKTApplicationDidEnterBackgroundNotification
                                              : VKTApplicationWillEnterForegroundNotification,
                               {}});
}

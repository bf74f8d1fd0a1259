#include "VKTCoreKit/platform/VKTHeadlessView.h"

#include <algorithm>
#include <utility>

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
    for (std::shared_ptr<VKTView> each = shared_from_this(); each; each = each->superview()) {
        if (each == view) return;
    }
    view->removeFromSuperview();
    view->superview_ = weak_from_this();
    subviews_.push_back(std::move(view));
}

void VKTHeadlessView::removeFromSuperview() {
    const auto self = shared_from_this();
    const auto superview = superview_.lock();
    superview_.reset();
    if (superview) std::erase(superview->subviews_, self);
}

void VKTHeadlessApplication::setApplicationState(VKTApplicationState state) {
    const bool wasInBackground = std::exchange(state_, state) == VKTApplicationStateBackground;
    const bool isInBackground = state == VKTApplicationStateBackground;
    if (wasInBackground == isInBackground) return;
    notificationCentre_->post({isInBackground ? VKTApplicationDidEnterBackgroundNotification
                                              : VKTApplicationWillEnterForegroundNotification,
                               {}});
}

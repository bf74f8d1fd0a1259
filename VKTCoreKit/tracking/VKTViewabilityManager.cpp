#include "VKTCoreKit/tracking/VKTViewabilityManager.h"

#include <cmath>
#include <limits>

#include "VKTCoreKit/platform/VKTPlatform.h"

std::shared_ptr<VKTViewabilityManager> VKTViewabilityManager::initWithView(
    const std::shared_ptr<const VKTView>& view,
    const std::shared_ptr<VKTViewabilityManagerDelegate>& delegate) {
    return std::shared_ptr<VKTViewabilityManager>(new VKTViewabilityManager(view, delegate));
}

void VKTViewabilityManager::startViewabilityTracking() {
    lastViewabilityStatus_.reset();
    ++starts_;
    timer_.start(shared_from_this());
}

VKTViewabilityStatus VKTViewabilityManager::viewabilityStatus() const {
    const auto view = view_.lock();
    const auto window = view ? parentWindowForView(*view) : nullptr;
    if (!window) return {};
    const auto status = viewStatusWithView(*view, *window);
    return {isViewViewable(), status.percentage, status.viewableRect};
}

bool VKTViewabilityManager::isViewViewable() const {
    const auto view = view_.lock();
    return view && isApplicationViewable() && isIndividualViewVisible(*view) &&
           isCompleteViewHierarchyVisible(*view);
}

VKTApplicationState VKTViewabilityManager::applicationState() const {
    return VKTPlatform::current().application->applicationState();
}

VKTViewabilityManagerViewStatus VKTViewabilityManager::viewStatusWithView(const VKTView& view,
                                                                          const VKTView& referenceView) {
    const VKTRect frame = view.frame();
    const VKTRect bounds = view.bounds();
    const VKTRect window = referenceView.bounds();
    const VKTPoint origin = view.convertPointToView({bounds.x, bounds.y}, referenceView);
    const VKTRect placed{origin.x, origin.y, frame.width, frame.height};
    const VKTRect inside = window.intersection(placed);
    const VKTRect together = window.unionWith(placed);
    const double percentage = frame.area() > 0 ? inside.area() / frame.area() : 0;
    if (percentage < std::numeric_limits<double>::epsilon())
        return {percentage, VKTRect::null(), VKTRect::null(), VKTRect::null()};
    return {percentage,
            inside,
            together,
            {std::floor(std::abs(together.x)), std::floor(std::abs(together.y)), std::floor(inside.width),
             std::floor(inside.height)}};
}

bool VKTViewabilityManager::isIndividualViewVisible(const VKTView& view) {
    return !view.isHidden() && view.alpha() > 0;
}

bool VKTViewabilityManager::isCompleteViewHierarchyVisible(const VKTView& view) {
    for (auto ancestor = view.superview(); ancestor; ancestor = ancestor->superview()) {
        if (!isIndividualViewVisible(*ancestor)) return false;
    }
    return true;
}

std::shared_ptr<VKTView> VKTViewabilityManager::parentWindowForView(const VKTView& view) {
    auto ancestor = view.superview();
    while (ancestor && !ancestor->isWindow())
        ancestor = ancestor->superview();
    return ancestor;
}

void VKTViewabilityManager::timerFired(VKTTimer& /*timer*/) {
    const auto self = shared_from_this();  // the delegate may let go of it
    const std::size_t startsBefore = starts_;
    const auto status = viewabilityStatus();
    if (lastViewabilityStatus_ != status) {
        if (const auto listener = delegate())
            listener->viewabilityManagerViewableStatus(*this, status.isViewable(), status.percentage);
        if (const auto listener = delegate())
            listener->viewabilityManagerDidChangeViewabilityStatus(*this, status);
    }
    // Started inside a callback, it has to report its first sample, whatever that is.
    if (starts_ == startsBefore) lastViewabilityStatus_ = status;
}

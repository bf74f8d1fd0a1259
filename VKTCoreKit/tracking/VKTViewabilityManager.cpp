#include "VKTCoreKit/tracking/VKTViewabilityManager.h"

#include <cmath>
#include <limits>

#include "VKTCoreKit/platform/VKTGuardedCall.h"
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/tracking/detail/VKTMainThread.h"
#include "VKTCoreKit/tracking/detail/VKTViewabilityTimer.h"

namespace {

bool isFinite(const VKTRect& rect) {
    return std::isfinite(rect.x) && std::isfinite(rect.y) && std::isfinite(rect.width) &&
           std::isfinite(rect.height) && std::isfinite(rect.area());
}

// 0 for a view without area, and where a coordinate or the area is not finite.
double shareInside(const VKTRect& placed, const VKTRect& window) {
    if (!isFinite(placed) || !isFinite(window) || placed.area() <= 0) return 0;
    return window.intersection(placed).area() / placed.area();
}

}  // namespace

std::shared_ptr<VKTViewabilityManager> VKTViewabilityManager::initWithView(
    const std::shared_ptr<const VKTView>& view,
    const std::shared_ptr<VKTViewabilityManagerDelegate>& delegate) {
    return std::shared_ptr<VKTViewabilityManager>(new VKTViewabilityManager(view, delegate));
}

void VKTViewabilityManager::startViewabilityTracking() {
    vkt_requireMainThread("startViewabilityTracking");
    lastViewabilityStatus_.reset();
    ++starts_;
    vkt_startViewabilityTimer(timer_, shared_from_this());
}

void VKTViewabilityManager::stopViewabilityTracking() {
    vkt_requireMainThread("stopViewabilityTracking");
    vkt_stopViewabilityTimer(timer_);
}

VKTViewabilityStatus VKTViewabilityManager::viewabilityStatus() const {
    vkt_requireMainThread("viewabilityStatus");
    const auto view = view_.lock();
    const auto window = view ? parentWindowForView(*view) : nullptr;
    if (!window) return {};
    const auto status = viewStatusWithView(*view, *window);
    return {isViewViewable(), status.percentage, status.viewableRect};
}

bool VKTViewabilityManager::isViewViewable() const {
    vkt_requireMainThread("isViewViewable");
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
    const double percentage = shareInside(placed, window);
    if (percentage < std::numeric_limits<double>::epsilon())
        return {percentage, VKTRect::null(), VKTRect::null(), VKTRect::null()};
    const VKTRect inside = window.intersection(placed);
    const VKTRect together = window.unionWith(placed);
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
    vkt_requireMainThread("timerFired");
    const auto self = shared_from_this();  // the delegate may let go of it
    const std::size_t startsBefore = starts_;
    const auto status = viewabilityStatus();
    if (lastViewabilityStatus_ != status) {
        if (const auto listener = delegate()) {
            vkt_callGuarded("viewabilityManagerViewableStatus", [&] {
                listener->viewabilityManagerViewableStatus(*this, status.isViewable(), status.percentage);
            });
        }
        if (const auto listener = delegate()) {
            vkt_callGuarded("viewabilityManagerDidChangeViewabilityStatus",
                            [&] { listener->viewabilityManagerDidChangeViewabilityStatus(*this, status); });
        }
    }
    // Started inside a callback, it has to report its first sample, whatever that is.
    if (starts_ == startsBefore) lastViewabilityStatus_ = status;
}

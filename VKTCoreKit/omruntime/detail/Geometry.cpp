#include "VKTCoreKit/omruntime/detail/Geometry.h"

#include <algorithm>
#include <cmath>

#include "VKTCoreKit/platform/VKTPlatform.h"

namespace OMIDKorvonet1 {

namespace {

// Of an area: what rounding may take away from a rectangle that is not clipped.
constexpr double roundingShare = 1e-9;

bool isVisible(const VKTView& view) {
    return !view.isHidden() && view.alpha() > 0;
}

bool isFinite(const VKTRect& rect) {
    return std::isfinite(rect.x) && std::isfinite(rect.y) && std::isfinite(rect.width) &&
           std::isfinite(rect.height);
}

VKTRect placedFrame(const VKTView& view, VKTPoint origin) {
    const VKTRect frame = view.frame();
    return {origin.x + frame.x, origin.y + frame.y, frame.width, frame.height};
}

VKTPoint originWithin(const VKTView& view, const VKTRect& placed) {
    const VKTRect bounds = view.bounds();
    return {placed.x - bounds.x, placed.y - bounds.y};
}

}  // namespace

bool operator==(const Geometry& left, const Geometry& right) {
    return left.viewportWidth == right.viewportWidth && left.viewportHeight == right.viewportHeight &&
           left.adView == right.adView && left.onScreen == right.onScreen &&
           left.percentageInView == right.percentageInView && left.reasons == right.reasons &&
           left.obstructionCount == right.obstructionCount &&
           std::equal(left.obstructions.begin(),
                      left.obstructions.begin() + static_cast<std::ptrdiff_t>(left.obstructionCount),
                      right.obstructions.begin());
}

bool GeometryWalker::look(const std::shared_ptr<const VKTView>& adView, bool hasAdView,
                          const std::vector<FriendlyObstruction>& friendlyObstructions) {
    next_.viewportWidth = next_.viewportHeight = next_.percentageInView = 0;
    next_.adView = next_.onScreen = {};
    next_.reasons = hasAdView ? 0 : GeometryReasonNoAdView;
    next_.obstructionCount = 0;
    if (VKTPlatform::current().application->applicationState() == VKTApplicationStateBackground)
        next_.reasons |= GeometryReasonBackgrounded;
    if (hasAdView) measure(adView, friendlyObstructions);

    ancestors_.clear();
    friendlyViews_.clear();
    views_.clear();
    if (next_ == geometry_) return false;
    std::swap(next_, geometry_);
    return true;
}

void GeometryWalker::measure(const std::shared_ptr<const VKTView>& adView,
                             const std::vector<FriendlyObstruction>& friendlyObstructions) {
    covered_.clear();
    if (!findWindow(adView) || !placeAdView() || !findObstructions(friendlyObstructions)) {
        next_.reasons |= GeometryReasonNotFound;
        next_.viewportWidth = next_.viewportHeight = 0;
        next_.adView = next_.onScreen = {};
        next_.obstructionCount = 0;
        return;
    }
    const double area = next_.adView.area();
    const double obstructedArea = coveredArea_.of(covered_);
    if (obstructedArea > 0) next_.reasons |= GeometryReasonObstructed;
    constexpr auto nothingSeen =
        GeometryReasonHidden | GeometryReasonBackgrounded | GeometryReasonNoWindowFocus;
    if ((next_.reasons & nothingSeen) != 0) return;
    const double share = (next_.onScreen.area() - obstructedArea) / area;
    // What rounding leaves of a view that is covered is nothing.
    next_.percentageInView = share >= roundingShare ? std::min(share, 1.0) * 100 : 0;
}

bool GeometryWalker::findWindow(const std::shared_ptr<const VKTView>& adView) {
    for (auto view = adView; view; view = view->superview()) {
        ancestors_.push_back(view);
        if (view->isWindow()) return true;
    }
    return false;
}

bool GeometryWalker::placeAdView() {
    const VKTRect window = ancestors_.back()->bounds();
    next_.viewportWidth = window.width;
    next_.viewportHeight = window.height;
    next_.adView = next_.onScreen = {0, 0, window.width, window.height};
    if (!ancestors_.back()->hasFocus()) next_.reasons |= GeometryReasonNoWindowFocus;

    origins_.resize(ancestors_.size());
    for (std::size_t i = ancestors_.size(); i-- > 0;) {
        const VKTView& view = *ancestors_[i];
        if (i + 1 < ancestors_.size()) next_.adView = placedFrame(view, origins_[i + 1]);
        if (!isFinite(next_.adView)) return false;
        if (!isVisible(view)) next_.reasons |= GeometryReasonHidden;
        next_.onScreen = next_.onScreen.intersection(next_.adView);
        origins_[i] = originWithin(view, next_.adView);
    }
    const double area = next_.adView.area();
    if (!(area > 0)) next_.reasons |= GeometryReasonHidden;
    if (next_.onScreen.isNull()) next_.onScreen = {};
    if (next_.onScreen.area() < area * (1 - roundingShare)) {
        next_.reasons |= GeometryReasonClipped;
    } else {
        next_.onScreen = next_.adView;
    }
    return true;
}

// Views that are drawn after the ad's: at each level those in front of the branch that leads to it, and all
// that is in them; none that are in a friendly ancestor. False when the branch is not where its superview
// says.
bool GeometryWalker::findObstructions(const std::vector<FriendlyObstruction>& friendlyObstructions) {
    for (const FriendlyObstruction& each : friendlyObstructions)
        friendlyViews_.push_back(each.view.lock());
    bool isInFriendly = false;
    for (std::size_t level = ancestors_.size(); level-- > 1;) {
        isInFriendly = isInFriendly || friendlyPlaceOf(ancestors_[level]) != friendlyViews_.size();
        views_.clear();
        ancestors_[level]->appendSubviewsTo(views_);
        const auto branch = std::find(views_.begin(), views_.end(), ancestors_[level - 1]);
        if (branch == views_.end()) return false;
        if (isInFriendly) continue;
        places_.assign(views_.size(), {origins_[level], next_.onScreen, friendlyViews_.size()});
        for (auto i = static_cast<std::size_t>(branch - views_.begin()) + 1; i < views_.size(); ++i)
            visit(i, friendlyObstructions);
    }
    return true;
}

// The list's size for a view that is not in it.
std::size_t GeometryWalker::friendlyPlaceOf(const std::shared_ptr<const VKTView>& view) const {
    const auto found = std::find(friendlyViews_.begin(), friendlyViews_.end(), view);
    return static_cast<std::size_t>(found - friendlyViews_.begin());
}

// Puts the subviews behind what is to be visited.
void GeometryWalker::visit(std::size_t index, const std::vector<FriendlyObstruction>& friendlyObstructions) {
    if (!views_[index] || !isVisible(*views_[index])) return;
    const VKTView& view = *views_[index];
    Place place = places_[index];
    const VKTRect placed = placedFrame(view, place.origin);
    place.clip = place.clip.intersection(placed);
    if (!(place.clip.area() > 0)) return;

    if (place.friendly == friendlyViews_.size()) {
        place.friendly = friendlyPlaceOf(views_[index]);
        const bool isFriendly = place.friendly != friendlyViews_.size();
        if (!isFriendly) covered_.push_back(place.clip);
        list(view, place.clip, isFriendly ? &friendlyObstructions[place.friendly] : nullptr);
    }
    place.origin = originWithin(view, placed);
    view.appendSubviewsTo(views_);
    places_.resize(views_.size(), place);
}

void GeometryWalker::list(const VKTView& view, const VKTRect& rect, const FriendlyObstruction* friendly) {
    if (next_.obstructionCount == ListedObstructionLimit) return;
    if (next_.obstructionCount == next_.obstructions.size()) next_.obstructions.emplace_back();
    Obstruction& slot = next_.obstructions[next_.obstructionCount++];
    slot.rect = rect;
    slot.className = view.className();
    slot.purpose.reset();
    slot.detailedReason.clear();
    if (friendly == nullptr) return;
    slot.purpose = friendly->purpose;
    slot.detailedReason = friendly->detailedReason;
}

}  // namespace OMIDKorvonet1

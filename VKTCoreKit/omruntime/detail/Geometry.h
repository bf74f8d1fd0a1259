// How much of an ad's view is seen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTRect.h"
#include "VKTCoreKit/omruntime/Enumerations.h"
#include "VKTCoreKit/omruntime/detail/CoveredArea.h"
#include "VKTCoreKit/platform/VKTView.h"

namespace OMIDKorvonet1 {

/// Obstructions that are listed, friendly and other; all of them count.
inline constexpr std::size_t ListedObstructionLimit = 64;

/// A view that may stand in front of the ad, with all that is in it. The ad may be in it, too: what is in
/// front of the ad there does not obstruct it, but what stands in front of the view itself does.
struct FriendlyObstruction {
    std::weak_ptr<const VKTView> view;
    FriendlyObstructionPurpose purpose;
    std::string detailedReason;
};

/// Why less than all of the ad's view is seen: bits of a set.
enum GeometryReason : std::uint8_t {
    GeometryReasonNoAdView = 1,      ///< the session has none
    GeometryReasonNotFound = 2,      ///< it has gone, or stands in no window
    GeometryReasonHidden = 4,        ///< it or what it stands in is hidden or transparent, or it has no area
    GeometryReasonBackgrounded = 8,  ///< the application is
    GeometryReasonNoWindowFocus = 16,
    GeometryReasonClipped = 32,  ///< by what it stands in, or by the window
    GeometryReasonObstructed = 64,
};

/// The part of a view in front of the ad that covers some of it.
struct Obstruction {
    VKTRect rect;
    std::string className;
    std::optional<FriendlyObstructionPurpose> purpose;  ///< nothing when it is not friendly
    std::string detailedReason;

    friend bool operator==(const Obstruction&, const Obstruction&) = default;
};

/// What a look at the views found. Rectangles are in the window's coordinates, from the corner that is seen.
struct Geometry {
    double viewportWidth = 0;
    double viewportHeight = 0;
    VKTRect adView;               ///< where the view is
    VKTRect onScreen;             ///< what its ancestors and the window leave of that
    double percentageInView = 0;  ///< of the area of `adView`: `onScreen` less what is obstructed, 0 to 100
    std::uint8_t reasons = 0;
    std::size_t obstructionCount = 0;       ///< that are listed
    std::vector<Obstruction> obstructions;  ///< has room for more than are listed; they keep their memory

    friend bool operator==(const Geometry& left, const Geometry& right);
};

/// Looks at the views again and again. When nothing has changed a look asks for no memory, as long as the
/// views do not. Main thread only; holds no view between looks.
class GeometryWalker {
  public:
    /// True when something has changed since the look before.
    bool look(const std::shared_ptr<const VKTView>& adView, bool hasAdView,
              const std::vector<FriendlyObstruction>& friendlyObstructions);

    [[nodiscard]] const Geometry& geometry() const { return geometry_; }

  private:
    struct Place {
        VKTPoint origin;  // of the superview's coordinates
        VKTRect clip;
        std::size_t friendly;  // place in the list of friendly ones, or the list's size
    };

    void measure(const std::shared_ptr<const VKTView>& adView,
                 const std::vector<FriendlyObstruction>& friendlyObstructions);
    bool findWindow(const std::shared_ptr<const VKTView>& adView);
    bool placeAdView();
    bool findObstructions(const std::vector<FriendlyObstruction>& friendlyObstructions);
    [[nodiscard]] std::size_t friendlyPlaceOf(const std::shared_ptr<const VKTView>& view) const;
    void visit(std::size_t index, const std::vector<FriendlyObstruction>& friendlyObstructions);
    void list(const VKTView& view, const VKTRect& rect, const FriendlyObstruction* friendly);

    Geometry geometry_;
    Geometry next_;
    std::vector<std::shared_ptr<const VKTView>> ancestors_;  // from the ad's view up to its window
    std::vector<VKTPoint> origins_;                          // of the coordinates within each of them
    std::vector<std::shared_ptr<const VKTView>> friendlyViews_;
    std::vector<std::shared_ptr<VKTView>> views_;  // in front of the ad
    std::vector<Place> places_;                    // one for each
    std::vector<VKTRect> covered_;
    CoveredArea coveredArea_;
};

}  // namespace OMIDKorvonet1

// How much of one view is seen.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "VKTCoreKit/core/VKTTimer.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTView.h"
#include "VKTCoreKit/tracking/VKTViewabilityStatus.h"

/// How a view lies in its window. All rectangles are null when (next to) nothing of it is inside.
struct VKTViewabilityManagerViewStatus {
    /// The share of the view's area inside, from 0 to 1 but for rounding; 0 for a view without area, and when
    /// the view's frame, its area, the place where it stands or the window is infinite or not a number.
    double percentage = 0;
    VKTRect intersectionRect;  ///< the part inside, in the window's coordinates
    VKTRect unionRect;         ///< what window and view cover together, in the window's coordinates
    VKTRect viewableRect;      ///< the part inside, in the view's coordinates, in whole points
};

class VKTViewabilityManager;

/// Hears of changes on the main thread, of each in both ways. It may stop, restart or let go of the manager
/// inside a callback; the second call follows the first all the same.
class VKT_EXPORT VKTViewabilityManagerDelegate {
  public:
    virtual ~VKTViewabilityManagerDelegate() = default;

    virtual void viewabilityManagerViewableStatus(VKTViewabilityManager& /*manager*/, bool /*viewableStatus*/,
                                                  double /*withPercentage*/) {}
    virtual void viewabilityManagerDidChangeViewabilityStatus(VKTViewabilityManager& /*manager*/,
                                                              const VKTViewabilityStatus& /*status*/) {}
};

/// Samples one view's geometry four times a second and tells its delegate of every change; the first sample
/// after a start always counts as one.
///
/// Main thread only: starting, stopping or sampling on another one ends the process with a message. Holds
/// view and delegate weakly; a view that is gone is not viewable. Stop it before letting go of it.
///
/// ```cpp
/// struct Seen : VKTViewabilityManagerDelegate {
///     void viewabilityManagerDidChangeViewabilityStatus(VKTViewabilityManager&,
///                                                       const VKTViewabilityStatus& status) override {
///         std::cout << status.percentage * 100 << " % of the view is seen\n";
///     }
/// };
/// auto seen = std::make_shared<Seen>();  // held weakly
/// auto sampling = VKTViewabilityManager::initWithView(view, seen);
/// sampling->startViewabilityTracking();  // with the first picture
/// sampling->stopViewabilityTracking();   // when the ad is over
/// ```
class VKT_EXPORT VKTViewabilityManager : public VKTTimerDelegate,
                                         public std::enable_shared_from_this<VKTViewabilityManager> {
  public:
    static std::shared_ptr<VKTViewabilityManager> initWithView(
        const std::shared_ptr<const VKTView>& view,
        const std::shared_ptr<VKTViewabilityManagerDelegate>& delegate);

    void startViewabilityTracking();
    void stopViewabilityTracking();

    /// A fresh sample.
    [[nodiscard]] VKTViewabilityStatus viewabilityStatus() const;
    [[nodiscard]] double viewabilityPercentage() const { return viewabilityStatus().percentage; }

    /// Whether the application is active and the view and all its ancestors are shown.
    [[nodiscard]] bool isViewViewable() const;
    [[nodiscard]] bool isApplicationViewable() const {
        return applicationState() == VKTApplicationStateActive;
    }
    [[nodiscard]] VKTApplicationState applicationState() const;

    /// How the view lies in `referenceView`, its window.
    static VKTViewabilityManagerViewStatus viewStatusWithView(const VKTView& view,
                                                              const VKTView& referenceView);

    /// Neither hidden nor transparent, whatever its ancestors are.
    static bool isIndividualViewVisible(const VKTView& view);

    /// Whether every ancestor is individually visible; the view itself is not asked.
    static bool isCompleteViewHierarchyVisible(const VKTView& view);

    /// The nearest ancestor that is a window, never the view itself; null when there is none.
    static std::shared_ptr<VKTView> parentWindowForView(const VKTView& view);

    void timerFired(VKTTimer& timer) override;

    [[nodiscard]] std::shared_ptr<const VKTView> view() const { return view_.lock(); }
    [[nodiscard]] std::shared_ptr<VKTViewabilityManagerDelegate> delegate() const { return delegate_.lock(); }
    [[nodiscard]] const std::shared_ptr<VKTTimer>& timer() const { return timer_; }
    [[nodiscard]] const std::optional<VKTViewabilityStatus>& lastViewabilityStatus() const {
        return lastViewabilityStatus_;
    }

  private:
    VKTViewabilityManager(const std::shared_ptr<const VKTView>& view,
                          const std::shared_ptr<VKTViewabilityManagerDelegate>& delegate)
        : view_(view), delegate_(delegate) {}

    const std::weak_ptr<const VKTView> view_;
    const std::weak_ptr<VKTViewabilityManagerDelegate> delegate_;
    std::shared_ptr<VKTTimer> timer_;  // null when stopped
    std::optional<VKTViewabilityStatus> lastViewabilityStatus_;
    std::size_t starts_ = 0;
};

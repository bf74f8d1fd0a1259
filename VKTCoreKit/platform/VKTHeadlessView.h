// Views, windows and an application without a screen: for devices whose player draws by itself and tells the
// library where, for the command line and for tests.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/platform/VKTNotificationCentre.h"
#include "VKTCoreKit/platform/VKTView.h"

/// A view whose properties are set by hand. Main thread only. A view owns its subviews; a subview knows its
/// superview weakly. Its topmost view may hang below a view of the application's own.
///
/// ```cpp
/// auto window = VKTHeadlessView::windowWithFrame({0, 0, 1920, 1080});
/// auto adView = VKTHeadlessView::initWithFrame({0, 0, 1920, 1080});
/// window->addSubview(adView);              // keep both: a view knows the one around it weakly
/// adView->setFrame({480, 270, 960, 540});  // the ad is shown smaller
/// ```
class VKT_EXPORT VKTHeadlessView : public VKTView, public std::enable_shared_from_this<VKTHeadlessView> {
  public:
    /// The bounds have the frame's size and begin at (0, 0).
    static std::shared_ptr<VKTHeadlessView> initWithFrame(const VKTRect& frame);

    /// The same for a window.
    static std::shared_ptr<VKTHeadlessView> windowWithFrame(const VKTRect& frame);

    [[nodiscard]] VKTRect frame() const override { return frame_; }
    [[nodiscard]] VKTRect bounds() const override {
        return {boundsOrigin_.x, boundsOrigin_.y, frame_.width, frame_.height};
    }
    [[nodiscard]] bool isHidden() const override { return isHidden_; }
    [[nodiscard]] double alpha() const override { return alpha_; }
    [[nodiscard]] bool isWindow() const override { return isWindow_; }
    [[nodiscard]] std::shared_ptr<VKTView> superview() const override { return superview_.lock(); }
    [[nodiscard]] std::vector<std::shared_ptr<VKTView>> subviews() const override;
    void appendSubviewsTo(std::vector<std::shared_ptr<VKTView>>& list) const override;
    [[nodiscard]] std::string_view className() const override { return className_; }
    [[nodiscard]] bool hasFocus() const override { return hasFocus_; }

    void setFrame(const VKTRect& frame) { frame_ = frame; }
    void setBoundsOrigin(VKTPoint origin) { boundsOrigin_ = origin; }
    void setHidden(bool hidden) { isHidden_ = hidden; }
    void setAlpha(double alpha) { alpha_ = alpha; }
    void setClassName(std::string className) { className_ = std::move(className); }
    void setFocus(bool hasFocus) { hasFocus_ = hasFocus; }

    /// Puts the view in front of the other subviews, after taking it out of where it stood. Does nothing for
    /// this view itself and for its ancestors.
    void addSubview(std::shared_ptr<VKTHeadlessView> view);
    void removeFromSuperview();

    /// Hangs the view below one of the application's own, which lists it among its subviews as long as this
    /// holds, and keeps it alive; it is held weakly. Ends where the view stood before; null for nowhere. Does
    /// nothing for this view itself and for what stands in it. Below another headless view: `addSubview`.
    void setSuperview(const std::shared_ptr<VKTView>& superview);

  private:
    VKTHeadlessView(const VKTRect& frame, bool isWindow) : frame_(frame), isWindow_(isWindow) {}

    VKTRect frame_;
    VKTPoint boundsOrigin_;
    bool isHidden_ = false;
    double alpha_ = 1;
    std::string className_ = "VKTHeadlessView";
    bool hasFocus_ = true;
    const bool isWindow_;
    std::weak_ptr<VKTView> superview_;
    std::vector<std::shared_ptr<VKTHeadlessView>> subviews_;
};

/// An application whose state is set by hand; active at first. Main thread only.
class VKT_EXPORT VKTHeadlessApplication : public VKTApplication {
  public:
    /// The centre must not be null.
    explicit VKTHeadlessApplication(std::shared_ptr<VKTNotificationCentre> notificationCentre)
        : notificationCentre_(std::move(notificationCentre)) {}

    [[nodiscard]] VKTApplicationState applicationState() const override { return state_; }

    /// Posts that the application entered the background, or is about to leave it.
    void setApplicationState(VKTApplicationState state);

  private:
    const std::shared_ptr<VKTNotificationCentre> notificationCentre_;
    VKTApplicationState state_ = VKTApplicationStateActive;
};

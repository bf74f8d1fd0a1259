// What the library needs to know of views, windows and the application's state.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTRect.h"

/// One view of the embedder's user interface. Main thread only. Held weakly by whoever measures it.
///
/// Coordinates are converted by origins alone: there are no transforms.
class VKT_EXPORT VKTView {
  public:
    virtual ~VKTView() = default;

    [[nodiscard]] virtual VKTRect frame() const = 0;   ///< in the superview's coordinates
    [[nodiscard]] virtual VKTRect bounds() const = 0;  ///< in its own; the origin is how far it is scrolled
    [[nodiscard]] virtual bool isHidden() const = 0;   ///< itself, whatever its ancestors are
    [[nodiscard]] virtual double alpha() const = 0;    ///< 0 (not seen) to 1
    [[nodiscard]] virtual bool isWindow() const = 0;

    /// Null for a view that stands in no other. Following superviews comes to an end.
    [[nodiscard]] virtual std::shared_ptr<VKTView> superview() const = 0;

    /// Back to front.
    [[nodiscard]] virtual std::vector<std::shared_ptr<VKTView>> subviews() const = 0;

    /// The same, put behind what is in the list already. Overridden by views that need not make a list of
    /// their own for it: whoever walks a tree often keeps its list and its memory.
    virtual void appendSubviewsTo(std::vector<std::shared_ptr<VKTView>>& list) const;

    /// What kind of view it is, for people who look for what covers an ad. Lives as long as the view.
    [[nodiscard]] virtual std::string_view className() const { return "VKTView"; }

    /// Of a window: whether it is the one that the viewer controls.
    [[nodiscard]] virtual bool hasFocus() const { return true; }

    /// A point of this view in another view's coordinates; by way of their topmost views, which are taken for
    /// the same when they are not.
    [[nodiscard]] VKTPoint convertPointToView(VKTPoint point, const VKTView& view) const;
};

enum VKTApplicationState : std::uint8_t {
    VKTApplicationStateActive = 0,
    VKTApplicationStateInactive = 1,
    VKTApplicationStateBackground = 2,
};

/// Posted on the main thread, without user information, through the platform's notification centre.
inline constexpr const char* VKTApplicationWillEnterForegroundNotification =
    "com.korvonet.application.willEnterForeground";
inline constexpr const char* VKTApplicationDidEnterBackgroundNotification =
    "com.korvonet.application.didEnterBackground";

/// The embedding application. Main thread only.
class VKT_EXPORT VKTApplication {
  public:
    virtual ~VKTApplication() = default;

    [[nodiscard]] virtual VKTApplicationState applicationState() const = 0;
};

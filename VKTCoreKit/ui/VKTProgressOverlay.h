// How far an ad has played, drawn over it.
#pragma once

#include <cstdint>
#include <string>

#include "VKTCoreKit/foundation/VKTColor.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTRect.h"
#include "VKTCoreKit/platform/VKTCanvas.h"

/// The largest distance, in points, that the indicator keeps from the edges of the view: the twentieth part
/// of a screen 1,920 points wide, which a television set may cut off at each side.
inline constexpr double VKTProgressMaxOffset = 96;

enum VKTProgressIndicator : std::uint8_t {
    VKTProgressIndicatorRound = 0,  ///< a ring in the upper right corner, filled clockwise from the top
    VKTProgressIndicatorBar = 1,    ///< along the lower edge, filled from the left
};

/// Lengths are in points; what is negative or not finite counts as 0.
struct VKTProgressStyle {
    VKTProgressIndicator indicator = VKTProgressIndicatorRound;

    /// From the edges of the view; at most VKTProgressMaxOffset, and a quarter of the view's shorter side.
    double offset = 48;
    double diameter = 72;  ///< of the ring; less in a view that is too small for it
    double lineWidth = 6;  ///< of the ring, and the height of the bar
    double fontSize = 20;  ///< the largest; texts shrink to fit into the ring

    /// In the ring, or left of the bar.
    bool showsRemainingTime = true;

    /// In the ring, below the remaining time, or right of the bar.
    bool showsTotalTime = false;

    VKTColor progressColor{1, 1, 1, 1};
    VKTColor trackColor{1, 1, 1, 0.3};
    VKTColor backdropColor{0, 0, 0, 0.5};  ///< of the disc in the ring
    VKTColor textColor{1, 1, 1, 1};
};

/// The state and the looks of an indicator. It is no view: a view of the embedder's, which is registered with
/// the measurement as a friendly obstruction when it stands over an ad, draws it.
///
/// A value; one thread at a time.
class VKT_EXPORT VKTProgressOverlay {
  public:
    /// Seconds. Zero, negative and non-finite durations mean that it is not known: there is no progress then
    /// and no text.
    void setDuration(double duration);

    /// The playback position in seconds; below 0 it is 0, and a position that is not finite is ignored.
    void setTime(double time);

    void setStyle(const VKTProgressStyle& style) { style_ = style; }
    [[nodiscard]] const VKTProgressStyle& style() const { return style_; }

    /// From 0 to 1.
    [[nodiscard]] double progress() const;

    /// As `vkt_playbackTimeText` has it; empty when the duration is not known. The remaining time is "0:00"
    /// at the end only.
    [[nodiscard]] std::string remainingTimeText() const;
    [[nodiscard]] std::string totalTimeText() const;

    /// Where `draw` draws in a view with these bounds; null when nothing is drawn.
    [[nodiscard]] VKTRect indicatorRect(const VKTRect& bounds) const;

    /// Draws into `bounds` and nothing outside. Leaves the canvas's clip as it was.
    void draw(VKTCanvas& canvas, const VKTRect& bounds) const;

  private:
    void drawRing(VKTCanvas& canvas, const VKTRect& area) const;
    void drawBar(VKTCanvas& canvas, const VKTRect& area) const;
    void drawTextsInRing(VKTCanvas& canvas, VKTPoint centre, double room) const;

    VKTProgressStyle style_;
    double duration_ = 0;
    double time_ = 0;
};

/// "m:ss", from one hour on "h:mm:ss". Whole seconds, begun ones included, so that a countdown reads 0:01
/// until it ends; "0:00" for what is negative or no number, "99:59:59" for anything longer.
VKT_EXPORT std::string vkt_playbackTimeText(double seconds);

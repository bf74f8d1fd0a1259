// Plays one ad break, from a VAST document to the last pixel.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/player/VKTAdBreakAd.h"
#include "VKTCoreKit/player/VKTAdBreakOptions.h"
#include "VKTCoreKit/player/VKTAdBreakPlayerDelegate.h"
#include "VKTCoreKit/player/VKTMediaPlayer.h"
#include "VKTCoreKit/tracking/VKTVideoTrackingEventManager.h"

/// Resolves the break on a thread of its own, and plays its ads one after another on the main loop: it tells
/// the media player what to do, and tracks what comes of it.
///
/// ```cpp
/// auto services = VKTAdBreakServices::initWithPlatform(VKTPlatform::current());
/// auto player = VKTAdBreakPlayer::initWithMediaPlayer(mediaPlayer, view, playerDelegate, services);
/// player->startWithURL(url);
/// ```
///
/// Tracked are impression, creativeView and loaded when the first picture is seen; start, quartiles, complete
/// and progress by the position, with the duration of the document or else of the media; what the viewer
/// does; error pixels with the code of what went wrong; and whether the ad was viewable (half of it for two
/// seconds without a break), was not, or cannot be known because the view stands in no window. The
/// verification scripts hear the same. After an ad that fails its passback is played, and in any case the
/// rest of the break.
///
/// Main loop only. One break for each object. Holds what it is made of, the delegate weakly. Destroying it is
/// like `cancel` without a word to the delegate.
class VKT_EXPORT VKTAdBreakPlayer {
  public:
    /// Only the view and the delegate may be null. Without a view no ad is viewable and none is measured. The
    /// view stands in a window: one that is a window itself stands in none.
    static std::shared_ptr<VKTAdBreakPlayer> initWithMediaPlayer(
        std::shared_ptr<VKTMediaPlayer> mediaPlayer, std::shared_ptr<VKTView> view,
        const std::shared_ptr<VKTAdBreakPlayerDelegate>& delegate, VKTAdBreakServices services,
        VKTAdBreakOptions options = {});

    ~VKTAdBreakPlayer();
    VKTAdBreakPlayer(const VKTAdBreakPlayer&) = delete;
    VKTAdBreakPlayer& operator=(const VKTAdBreakPlayer&) = delete;

    /// Downloads the document. A second start does nothing but log.
    void startWithURL(const VKTURL& url);

    /// Reads the text; its URL, if it came from one, is only told.
    void startWithXML(std::string xml, const std::optional<VKTURL>& url = std::nullopt);

    /// Each does nothing while no ad is played; the same state twice is tracked once.
    void pause();
    void resume();
    void setVolume(double volume);  ///< 0 counts as muted; also between ads
    void setMuted(bool isMuted);    ///< keeps the volume for later
    void setFullscreen(bool isFullscreen);

    /// Tracks the click, and gives the delegate the page to show.
    void click();

    /// Ends the ad, and goes on with the next. False, and nothing happens, when the ad cannot be skipped, or
    /// not yet (`VKTAdBreakOptions::enforcesSkipOffset`).
    bool skip();
    [[nodiscard]] bool canSkip() const;

    /// Any other event that only the application knows of, such as playerExpand, by its name in VAST.
    void trackVideoEvent(VKTVideoEvent event);

    /// Ends everything before it returns, also while a download hangs: the media player is stopped, the
    /// delegate hears of the ad's end and of the break's. Pixels that are not sent yet stay in their store.
    /// An ad that is just ending, inside the last that is tracked of it, keeps the end that it has.
    void cancel();

    /// Of the ad that is played; nothing and 0 while there is none.
    [[nodiscard]] std::optional<VKTAdBreakAd> currentAd() const;
    [[nodiscard]] double position() const;                 ///< seconds
    [[nodiscard]] std::optional<double> duration() const;  ///< seconds; nothing while it is not known
    [[nodiscard]] bool isPaused() const;
    [[nodiscard]] double volume() const;  ///< 0 while muted

    /// Of the current ad; null when it is not measured.
    [[nodiscard]] std::shared_ptr<VKTOpenMeasurementAdSession> measurementSession() const;

    /// The verification scripts of the current ad, in their order, until it ends. Those without a URL do not
    /// run.
    [[nodiscard]] const VKTOpenMeasurementManager::Scripts& measurementScripts() const;

  private:
    class Break;

    explicit VKTAdBreakPlayer(std::shared_ptr<Break> theBreak);

    /// For the time of a call, since the delegate may let go of this object inside it.
    [[nodiscard]] std::shared_ptr<Break> hold() const { return break_; }

    const std::shared_ptr<Break> break_;
};

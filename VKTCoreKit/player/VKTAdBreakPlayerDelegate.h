// What an application hears of an ad break.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/player/VKTAdBreakAd.h"
#include "VKTCoreKit/tracking/VKTPixelStore.h"

class VKTAdBreakPlayer;

enum VKTPixelOutcomeKind : std::uint8_t {
    VKTPixelDelivered,
    VKTPixelRefused,  ///< the server answered with a failure, or not at all
    VKTPixelExpired,  ///< its time was over before it could be delivered
};

/// What became of a pixel, or of one attempt.
struct VKTPixelOutcome {
    VKTPixelOutcomeKind kind = VKTPixelDelivered;
    std::optional<int> statusCode = {};  ///< what the server answered
    std::optional<VKTError> error = {};  ///< of the transfer
    bool isTriedAgain = false;           ///< of a refused one: it stays in the store
};

/// Hears of one break, on its main loop. Each operation has an empty default. It may call the player back,
/// cancel it, or let go of it, inside any of them: it is destroyed when the call returns. What it throws is
/// dropped with a line in the log. After the break's end it hears of nothing more but of pixels.
class VKTAdBreakPlayerDelegate {
  public:
    virtual ~VKTAdBreakPlayerDelegate() = default;

    /// All documents have been read. An ad that fails while it is played may be followed by a passback that
    /// is not among the ads. Not told of a break that is cancelled before.
    virtual void adBreakPlayerDidResolve(VKTAdBreakPlayer& /*player*/,
                                         const VKTAdBreakResolution& /*resolution*/) {}

    /// The ad's turn has come: it is loaded next, or, when it is not playable, ends as failed. Its
    /// measurement session is there and starts next: add friendly obstructions here
    /// (`VKTAdBreakPlayer::measurementSession`).
    virtual void adBreakPlayerWillStartAd(VKTAdBreakPlayer& /*player*/, const VKTAdBreakAd& /*ad*/) {}

    /// Its first picture is seen, and its impression has been tracked.
    virtual void adBreakPlayerDidStartAd(VKTAdBreakPlayer& /*player*/, const VKTAdBreakAd& /*ad*/) {}

    /// The ad can be skipped from that second of it on. Once for each ad that can be skipped at all, when it
    /// has started, or later when the offset is a share of a duration that nobody knew.
    virtual void adBreakPlayerSkipPossibleFrom(VKTAdBreakPlayer& /*player*/, double /*seconds*/) {}

    /// Four times a second while an ad is played, and when the viewer does something: seconds. The duration
    /// is nothing while it is not known.
    virtual void adBreakPlayerDidProgress(VKTAdBreakPlayer& /*player*/, double /*position*/,
                                          std::optional<double> /*duration*/) {}

    virtual void adBreakPlayerDidEndAd(VKTAdBreakPlayer& /*player*/, const VKTAdBreakAd& /*ad*/,
                                       const VKTAdEnd& /*end*/) {}

    /// The last but for pixels. The content may go on.
    virtual void adBreakPlayerDidEnd(VKTAdBreakPlayer& /*player*/, const VKTAdBreakEnd& /*end*/) {}

    /// The viewer has clicked: show the page, and call `pause` if it covers the ad.
    virtual void adBreakPlayerShouldOpenURL(VKTAdBreakPlayer& /*player*/, const VKTURL& /*clickThrough*/) {}

    /// An event of the current ad, or a problem that was met while the break is resolved ("error"), and the
    /// pixels that it has made; there may be none.
    virtual void adBreakPlayerDidTrackEvent(VKTAdBreakPlayer& /*player*/, const std::string& /*event*/,
                                            const VKTPixels& /*pixels*/) {}

    /// One of those pixels was delivered, refused or expired, for as long as the player lives.
    virtual void adBreakPlayerDidSendPixel(VKTAdBreakPlayer& /*player*/,
                                           const std::shared_ptr<VKTPixel>& /*pixel*/,
                                           const VKTPixelOutcome& /*outcome*/) {}

    /// The last. After the break's end everything that was pending has been tried once more, what an earlier
    /// launch has left too: an application that leaves now loses only what was refused and no file keeps.
    virtual void adBreakPlayerDidTryAllPixels(VKTAdBreakPlayer& /*player*/) {}

    /// A VAST problem that was met while the break is resolved. Its error pixels are called.
    virtual void adBreakPlayerDidEncounterError(VKTAdBreakPlayer& /*player*/, const VKTVASTError& /*error*/) {
    }

    /// An element of a document that is not in the model: its path, and why
    /// (`VKTVASTReadingListener::dropped`).
    virtual void adBreakPlayerDidDropElement(VKTAdBreakPlayer& /*player*/, const std::string& /*path*/,
                                             const std::string& /*reason*/) {}
};

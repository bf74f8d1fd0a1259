// The application's media player, as far as an ad break needs it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTMediaFile.h"

/// Why a media file is not played. The values are the codes that the ad's error pixels are called with
/// (VAST 4.2, 2.3.6.3).
enum VKTMediaFailure : std::int32_t {
    VKTMediaFailureGeneral = 400,       ///< none of the following, or not known
    VKTMediaFailureNotFound = 401,      ///< the server does not answer, or answers 404 and the like
    VKTMediaFailureTimeout = 402,       ///< it was not there in time
    VKTMediaFailureNotSupported = 403,  ///< a container or a codec that this player does not know
    VKTMediaFailureNotShown = 405,      ///< it was fetched and cannot be shown: damaged, say
};

/// Hears how one media file does. Every operation may be called on any thread, also inside the operations of
/// the media player, as often as one likes, and after the file has been stopped: it is dealt with later on
/// the main loop, and what does not matter any more is ignored.
class VKT_EXPORT VKTMediaPlayerListener {
  public:
    virtual ~VKTMediaPlayerListener() = default;

    /// It can be played. `play` is called next.
    virtual void mediaIsReady() = 0;

    /// Its first picture is seen. A player that cannot tell need not: the media counts as started when its
    /// position moves.
    virtual void mediaDidStart() = 0;

    /// It stands still for want of data. The time until its position moves again does not count as viewable.
    /// A player that cannot tell need not: a position that stands still for too long is noticed.
    virtual void mediaDidStall() = 0;

    /// It has been played to its end.
    virtual void mediaDidEnd() = 0;

    /// It cannot be played, or not any further: the ad has failed, unless its duration has been played. The
    /// reason is for people, in the log and in
    /// `VKTAdEnd::reason`.
    virtual void mediaDidFail(VKTMediaFailure failure, const std::string& reason) = 0;
};

/// Plays one media file after another. The application implements it over the player that it has; one media
/// player serves one ad break at a time.
///
/// Every operation is called on the main loop and must not wait: what takes long is told to the listener.
/// It may call the break player. What an operation throws is logged, and ends the ad as failed. But for
/// `load` none is called while no file is loaded.
class VKTMediaPlayer {
  public:
    virtual ~VKTMediaPlayer() = default;

    /// Fetches the file at `file.url`, which is there, and tells the listener: ready, then how it goes. The
    /// listener may be kept for as long as one likes. A file that is loaded already is let go of.
    virtual void load(const VKTVASTMediaFile& file,
                      const std::shared_ptr<VKTMediaPlayerListener>& listener) = 0;

    /// Begins, or goes on after `pause`.
    virtual void play() = 0;
    virtual void pause() = 0;

    /// Lets go of the file: no picture and no sound any more. Called once for each `load`, after the end and
    /// after a failure too.
    virtual void stop() = 0;

    /// Seconds of the media that have been played; 0 while nothing has. Asked for four times a second,
    /// whenever the viewer does something, and after the listener has heard of the end. A number that is no
    /// time counts as the one before.
    [[nodiscard]] virtual double position() const = 0;

    /// Seconds; nothing while it is not known. It may become known later, and is asked for until it is. By
    /// this, or else by the document's, media that breaks off is told from media that has ended; and
    /// quartiles of an ad whose document has no duration come of it.
    [[nodiscard]] virtual std::optional<double> duration() const { return std::nullopt; }

    /// From 0, silent, to 1. Also called after each `load`.
    virtual void setVolume(double volume) = 0;
};

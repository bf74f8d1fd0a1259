// Who is told what happens while a break is played.
#pragma once

#include <cstddef>
#include <string>

#include "playing/PlayResult.h"

/// Loop's thread only.
class PlayAudience {
  public:
    virtual ~PlayAudience() = default;

    /// `problems` tells which error pixels were called meanwhile.
    virtual void resolved(const Resolution& resolution, const Timeline& problems,
                          const PixelLedger& ledger) = 0;

    /// `number` counts from 1. An ad that is not playable ends at once.
    virtual void adStarts(std::size_t number, const VKTAdBreakAd& ad) = 0;
    virtual void eventTracked(const TimelineEntry& entry, const PixelLedger& ledger) = 0;
    virtual void progressed(double position, double duration) = 0;  ///< seconds

    /// Nothing is shown any more; its scripts may still be at their last words.
    virtual void mediaIsOver() {}
    virtual void adEnded(std::size_t number, const PlayedAd& ad) = 0;
    virtual void breakEnded() {}

    /// Of each attempt, whose outcome may be that of the one before. `place` is that of the ledger. Also
    /// after the break, and before the event is told.
    virtual void pixelAnswered(std::size_t place, const PixelRecord& pixel) = 0;

    /// What a remote media player is to do; see RemoteMediaPlayer.
    virtual void mediaCommanded(const VKTDictionary& /*command*/) {}

    /// A sentence about what was asked for and does not work out.
    virtual void noted(const std::string& text) = 0;
};

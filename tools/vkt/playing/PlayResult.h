// What a run of vkt play has brought.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "playing/PixelLedger.h"
#include "playing/Resolving.h"
#include "playing/ScriptLedger.h"
#include "playing/Timeline.h"

/// An ad and what happened with it.
struct PlayedAd {
    VKTAdBreakAd ad;  ///< of one that is not playable only the error pixels were called
    Timeline timeline;
    ScriptRecords scripts = {};           ///< of a measured ad
    std::vector<std::string> notes = {};  ///< sentences about what did not work out
};

struct PlayResult {
    Resolution resolution;
    std::vector<PlayedAd> ads;
    Timeline problems;  ///< error pixels that were called while the source was resolved
    std::vector<PixelRecord> pixels;
    bool arePixelsSaved = true;  ///< what is pending of them, in the options' store

    /// Places of the pixels that an earlier run has left, or of the others.
    [[nodiscard]] std::vector<std::size_t> places(bool isOfEarlierRun) const {
        std::vector<std::size_t> places;
        for (std::size_t place = 0; place < pixels.size(); ++place) {
            if (pixels[place].isOfEarlierRun == isOfEarlierRun) places.push_back(place);
        }
        return places;
    }
};

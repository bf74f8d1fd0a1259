// What a run of vkt play has brought, as JSON and as a page.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ground/Options.h"
#include "playing/PixelLedger.h"
#include "playing/Resolving.h"
#include "playing/ScriptLedger.h"
#include "playing/Timeline.h"
#include "report/ResolutionReport.h"

/// An ad and what happened with it.
struct PlayedAd {
    VKTAdBreakAd ad;  ///< of one that is not playable only the error pixels were called
    Timeline timeline;
    ScriptRecords scripts = {};  ///< of a measured ad
};

struct PlayResult {
    Resolution resolution;
    std::vector<PlayedAd> ads;
    Timeline problems;  ///< error pixels that were called while the source was resolved
    std::vector<PixelRecord> pixels;
    bool arePixelsSaved = true;  ///< what is pending of them, in the options' store

    /// Places of the pixels that an earlier run has left, or of the others.
    [[nodiscard]] std::vector<std::size_t> places(bool isOfEarlierRun) const;
};

/// The report of `vkt resolve` and per ad "timeline" and "pixels", and "measurement"
/// when the ads are measured; "errorPixels" of what was met while
/// resolving; "pixelsLeftByEarlierRun".
JSONReport reportOfPlay(const PlayOptions& options, const PlayResult& result);

/// How many of the pixels were delivered, and each that was not.
std::vector<std::string> summaryOfPixels(const PlayOptions& options, const PlayResult& result);

/// One HTML page that needs nothing else. False, with an error line, when the file cannot be written.
bool writePage(const PlayOptions& options, const PlayResult& result);

// The events of an ad, as they were tracked.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "playing/PixelLedger.h"
#include "playing/PlayScreen.h"

/// One event that was tracked.
struct TimelineEntry {
    double time = 0;  ///< seconds since the ad began, a pause included
    std::string event;
    std::vector<std::size_t> pixels;  ///< places in the ledger
};
using Timeline = std::vector<TimelineEntry>;

/// Keeps the timeline, and shows its entries.
class TimelineRecorder {
  public:
    TimelineRecorder(PixelLedger& ledger, PlayScreen& screen) : ledger_(ledger), screen_(screen) {}

    /// Entries of one name and time that follow one another become one.
    void add(double time, const std::string& event, const VKTPixels& pixels);

    /// Shows the entries that are new.
    void show();

    [[nodiscard]] const Timeline& timeline() const { return timeline_; }

  private:
    PixelLedger& ledger_;
    PlayScreen& screen_;
    Timeline timeline_;
    std::size_t shown_ = 0;
};

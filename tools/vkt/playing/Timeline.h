// The events of an ad, as they were tracked.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "playing/PixelLedger.h"

/// One event that was tracked.
struct TimelineEntry {
    double time = 0;  ///< seconds since the ad began, a pause included
    std::string event;
    std::vector<std::size_t> pixels;  ///< places in the ledger
};
using Timeline = std::vector<TimelineEntry>;

/// Keeps the timeline, and tells of its entries.
class TimelineRecorder {
  public:
    using EntryHandler = std::function<void(const TimelineEntry& entry)>;

    TimelineRecorder(PixelLedger& ledger, EntryHandler onEntry)
        : ledger_(ledger), onEntry_(std::move(onEntry)) {}

    /// Entries of one name and time that follow one another become one.
    void add(double time, const std::string& event, const VKTPixels& pixels);

    /// Tells of the entries that are new.
    void tell();

    [[nodiscard]] const Timeline& timeline() const { return timeline_; }

  private:
    PixelLedger& ledger_;
    const EntryHandler onEntry_;
    Timeline timeline_;
    std::size_t told_ = 0;
};

#include "playing/Timeline.h"

void TimelineRecorder::add(double time, const std::string& event, const VKTPixels& pixels) {
    const bool isNew = timeline_.empty() || timeline_.back().time != time || timeline_.back().event != event;
    if (isNew) timeline_.push_back({time, event, {}});
    const auto places = ledger_.placesOf(pixels);
    auto& all = timeline_.back().pixels;
    all.insert(all.end(), places.begin(), places.end());
}

void TimelineRecorder::tell() {
    for (; told_ < timeline_.size(); ++told_)
        onEntry_(timeline_[told_]);
}

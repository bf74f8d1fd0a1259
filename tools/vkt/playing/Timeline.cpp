#include "playing/Timeline.h"

#include "ground/Text.h"

void TimelineRecorder::add(double time, const std::string& event, const VKTPixels& pixels) {
    const bool isNew = timeline_.empty() || timeline_.back().time != time || timeline_.back().event != event;
    if (isNew) timeline_.push_back({time, event, {}});
    const auto places = ledger_.placesOf(pixels);
    auto& all = timeline_.back().pixels;
    all.insert(all.end(), places.begin(), places.end());
}

void TimelineRecorder::show() {
    for (; shown_ < timeline_.size(); ++shown_) {
        const auto& [time, event, pixels] = timeline_[shown_];
        std::string line = textOfTime(time);
        line += "  " + event + ": ";
        line += pixels.empty() ? "nothing to call" : countOf(pixels.size(), "pixel");
        screen_.line(line);
    }
}

#include "VKTCoreKit/tracking/VKTTrackingEventList.h"

#include <algorithm>
#include <utility>

VKTTrackingEventList::VKTTrackingEventList(const VKTTrackingEvents& events) {
    for (const auto& event : events) {
        if (event) append(event);
    }
}

void VKTTrackingEventList::append(std::shared_ptr<VKTTrackingEvent> event) {
    const std::size_t hash = event->hash();
    placesByHash_.emplace(hash, events_.insert(events_.end(), std::move(event)));
}

bool VKTTrackingEventList::contains(const VKTTrackingEvent& event) const {
    const auto [begin, end] = placesByHash_.equal_range(event.hash());
    return std::any_of(begin, end, [&](const auto& entry) { return (*entry.second)->isEqual(event); });
}

void VKTTrackingEventList::remove(const VKTTrackingEvent& event) {
    List removed;  // the list may have been the last to hold the event that is asked for
    auto [place, end] = placesByHash_.equal_range(event.hash());
    while (place != end) {
        if ((*place->second)->isEqual(event)) {
            removed.splice(removed.end(), events_, place->second);
            place = placesByHash_.erase(place);
        } else {
            ++place;
        }
    }
}

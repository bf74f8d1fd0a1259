#include "VKTCoreKit/tracking/VKTTrackingEventList.h"

VKTTrackingEventList::VKTTrackingEventList(const VKTTrackingEvents& events) {
    for (const auto& event : events) {
        if (event) append(event);
    }
}

void VKTTrackingEventList::append(std::shared_ptr<VKTTrackingEvent> event) {
    const Key key{event->hash(), event.get()};
    places_.emplace(key, events_.insert(events_.end(), std::move(event)));
}

bool VKTTrackingEventList::contains(const VKTTrackingEvent& event) const {
    return find(event) != places_.end();
}

void VKTTrackingEventList::remove(const VKTTrackingEvent& event) {
    List removed;  // the list may have been the last to hold the event that is asked for
    const auto found = find(event);
    if (found == places_.end()) return;
    const auto [begin, end] = places_.equal_range(found->first);
    for (auto place = begin; place != end; ++place)
        removed.splice(removed.end(), events_, place->second);
    places_.erase(begin, end);
}

VKTTrackingEventList::Places::const_iterator VKTTrackingEventList::find(const VKTTrackingEvent& event) const {
    const std::size_t hash = event.hash();
    const auto itself = places_.find({hash, &event});
    if (itself != places_.end()) return itself;
    auto place = places_.lower_bound({hash, nullptr});
    for (; place != places_.end() && place->first.first == hash; ++place) {
        if ((*place->second)->isEqual(event)) return place;
    }
    return places_.end();
}

// The events of a tracking manager that may still fire.
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <unordered_map>

#include "VKTCoreKit/tracking/VKTTrackingEventFactory.h"

/// An ordered list of events, none null. Equal means the event's own `isEqual`. Adding, finding and removing
/// cost the same however many there are. Main thread only.
class VKTTrackingEventList {
  public:
    using List = std::list<std::shared_ptr<VKTTrackingEvent>>;

    VKTTrackingEventList() = default;
    explicit VKTTrackingEventList(const VKTTrackingEvents& events);  ///< null ones are left out
    VKTTrackingEventList(const VKTTrackingEventList&) = delete;      // the index points into the list
    VKTTrackingEventList& operator=(const VKTTrackingEventList&) = delete;

    void append(std::shared_ptr<VKTTrackingEvent> event);
    [[nodiscard]] bool contains(const VKTTrackingEvent& event) const;

    /// Removes every element that is equal to the event.
    void remove(const VKTTrackingEvent& event);

    [[nodiscard]] bool empty() const { return events_.empty(); }
    [[nodiscard]] std::size_t size() const { return events_.size(); }
    [[nodiscard]] const std::shared_ptr<VKTTrackingEvent>& front() const { return events_.front(); }
    [[nodiscard]] List::const_iterator begin() const { return events_.begin(); }
    [[nodiscard]] List::const_iterator end() const { return events_.end(); }

  private:
    List events_;
    std::unordered_multimap<std::size_t, List::iterator> placesByHash_;
};

// The events of a tracking manager that may still fire.
#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <utility>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/tracking/VKTTrackingEventFactory.h"

/// An ordered list of events, none null. An event is found by itself, else by an equal one (the event's own
/// `isEqual`). Two equal events are two elements: each stands for a pixel of its own. Adding, finding and
/// removing cost the logarithm of the number of events, however many of them are equal. Main thread only.
class VKT_EXPORT VKTTrackingEventList {
  public:
    using List = std::list<std::shared_ptr<VKTTrackingEvent>>;

    VKTTrackingEventList() = default;
    explicit VKTTrackingEventList(const VKTTrackingEvents& events);  ///< null ones are left out
    VKTTrackingEventList(const VKTTrackingEventList&) = delete;      // the index points into the list
    VKTTrackingEventList& operator=(const VKTTrackingEventList&) = delete;

    void append(std::shared_ptr<VKTTrackingEvent> event);

    /// Whether the event, or one that is equal to it, is in the list.
    [[nodiscard]] bool contains(const VKTTrackingEvent& event) const;

    /// Removes the event itself, from each place where it stands; when it is not there, one that is equal.
    void remove(const VKTTrackingEvent& event);

    [[nodiscard]] bool empty() const { return events_.empty(); }
    [[nodiscard]] std::size_t size() const { return events_.size(); }
    [[nodiscard]] const std::shared_ptr<VKTTrackingEvent>& front() const { return events_.front(); }
    [[nodiscard]] List::const_iterator begin() const { return events_.begin(); }
    [[nodiscard]] List::const_iterator end() const { return events_.end(); }

  private:
    // By hash, then by identity: beside an event stand those that may be equal to it.
    using Key = std::pair<std::size_t, const VKTTrackingEvent*>;
    using Places = std::multimap<Key, List::iterator>;

    [[nodiscard]] Places::const_iterator find(const VKTTrackingEvent& event) const;

    List events_;
    Places places_;
};

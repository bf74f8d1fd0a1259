// The interfaces of the events that become tracking pixels.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"

/// A named event with a URL to call. Implementations are immutable in use and have identity; they are shared
/// between the ad and the managers that track it.
class VKT_EXPORT VKTTrackingEvent {
  public:
    virtual ~VKTTrackingEvent() = default;

    [[nodiscard]] virtual const std::string& eventName() const = 0;
    [[nodiscard]] virtual const VKTURL& eventURL() const = 0;  ///< a template: macros are not yet filled
    [[nodiscard]] virtual bool isEventConsumable() const = 0;  ///< may fire only once

    /// The event class's own rule of equality; an object equals itself.
    [[nodiscard]] virtual bool isEqual(const VKTTrackingEvent& other) const { return this == &other; }

    /// Equal events have equal hashes: a class with a rule of its own overrides both.
    [[nodiscard]] virtual std::size_t hash() const { return std::hash<const void*>()(this); }
};

/// Lists of events, in order, by the rule of their class; a null equals a null.
template <typename Events>
bool vkt_areEqualEvents(const Events& left, const Events& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const auto& one, const auto& other) {
                          return one && other ? one->isEqual(*other) : one == other;
                      });
}

/// An event of a video, due at a time of its content.
class VKT_EXPORT VKTVideoTrackingEvent : public VKTTrackingEvent {
  public:
    /// Seconds from the start of the content; -1 when the event has no time offset.
    [[nodiscard]] virtual double eventOffset() const = 0;
};

/// An event that is due once enough of an ad view has been visible for long enough without a break.
class VKT_EXPORT VKTViewabilityTrackingEvent : public VKTTrackingEvent {
  public:
    /// The least visible share of the view, from 0 to 1.
    [[nodiscard]] virtual double eventArea() const = 0;

    /// Seconds of continuous exposure.
    [[nodiscard]] virtual double eventExpositionTime() const = 0;
};

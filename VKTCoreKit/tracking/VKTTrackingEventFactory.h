// Where a tracking event manager's events come from.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "VKTCoreKit/core/VKTTrackingEvent.h"
#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/vast/VKTVASTTrackingEvent.h"

using VKTTrackingEvents = std::vector<std::shared_ptr<VKTTrackingEvent>>;

/// Where a tracking manager takes its events from.
class VKT_EXPORT VKTTrackingEventFactory {
  public:
    virtual ~VKTTrackingEventFactory() = default;

    [[nodiscard]] virtual const VKTTrackingEvents& trackingEvents() const = 0;
};

/// A plain list, or the part of it that a filter keeps. Immutable; any thread.
class VKT_EXPORT VKTTrackingEventDefaultFactory : public VKTTrackingEventFactory {
  public:
    /// Variable bindings of a filter; none are given here.
    using Bindings = std::map<std::string, std::string>;
    /// Whether the event is kept.
    using Filter = std::function<bool(const VKTTrackingEvent& event, const Bindings& bindings)>;

    static std::shared_ptr<VKTTrackingEventDefaultFactory> initWithEvents(VKTTrackingEvents events);
    static std::shared_ptr<VKTTrackingEventDefaultFactory> initWithEvents(VKTTrackingEvents events,
                                                                          const Filter& withFilter);

    /// The events that the filter keeps, in their order; all of them when it is empty. Null ones are left
    /// out.
    static VKTTrackingEvents filterEvents(VKTTrackingEvents events, const Filter& withFilter);

    [[nodiscard]] const VKTTrackingEvents& events() const { return events_; }
    [[nodiscard]] const VKTTrackingEvents& trackingEvents() const override { return events_; }

  private:
    explicit VKTTrackingEventDefaultFactory(VKTTrackingEvents events) : events_(std::move(events)) {}

    const VKTTrackingEvents events_;
};

/// The tracking events of a VAST creative, each with the second at which it is due. Immutable; any thread.
class VKT_EXPORT VKTVASTTrackingEventFactory : public VKTTrackingEventFactory {
  public:
    using VASTTrackingEvents = std::vector<std::shared_ptr<VKTVASTTrackingEvent>>;

    /// `contentTotalTime` is in seconds; it is not known when it is 0 or less or not finite. Sets the offsets
    /// of the events themselves, which the ad shares: make the tracking manager, which keeps them as they are
    /// then, before another factory over the same events.
    static std::shared_ptr<VKTVASTTrackingEventFactory> initWithVASTTrackingEvents(
        const VASTTrackingEvents& vastTrackingEvents, double contentTotalTime);

    /// Every event but null ones, in order, after its offset has been set: by its name for start, the
    /// quartiles and complete, by its offset attribute (which goes first) as a time or a share of the total;
    /// else -1.
    static VKTTrackingEvents trackingEventsFromVASTTrackingEvents(
        const VASTTrackingEvents& vastTrackingEvents, double contentTotalTime);

    [[nodiscard]] const VKTTrackingEvents& events() const { return events_; }
    [[nodiscard]] const VKTTrackingEvents& trackingEvents() const override { return events_; }

  private:
    explicit VKTVASTTrackingEventFactory(VKTTrackingEvents events) : events_(std::move(events)) {}

    const VKTTrackingEvents events_;
};

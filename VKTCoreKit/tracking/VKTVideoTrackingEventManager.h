// Tracking of a video ad: player events and playback progress.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <unordered_map>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/tracking/VKTTrackingEventManager.h"

/// What a player reports; each tracks the VAST event of its name.
enum VKTVideoEvent : std::uint32_t {
    VKTVideoEventClick = 0,
    VKTVideoEventCreativeView = 1,
    VKTVideoEventLoaded = 2,
    VKTVideoEventStart = 3,
    VKTVideoEventFirstQuartile = 4,
    VKTVideoEventMidpoint = 5,
    VKTVideoEventThirdQuartile = 6,
    VKTVideoEventComplete = 7,
    VKTVideoEventMute = 8,
    VKTVideoEventUnmute = 9,
    VKTVideoEventPause = 10,
    VKTVideoEventRewind = 11,
    VKTVideoEventResume = 12,
    VKTVideoEventFullscreen = 13,
    VKTVideoEventExitFullscreen = 14,
    VKTVideoEventPlayerExpand = 15,
    VKTVideoEventPlayerCollapse = 16,
    VKTVideoEventProgress = 17,
    VKTVideoEventTimeToClick = 18,
    VKTVideoEventSkip = 19,
    VKTVideoEventVpaidAdInteraction = 20,
    VKTVideoEventFirstSecond = 21,
};

/// Also fires events by playback position, each at most once, consumable or not. The offsets are those that
/// the events have when the manager is made, whatever becomes of them later. A replay needs a new manager.
/// Main thread only; lifetimes as in the base class.
///
/// ```cpp
/// auto events =
///     VKTVASTTrackingEventFactory::initWithVASTTrackingEvents(creative->trackingEvents(), mediaDuration);
/// auto tracking =
///     VKTVideoTrackingEventManager::initWithEventFactory(*events, macros, delegate, pixelManager);
/// tracking->trackVideoEvent(VKTVideoEventCreativeView, {});  // the first picture is seen
/// tracking->playbackProgressedToTime(position, {});          // about four times a second
/// tracking->trackVideoEvent(VKTVideoEventPause, {});         // what the viewer does
/// ```
class VKT_EXPORT VKTVideoTrackingEventManager : public VKTTrackingEventManager {
  public:
    /// Without a pixel manager, the shared one.
    static std::shared_ptr<VKTVideoTrackingEventManager> initWithEventFactory(
        const VKTTrackingEventFactory& eventFactory, VKTReplacements macros,
        const std::shared_ptr<VKTTrackingEventManagerDelegate>& delegate,
        std::shared_ptr<VKTPixelManager> pixelManager = nullptr);

    /// `trackEvent` with the event's name. A value that is none of the enumeration does nothing.
    void trackVideoEvent(VKTVideoEvent videoEvent, const VKTReplacements& variables,
                         const VKTReplacements& additionalMacros = {});

    /// Fires, in the order of their offsets, the events due at `time` seconds or before that have not fired
    /// by time yet, and has the pixels called once; the delegate hears of each. A time that is negative or
    /// not a number fires nothing, infinity fires all. Nothing due costs a comparison.
    void playbackProgressedToTime(double time, const VKTReplacements& withVariables,
                                  const VKTReplacements& additionalMacros = {});

    /// Nothing fires by time any more, not even what is due in a progress that the delegate hears of.
    void cancelProgress();

    using VKTTrackingEventManager::trackEventByReference;

    /// The event will not fire by time any more, whatever comes of it here.
    void trackEventByReference(const std::shared_ptr<VKTTrackingEvent>& event,
                               const VKTReplacements& variables, const VKTReplacements& additionalMacros,
                               bool callPixelsImmediately) override;

    /// The events still to fire by time, `VKTVideoTrackingEvent`s all of them, by ascending offset as it was
    /// when the manager was made; equal offsets in the order of `events`.
    [[nodiscard]] const VKTTrackingEventList& videoEvents() const { return videoEvents_; }

  protected:
    using VKTTrackingEventManager::VKTTrackingEventManager;

    /// Fills `videoEvents`: for the maker, once.
    void initializeVideoTrackingEventTable();

  private:
    [[nodiscard]] bool isEventDueAtTime(double time) const { return nextOffset_ <= time; }
    void trackEventsDueAtTime(double time, const VKTReplacements& variables,
                              const VKTReplacements& additionalMacros);
    void updateNextOffset();

    static constexpr double neverDue = std::numeric_limits<double>::quiet_NaN();  // not even at infinity

    VKTTrackingEventList videoEvents_;
    std::unordered_map<const VKTTrackingEvent*, double> offsets_;  // of the events of the table, and before
    double nextOffset_ = neverDue;                                 // of the first event of the table
};

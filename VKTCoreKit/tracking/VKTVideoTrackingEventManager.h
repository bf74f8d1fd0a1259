// Tracking of a video ad: player events and playback progress.
#pragma once

#include <cstdint>
#include <memory>

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

/// Also fires events by playback position, each at most once, consumable or not. A replay needs a new
/// manager. Main thread only; lifetimes as in the base class.
class VKTVideoTrackingEventManager : public VKTTrackingEventManager {
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
    /// by time yet, and has the pixels called once; the delegate hears of each. Nothing due costs a
    /// comparison.
    void playbackProgressedToTime(double time, const VKTReplacements& withVariables,
                                  const VKTReplacements& additionalMacros = {});

    using VKTTrackingEventManager::trackEventByReference;

    /// The event will not fire by time any more, whatever comes of it here.
    void trackEventByReference(const std::shared_ptr<VKTTrackingEvent>& event,
                               const VKTReplacements& variables, const VKTReplacements& additionalMacros,
                               bool callPixelsImmediately) override;

    /// The events still to fire by time, `VKTVideoTrackingEvent`s all of them, by ascending offset; equal
    /// offsets in the order of `events`.
    [[nodiscard]] const VKTTrackingEventList& videoEvents() const { return videoEvents_; }

  protected:
    using VKTTrackingEventManager::VKTTrackingEventManager;

    /// Fills `videoEvents`: for the maker, once.
    void initializeVideoTrackingEventTable();

  private:
    [[nodiscard]] bool isEventDueAtTime(double time) const;

    VKTTrackingEventList videoEvents_;
};

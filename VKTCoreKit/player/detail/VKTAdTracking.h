// What one ad's showing brings to its pixels and to its verification scripts.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerProtocols.h"
#include "VKTCoreKit/player/VKTAdBreakAd.h"
#include "VKTCoreKit/player/VKTAdBreakOptions.h"
#include "VKTCoreKit/player/detail/VKTAdViewability.h"
#include "VKTCoreKit/tracking/VKTVASTPixelManager.h"
#include "VKTCoreKit/tracking/VKTVideoTrackingEventManager.h"

/// How an ad begins.
struct VKTAdBeginning {
    std::optional<double> duration;    ///< seconds; nothing while it is not known
    std::optional<double> skipOffset;  ///< seconds; nothing when the ad cannot be skipped, or not known yet
    double volume = 1;
};

/// `begin` when the first picture is seen, then what happens, then `end`, once. An ad that never begins knows
/// `fail` and `end` only. Main loop only.
class VKTAdTracking : public VKTTrackingEventManagerDelegate,
                      public std::enable_shared_from_this<VKTAdTracking> {
  public:
    /// Hears of each event, and of its pixels, which may be none.
    using EventHandler = std::function<void(const std::string& event, const VKTPixels& pixels)>;

    /// The session is started, or null.
    VKTAdTracking(VKTAdBreakAd ad, VKTAdBreakOptions options, std::shared_ptr<VKTVASTPixelManager> pixels,
                  std::shared_ptr<VKTAdViewability> viewability,
                  std::shared_ptr<VKTOpenMeasurementAdSession> session, EventHandler onEvent);

    /// Impression, creativeView, loaded, and what is due at 0.
    void begin(const VKTAdBeginning& beginning);
    [[nodiscard]] bool hasBegun() const { return video_ != nullptr; }

    /// When it was not known at the beginning: quartiles and shares follow from here on. Seconds.
    void durationBecameKnown(double duration);

    /// Tracks what is due at that second and has not been tracked.
    void progressTo(double position);

    void pause();
    void resume();

    /// What stands still is not viewed.
    void stallBegan() { viewability_->stop(); }
    void stallEnded() { viewability_->start(); }
    void volumeChanged(double volume);
    void setFullscreen(bool isFullscreen);
    void click();
    void skip();
    void track(VKTVideoEvent event);

    /// The media has come to its end: the quartiles that are still missing, if anything was seen at all, and
    /// complete.
    void complete(double position);

    void fail(const VKTVASTError& error);

    /// The showing is over.
    void end();

    void trackingEventManagerDidTrackEventWithPixels(VKTTrackingEventManager& /*manager*/,
                                                     const std::string& eventName,
                                                     const VKTPixels& pixels) override {
        onEvent_(eventName, pixels);
    }

  private:
    using Session = VKTOpenMeasurementAdSession;

    std::shared_ptr<VKTVideoTrackingEventManager> managerOf(const VKTVASTTrackingEventFactory& events);
    void trackOn(VKTVideoTrackingEventManager& manager, VKTVideoEvent event);
    void progressOn(const std::shared_ptr<VKTVideoTrackingEventManager>& manager, double position);
    void callPixels(const std::vector<VKTVASTURL>& URLs, const char* event);
    void measureStart();
    void measureQuartilesAt(double position);

    /// Unless it is over, also when the application ends the ad where it is asked for macros.
    void withMacros(const std::function<void(const VKTReplacements& macros)>& call) const;
    template <typename... Parameters, typename... Arguments>
    void measure(void (Session::*event)(Parameters...), Arguments... arguments) {
        if (session_ && !isOver_) ((*session_).*event)(arguments...);
    }

    const VKTAdBreakAd ad_;
    const VKTAdBreakOptions options_;  // whoever hears of an event may let go of the break
    const std::shared_ptr<VKTVASTPixelManager> pixels_;
    const std::shared_ptr<VKTAdViewability> viewability_;
    const std::shared_ptr<Session> session_;
    const EventHandler onEvent_;
    std::shared_ptr<VKTVideoTrackingEventManager> video_;      // null until the beginning
    std::shared_ptr<VKTVideoTrackingEventManager> lateVideo_;  // of what a late duration has placed; or null
    std::optional<double> duration_;
    double volume_ = 1;
    bool isPaused_ = false;
    bool isOver_ = false;        // whoever hears of an event may end the ad: nothing is tracked after that
    std::size_t quartiles_ = 0;  // that have been reached, the end included
};

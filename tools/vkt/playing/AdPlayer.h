// The life of one ad on a simulated screen: what an embedding player does with the tracking managers.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/platform/VKTHeadlessView.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/tracking/VKTVASTPixelManager.h"
#include "VKTCoreKit/tracking/VKTVideoTrackingEventManager.h"
#include "VKTCoreKit/tracking/VKTViewabilityManager.h"
#include "VKTCoreKit/tracking/VKTViewabilityTrackingEventManager.h"
#include "VKTCoreKit/vast/VKTVASTAd.h"
#include "ground/Options.h"
#include "playing/AdMeasurement.h"
#include "playing/PixelLedger.h"
#include "playing/PlayScreen.h"

/// One event that was tracked.
struct TimelineEntry {
    double time = 0;  ///< seconds since the ad began, a pause included
    std::string event;
    std::vector<std::size_t> pixels;  ///< places in the ledger
};
using Timeline = std::vector<TimelineEntry>;

/// Keeps the timeline, and shows its entries.
class TimelineRecorder {
  public:
    TimelineRecorder(PixelLedger& ledger, PlayScreen& screen) : ledger_(ledger), screen_(screen) {}

    /// Entries of one name and time that follow one another become one.
    void add(double time, const std::string& event, const VKTPixels& pixels);

    /// Shows the entries that are new.
    void show();

    [[nodiscard]] const Timeline& timeline() const { return timeline_; }

  private:
    PixelLedger& ledger_;
    PlayScreen& screen_;
    Timeline timeline_;
    std::size_t shown_ = 0;
};

/// What all ads of a run are played with; outlives the players.
struct AdPlayerContext {
    const PlayOptions& options;
    std::shared_ptr<VKTVASTPixelManager> vastPixels;  ///< with the macros and pixel manager of the events too
    PixelLedger& ledger;
    PlayScreen& screen;
    std::shared_ptr<AdMeasurement> measurement;  ///< null when the ads are not measured
};

/// Plays one linear creative of an ad. Loop's thread only; call `prepare` and `start` once, and let the loop
/// run until `hasEnded`.
class AdPlayer : public VKTTrackingEventManagerDelegate,
                 public VKTViewabilityManagerDelegate,
                 public std::enable_shared_from_this<AdPlayer> {
  public:
    AdPlayer(const AdPlayerContext& context, std::shared_ptr<VKTVASTAd> ad,
             std::shared_ptr<VKTVASTCreativeLinear> creative);

    /// Before `start`: puts the view in place and opens the session of a measured ad.
    void prepare();
    void start();
    [[nodiscard]] bool hasEnded() const { return hasEnded_; }
    [[nodiscard]] const Timeline& timeline() const { return recorder_.timeline(); }

    void trackingEventManagerDidTrackEventWithPixels(VKTTrackingEventManager& manager,
                                                     const std::string& eventName,
                                                     const VKTPixels& pixels) override;
    void viewabilityManagerDidChangeViewabilityStatus(VKTViewabilityManager& manager,
                                                      const VKTViewabilityStatus& status) override;

  private:
    /// Something the user does when the content has come to a position.
    struct Action {
        double position;
        const char* option;
        void (AdPlayer::*run)();
    };

    void planActions();
    void makeManagers();
    void callPixels(const std::vector<VKTVASTURL>& pixels, const char* event);
    void playWithoutDuration();
    void scheduleNextStop();
    void reachNextStop();
    void reach(double position);
    void mute();
    void click();
    void hide();
    void pause();
    void resume();
    void skip();
    void end();
    void trackOutcomeOfViewability();
    void timeExposure(const VKTViewabilityStatus& status);
    void startViewability();
    void stopViewability();
    template <typename... Parameters, typename... Arguments>
    void measure(void (AdMeasurement::*event)(Parameters...), Arguments... arguments) {
        if (context_.measurement) (*context_.measurement.*event)(arguments...);
    }
    void after(double seconds, void (AdPlayer::*step)());
    [[nodiscard]] double time() const;
    [[nodiscard]] std::shared_ptr<VKTTrackingEventManager> managerOf(VKTTrackingEvents events);

    const AdPlayerContext& context_;
    const std::shared_ptr<VKTVASTAd> ad_;
    const std::shared_ptr<VKTVASTCreativeLinear> creative_;
    const double duration_;                   // seconds; 0 or less when it is not known
    const std::optional<double> skipOffset_;  // seconds; nothing when the ad cannot be skipped
    const std::chrono::nanoseconds startTime_;
    TimelineRecorder recorder_;

    std::shared_ptr<VKTHeadlessView> window_;
    std::shared_ptr<VKTHeadlessView> view_;
    std::shared_ptr<VKTVideoTrackingEventManager> video_;
    std::shared_ptr<VKTTrackingEventManager> viewabilityOutcomes_;
    std::shared_ptr<VKTViewabilityTrackingEventManager> viewable_;
    std::shared_ptr<VKTViewabilityManager> viewability_;

    std::vector<Action> actions_;  // by position, the next one last
    double position_ = 0;
    double nextPosition_ = 0;
    bool isPaused_ = false;
    bool hasEnded_ = false;
    bool hasViewablePixels_ = false;
    bool wasMeasured_ = false;
    bool wasViewable_ = false;
    std::unique_ptr<VKTRunLoopTimer> exposureTimer_;
    std::unique_ptr<VKTRunLoopTimer> stepTimer_;
};

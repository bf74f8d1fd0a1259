// An ad break in a player without a screen, in simulated time.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/platform/VKTHeadlessView.h"
#include "VKTCoreKit/platform/testing/VKTSimulatedRunLoop.h"
#include "VKTCoreKit/player/VKTAdBreakPlayer.h"
#include "ground/Options.h"
#include "playing/PlayAudience.h"
#include "playing/RemoteMediaPlayer.h"
#include "playing/SimulatedMediaPlayer.h"

/// Plays one source, and tells its audience. One for a process, since it puts a loop of simulated time in the
/// platform: made before anything else of the library is used.
class PlayRun : public VKTAdBreakPlayerDelegate, public std::enable_shared_from_this<PlayRun> {
  public:
    /// `remotePlayer` plays the media and tells what the viewer does; null to simulate them. `detail` as for
    /// `Resolving`.
    PlayRun(const PlayOptions& options, std::shared_ptr<VKTPixelStoreProviderProtocol> pixelProvider,
            PlayAudience& audience, std::optional<ResolvingDetail> detail = std::nullopt);

    /// Blocks until all is over, the pixels at the end included.
    PlayResult run(const Source& source);

    // ---- the break's ----

    void adBreakPlayerDidResolve(VKTAdBreakPlayer& player, const VKTAdBreakResolution& resolution) override;
    void adBreakPlayerWillStartAd(VKTAdBreakPlayer& player, const VKTAdBreakAd& ad) override;
    void adBreakPlayerSkipPossibleFrom(VKTAdBreakPlayer& /*player*/, double seconds) override {
        skipOffset_ = seconds;
    }
    void adBreakPlayerDidProgress(VKTAdBreakPlayer& player, double position,
                                  std::optional<double> duration) override;
    void adBreakPlayerDidTrackEvent(VKTAdBreakPlayer& player, const std::string& event,
                                    const VKTPixels& pixels) override;
    void adBreakPlayerDidEndAd(VKTAdBreakPlayer& player, const VKTAdBreakAd& ad,
                               const VKTAdEnd& end) override;
    void adBreakPlayerDidEnd(VKTAdBreakPlayer& /*player*/, const VKTAdBreakEnd& /*end*/) override {
        isOver_ = true;
    }
    void adBreakPlayerDidTryAllPixels(VKTAdBreakPlayer& /*player*/) override { areAllPixelsTried_ = true; }

  private:
    void makePixelManager(std::shared_ptr<VKTPixelStoreProviderProtocol> provider);
    void tellPlayer(const VKTDictionary& command);
    void keepTime();
    void tellOutcome(std::size_t place);
    void note(const std::string& text);
    [[nodiscard]] std::vector<SimulatedMediaPlayer::Action> actionsOf(double duration);
    void obey(const std::string& viewerAction);
    void pauseForAWhile();
    void skip();
    void prepare(const VKTAdBreakAd& ad);
    [[nodiscard]] TimelineRecorder makeRecorder();
    bool savePixels();

    const PlayOptions& options_;
    PlayAudience& audience_;
    Resolving resolving_;  // before the loop's time is simulated
    const std::shared_ptr<VKTSimulatedRunLoop> loop_;
    const std::shared_ptr<PixelLedger> ledger_;
    TimelineRecorder problems_;
    std::shared_ptr<VKTPixelManager> pixelManager_;
    std::shared_ptr<ScriptLedger> scripts_;  // null when the ads are not measured

    const std::shared_ptr<SimulatedMediaPlayer> simulatedPlayer_ = std::make_shared<SimulatedMediaPlayer>();
    const std::shared_ptr<RemoteMediaPlayer> remotePlayer_;  // null when all is simulated
    const std::shared_ptr<VKTHeadlessView> window_;
    const std::shared_ptr<VKTHeadlessView> view_;
    std::shared_ptr<VKTAdBreakPlayer> player_;
    std::unique_ptr<VKTRunLoopTimer> resumeTimer_;
    std::unique_ptr<VKTRunLoopTimer> timekeeper_;  // of a remote player
    std::optional<double> skipOffset_;
    std::optional<TimelineRecorder> recorder_;  // of the current ad
    std::vector<std::string> notes_;            // the same
    std::chrono::nanoseconds adStart_{0};
    PlayResult result_;
    bool isOver_ = false;
    bool areAllPixelsTried_ = false;
};

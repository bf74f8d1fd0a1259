// One ad in the media player, from loading to its end.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/player/VKTAdBreakAd.h"
#include "VKTCoreKit/player/VKTAdBreakOptions.h"
#include "VKTCoreKit/player/VKTMediaPlayer.h"
#include "VKTCoreKit/player/detail/VKTAdTracking.h"

/// Hears of one playback, on the main loop; may end it inside any call.
class VKTAdPlaybackDelegate {
  public:
    virtual ~VKTAdPlaybackDelegate() = default;
    virtual void playbackDidStart() = 0;
    virtual void playbackSkipPossibleFrom(double seconds) = 0;
    virtual void playbackDidProgress(double position, std::optional<double> duration) = 0;
    virtual void playbackDidEnd(const VKTAdEnd& end) = 0;  ///< once, the last
};

/// Tells the media player what to do, asks it for its position, notices what stands still, and passes
/// everything on to the tracking. Main loop only; held by the break.
class VKTAdPlayback : public std::enable_shared_from_this<VKTAdPlayback> {
  public:
    /// The delegate is held weakly; the options outlive this.
    VKTAdPlayback(const VKTAdBreakAd& ad, const VKTAdBreakOptions& options,
                  std::shared_ptr<VKTMainLoop> mainLoop, std::shared_ptr<VKTMediaPlayer> mediaPlayer,
                  std::shared_ptr<VKTAdTracking> tracking, std::weak_ptr<VKTAdPlaybackDelegate> delegate);
    ~VKTAdPlayback() { stop(); }
    VKTAdPlayback(const VKTAdPlayback&) = delete;
    VKTAdPlayback& operator=(const VKTAdPlayback&) = delete;

    void start(double volume);

    void pause();
    void resume();
    void setVolume(double volume);
    void setFullscreen(bool isFullscreen);
    void track(VKTVideoEvent event);

    /// Whether it was counted: an ad that has not started cannot be clicked.
    bool click();
    [[nodiscard]] bool canSkip() const;
    bool skip();

    /// Ends it as cancelled.
    void cancel();

    [[nodiscard]] double position() const { return position_; }
    [[nodiscard]] const std::optional<double>& duration() const { return duration_; }
    [[nodiscard]] bool isPaused() const { return isPaused_; }

  private:
    class Events;
    enum class State {
        Loading,
        Ready,
        Beginning,  ///< the first of what is tracked is under way
        Started,
        Ending,  ///< the last of it
        Ended,
    };

    [[nodiscard]] bool isLive() const { return state_ < State::Ending; }

    void mediaIsReady();
    void mediaDidStart();
    void mediaDidStall();
    void mediaDidEnd();
    void mediaDidFail(VKTMediaFailure failure, const std::string& reason);

    void begin();
    void tick();
    void scheduleTick(double seconds);
    [[nodiscard]] double timeToNextTick() const;
    void lookAtPosition();
    void lookAtDuration();
    void tellSkipOffset();
    void watchForStandstill();
    void standsStill();
    [[nodiscard]] bool isAtEnd() const;
    [[nodiscard]] std::optional<double> lengthOfMedia() const;
    void complete();
    void fail(const VKTVASTError& error, const std::string& reason);
    bool endAs(const VKTAdEnd& how, const std::function<void()>& trackLast);  ///< false when it ends already
    void end();
    void stop();

    /// False when it has thrown, and the ad has failed; and when the ad has ended meanwhile.
    bool ask(const char* operation, const std::function<void(VKTMediaPlayer&)>& call);

    template <typename... Parameters, typename... Arguments>
    void tell(void (VKTAdPlaybackDelegate::*what)(Parameters...), const Arguments&... arguments) {
        if (const auto delegate = delegate_.lock()) ((*delegate).*what)(arguments...);
    }

    const VKTAdBreakAd ad_;
    const VKTAdBreakOptions& options_;
    const std::shared_ptr<VKTMainLoop> mainLoop_;
    const std::shared_ptr<VKTMediaPlayer> mediaPlayer_;
    const std::shared_ptr<VKTAdTracking> tracking_;
    const std::weak_ptr<VKTAdPlaybackDelegate> delegate_;

    State state_ = State::Loading;
    std::optional<double> duration_;       // of the document, else of the media
    std::optional<double> mediaDuration_;  // as the media player says
    std::optional<double> skipOffset_;
    double position_ = 0;  // as the media player said last
    double furthest_ = 0;  // of all positions
    double volume_ = 1;
    bool isPaused_ = false;
    bool isStalled_ = false;
    bool isLoaded_ = false;  // stop has to be called
    bool isEndTold_ = false;
    VKTAdEnd end_;
    std::unique_ptr<VKTRunLoopTimer> tickTimer_;
    std::unique_ptr<VKTRunLoopTimer> standstillTimer_;
};

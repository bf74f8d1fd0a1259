// A media player without a screen: its media have the duration that the document says, and their position
// follows the loop's clock.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "VKTCoreKit/player/VKTMediaPlayer.h"

/// Loop's thread only.
class SimulatedMediaPlayer : public VKTMediaPlayer {
  public:
    /// What happens when the media have come to a position, in seconds.
    struct Action {
        double position;
        std::function<void()> run;
    };

    /// The next file: its duration in seconds, 0 or less when it is not known (such media end at once); what
    /// happens on the way, by position; and what is waited for, before it is ready.
    void prepare(double duration, std::vector<Action> actions, std::function<void()> waitUntilReady);

    void load(const VKTVASTMediaFile& /*file*/,
              const std::shared_ptr<VKTMediaPlayerListener>& listener) override {
        begin(listener);
    }

    /// What `load` does, whatever the file is.
    void begin(const std::shared_ptr<VKTMediaPlayerListener>& listener);
    void play() override;
    void pause() override;
    void stop() override;
    [[nodiscard]] double position() const override;
    [[nodiscard]] std::optional<double> duration() const override;
    void setVolume(double /*volume*/) override {}

  private:
    void scheduleNextAction();
    void runActionsUntil(double position);

    double duration_ = 0;
    std::vector<Action> actions_;  // the next one last
    std::function<void()> waitUntilReady_;
    std::shared_ptr<VKTMediaPlayerListener> listener_;
    std::optional<std::chrono::nanoseconds> playingSince_;
    double positionBefore_ = 0;  // seconds, when it began to play
    std::unique_ptr<VKTRunLoopTimer> endTimer_;
    std::unique_ptr<VKTRunLoopTimer> actionTimer_;
};

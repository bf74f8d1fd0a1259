// A media player in another program, which is told what to do and tells how it goes.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/platform/VKTRunLoop.h"
#include "playing/SimulatedMediaPlayer.h"

/// Hands on commands, and reads from a descriptor, a line each, what becomes of the media ("ready",
/// "started", "position SECONDS", "duration SECONDS", "stalled", "ended", "failed CODE REASON"; "unplayable
/// REASON", before anything was played, has the file simulated) and what the viewer does (any other line).
/// Loop's thread only; the descriptor is read on a thread of its own.
class RemoteMediaPlayer : public VKTMediaPlayer, public std::enable_shared_from_this<RemoteMediaPlayer> {
  public:
    using CommandHandler = std::function<void(const VKTDictionary& command)>;
    using ViewerHandler = std::function<void(const std::string& action)>;

    /// Commands: {"media": "load", "url", "type", "duration": seconds or null}, {"media": "play"}, "pause",
    /// "stop", {"media": "volume", "value": 0 to 1}, {"media": "simulate", "reason"}.
    RemoteMediaPlayer(std::shared_ptr<SimulatedMediaPlayer> substitute, CommandHandler onCommand)
        : substitute_(std::move(substitute)), onCommand_(std::move(onCommand)) {}
    RemoteMediaPlayer(const RemoteMediaPlayer&) = delete;
    RemoteMediaPlayer& operator=(const RemoteMediaPlayer&) = delete;

    /// Reads the descriptor until it ends, which nobody waits for. Takes the descriptor.
    void listen(int descriptor, const std::shared_ptr<VKTRunLoop>& loop, ViewerHandler onViewerAction);

    /// Before each file: what the document says of its length, 0 or less for nothing; and what is waited for
    /// before it is loaded.
    void prepare(double duration, std::function<void()> waitUntilLoaded);

    void load(const VKTVASTMediaFile& file, const std::shared_ptr<VKTMediaPlayerListener>& listener) override;
    void play() override;
    void pause() override;
    void stop() override;
    [[nodiscard]] double position() const override;
    [[nodiscard]] std::optional<double> duration() const override;
    void setVolume(double volume) override;

  private:
    void hear(const std::string& line);
    void hearOfMedia(const std::string& word, const std::string& rest);
    void hearOfProgress(const std::string& word, const std::string& rest);
    void simulate(const std::string& reason);

    const std::shared_ptr<SimulatedMediaPlayer> substitute_;
    const CommandHandler onCommand_;
    ViewerHandler onViewerAction_;
    std::function<void()> waitUntilLoaded_;
    std::shared_ptr<VKTMediaPlayerListener> listener_;  // null while no file is loaded
    double plannedDuration_ = 0;
    std::optional<double> duration_;
    double position_ = 0;
    bool isReady_ = false;
    bool isSimulated_ = false;
    bool isPlaying_ = false;
};

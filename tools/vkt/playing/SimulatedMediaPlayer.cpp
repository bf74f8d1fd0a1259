#include "playing/SimulatedMediaPlayer.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/platform/VKTPlatform.h"

void SimulatedMediaPlayer::prepare(double duration, std::vector<Action> actions,
                                   std::function<void()> waitUntilReady) {
    duration_ = std::max(duration, 0.0);
    actions_ = std::move(actions);
    std::stable_sort(actions_.begin(), actions_.end(),
                     [](const Action& left, const Action& right) { return left.position < right.position; });
    std::reverse(actions_.begin(), actions_.end());
    waitUntilReady_ = std::move(waitUntilReady);
}

void SimulatedMediaPlayer::begin(const std::shared_ptr<VKTMediaPlayerListener>& listener) {
    listener_ = listener;
    positionBefore_ = 0;
    waitUntilReady_();
    listener->mediaIsReady();
}

void SimulatedMediaPlayer::play() {
    const VKTPlatform& platform = VKTPlatform::current();
    playingSince_ = platform.clock->monotonicNow();
    listener_->mediaDidStart();
    scheduleNextAction();
    endTimer_ = platform.mainRunLoop->schedule(VKTTimeInterval(duration_ - positionBefore_),
                                               [listener = listener_] { listener->mediaDidEnd(); });
}

void SimulatedMediaPlayer::pause() {
    positionBefore_ = position();
    playingSince_.reset();
    endTimer_.reset();
    actionTimer_.reset();
}

void SimulatedMediaPlayer::stop() {
    pause();
    actions_.clear();
}

double SimulatedMediaPlayer::position() const {
    if (!playingSince_) return positionBefore_;
    const auto played = VKTPlatform::current().clock->monotonicNow() - *playingSince_;
    return std::min(positionBefore_ + VKTTimeInterval(played).count(), duration_);
}

std::optional<double> SimulatedMediaPlayer::duration() const {
    return duration_ > 0 ? std::optional(duration_) : std::nullopt;
}

void SimulatedMediaPlayer::scheduleNextAction() {
    if (actions_.empty() || !playingSince_) return;
    const double next = actions_.back().position;
    const VKTTimeInterval delay(std::max(next - position(), 0.0));
    // Posted, so that what else is due at that moment has happened: what the viewer saw until then counts.
    actionTimer_ = VKTPlatform::current().mainRunLoop->schedule(delay, [this, next] {
        VKTPlatform::current().mainRunLoop->post([this, next] { runActionsUntil(next); });
    });
}

// A pause does not keep others of the same position from being run.
void SimulatedMediaPlayer::runActionsUntil(double position) {
    while (!actions_.empty() && actions_.back().position <= position) {
        const Action action = std::move(actions_.back());
        actions_.pop_back();
        action.run();
    }
    scheduleNextAction();
}

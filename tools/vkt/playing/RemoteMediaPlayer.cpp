#include "playing/RemoteMediaPlayer.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <thread>
#include <utility>

namespace {

constexpr std::size_t longestLine = 4096;

// Only times: a number from 0 up.
std::optional<double> secondsOf(const std::string& text) {
    double seconds = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool isTime = error == std::errc() && std::isfinite(seconds) && seconds >= 0;
    return isTime ? std::optional(seconds) : std::nullopt;
}

VKTMediaFailure failureOf(const std::string& text) {
    for (const auto failure : {VKTMediaFailureNotFound, VKTMediaFailureTimeout, VKTMediaFailureNotSupported,
                               VKTMediaFailureNotShown}) {
        if (text == std::to_string(failure)) return failure;
    }
    return VKTMediaFailureGeneral;
}

// "failed 403 it is no video" is "failed" and "403 it is no video".
std::pair<std::string, std::string> firstWordOf(const std::string& line) {
    const std::size_t blank = std::min(line.find(' '), line.size());
    return {line.substr(0, blank), line.substr(std::min(blank + 1, line.size()))};
}

// Until the descriptor ends. Not by a stream of the C library, which would be waited for when the process
// ends.
void readLines(int descriptor, const std::function<void(const std::string& line)>& onLine) {
    std::array<char, longestLine> piece{};
    std::string line;
    for (ssize_t count = 1; count > 0;) {
        count = read(descriptor, piece.data(), piece.size());
        for (ssize_t i = 0; i < count; ++i) {
            const char c = piece.at(static_cast<std::size_t>(i));
            if (c == '\n') {
                onLine(std::exchange(line, {}));
            } else if (line.size() < longestLine) {
                line += c;
            }
        }
    }
}

}  // namespace

void RemoteMediaPlayer::listen(int descriptor, const std::shared_ptr<VKTRunLoop>& loop,
                               ViewerHandler onViewerAction) {
    onViewerAction_ = std::move(onViewerAction);
    std::thread([descriptor, loop, self = weak_from_this()] {
        readLines(descriptor, [&](const std::string& line) {
            loop->post([self, line] {
                if (const auto player = self.lock()) player->hear(line);
            });
        });
        close(descriptor);
    }).detach();
}

void RemoteMediaPlayer::prepare(double duration, std::function<void()> waitUntilLoaded) {
    plannedDuration_ = duration;
    waitUntilLoaded_ = std::move(waitUntilLoaded);
}

// ---- what the break asks for ----

void RemoteMediaPlayer::load(const VKTVASTMediaFile& file,
                             const std::shared_ptr<VKTMediaPlayerListener>& listener) {
    listener_ = listener;
    position_ = 0;
    duration_.reset();
    isReady_ = isSimulated_ = isPlaying_ = false;
    waitUntilLoaded_();
    onCommand_({{"media", "load"},
                {"url", file.url->url().absoluteString()},
                {"type", file.type ? VKTValue(*file.type) : VKTValue()},
                {"duration", plannedDuration_ > 0 ? VKTValue(plannedDuration_) : VKTValue()}});
}

void RemoteMediaPlayer::play() {
    isPlaying_ = true;
    if (isSimulated_) substitute_->play();
    onCommand_({{"media", "play"}});
}

void RemoteMediaPlayer::pause() {
    isPlaying_ = false;
    if (isSimulated_) substitute_->pause();
    onCommand_({{"media", "pause"}});
}

void RemoteMediaPlayer::stop() {
    if (isSimulated_) substitute_->stop();
    listener_.reset();
    onCommand_({{"media", "stop"}});
}

double RemoteMediaPlayer::position() const {
    return isSimulated_ ? substitute_->position() : position_;
}

std::optional<double> RemoteMediaPlayer::duration() const {
    return isSimulated_ ? substitute_->duration() : duration_;
}

void RemoteMediaPlayer::setVolume(double volume) {
    onCommand_({{"media", "volume"}, {"value", volume}});
}

// ---- what the other program tells ----

void RemoteMediaPlayer::hear(const std::string& line) {
    const auto [word, rest] = firstWordOf(line);
    constexpr std::array<std::string_view, 8> words{"ready",   "started", "position", "duration",
                                                    "stalled", "ended",   "failed",   "unplayable"};
    if (std::find(words.begin(), words.end(), word) == words.end()) {
        onViewerAction_(word);
    } else if (listener_ && !isSimulated_) {
        hearOfMedia(word, rest);
    }
}

void RemoteMediaPlayer::hearOfMedia(const std::string& word, const std::string& rest) {
    if (word == "ready") {
        isReady_ = true;
        listener_->mediaIsReady();
    } else if (word == "duration") {
        duration_ = secondsOf(rest);
    } else if (word == "failed") {
        const auto [code, reason] = firstWordOf(rest);
        listener_->mediaDidFail(failureOf(code), reason);
    } else if (word == "unplayable" && position_ == 0) {
        simulate(rest);
    } else if (word == "unplayable") {
        listener_->mediaDidFail(VKTMediaFailureNotShown, rest);
    } else if (isReady_) {
        hearOfProgress(word, rest);
    }
}

// Before it is ready, what is told may be of the file before.
void RemoteMediaPlayer::hearOfProgress(const std::string& word, const std::string& rest) {
    if (word == "started") {
        listener_->mediaDidStart();
    } else if (word == "position") {
        position_ = secondsOf(rest).value_or(position_);
    } else if (word == "stalled") {
        listener_->mediaDidStall();
    } else {
        listener_->mediaDidEnd();
    }
}

void RemoteMediaPlayer::simulate(const std::string& reason) {
    isSimulated_ = true;
    onCommand_({{"media", "simulate"}, {"reason", reason}});
    substitute_->prepare(plannedDuration_, {}, [] {});
    substitute_->begin(listener_);
    if (isPlaying_) substitute_->play();
}

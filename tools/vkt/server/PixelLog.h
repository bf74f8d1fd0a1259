// The pixels that the demo server was asked for.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "VKTCoreKit/foundation/VKTDate.h"

/// Hears each line of what a server notes. Any thread, several at once.
using LineHandler = std::function<void(const std::string& line)>;

/// "2024-03-05T14:03:07.042+0100" in local time.
std::string localTextOfDate(VKTDate date);

/// "14:03:07.042" in local time.
std::string timeOfDay(VKTDate date);

/// The latest hits, the oldest first. Any thread.
class PixelLog {
  public:
    /// Hits kept; the oldest go first.
    static constexpr std::size_t limit = 100'000;

    /// `onLine` hears of each hit, too.
    explicit PixelLog(LineHandler onLine) : onLine_(std::move(onLine)) {}

    /// `target` is a path and query as they came, still percent-encoded; `answer` is how the hit is answered.
    void add(std::string_view target, std::string answer);
    void clear();

    /// [{"time","path","query","answer"}], the time as ISO 8601.
    [[nodiscard]] std::string JSON() const;

  private:
    struct Hit {
        VKTDate time;
        std::string path;
        std::string query;
        std::string answer;
    };

    mutable std::mutex mutex_;
    std::deque<Hit> hits_;
    const LineHandler onLine_;
};

// The log records that the demo server was sent.
#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "VKTCoreKit/foundation/VKTDate.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "server/PixelLog.h"

/// The latest deliveries, the newest last. Any thread.
class LogCollector {
  public:
    /// What is kept at most; the oldest go first.
    static constexpr std::size_t deliveryLimit = 1'000;
    static constexpr std::size_t byteLimit = std::size_t{64} * 1024 * 1024;

    /// `onLine` hears of each delivery, too.
    explicit LogCollector(LineHandler onLine) : onLine_(std::move(onLine)) {}

    /// Takes the body of one request; `answer` is how the request is answered. False when the body is not a
    /// JSON array of objects; nothing is kept then.
    bool add(std::string_view body, std::string userAgent, std::string answer);
    void clear();

    /// [{"time","userAgent","answer","logs":[...]}], the time as ISO 8601, the logs as they were sent.
    [[nodiscard]] std::string JSON() const;

  private:
    struct Delivery {
        VKTDate time;
        std::string userAgent;
        std::string answer;
        VKTArray logs;
        std::size_t bytes;
    };

    mutable std::mutex mutex_;
    std::deque<Delivery> deliveries_;
    std::size_t bytes_ = 0;
    const LineHandler onLine_;
};

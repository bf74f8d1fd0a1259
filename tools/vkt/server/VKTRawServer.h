// A server that sends exactly the bytes it is given, however broken.
#pragma once

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"

struct VKTRawAnswer {
    enum Ending { Close, Hang, Reset, Endless };  ///< endless: the last piece again and again

    std::vector<std::string> pieces;
    Ending ending = Close;
    std::chrono::milliseconds pause{0};   ///< after each piece
    std::string requestEnd = "\r\n\r\n";  ///< what it waits for; empty: any bytes at all
};

/// Gives every connection on 127.0.0.1, one after the other, the same answer once a request has come.
/// Ends at once when destroyed, whatever it is doing.
class VKTRawServer {
  public:
    explicit VKTRawServer(VKTRawAnswer answer);
    ~VKTRawServer();
    VKTRawServer(const VKTRawServer&) = delete;
    VKTRawServer& operator=(const VKTRawServer&) = delete;

    [[nodiscard]] std::string url(const std::string& path = "/") const;

    /// Connections that have sent a request so far.
    [[nodiscard]] int requestCount() const { return requestCount_; }

    /// What came of the last request: its header as it was sent, and the part of its body that came with it.
    [[nodiscard]] std::string lastRequest() const;

    /// A URL on which nobody listens.
    static std::string refusingURL();

  private:
    void run();
    void answer(int connection);
    [[nodiscard]] bool receiveHeader(int connection);
    void sendEndlessly(int connection, const std::string& piece) const;
    /// False if the server is to end, or nothing came in time; a negative time has no end.
    [[nodiscard]] bool waitForInput(int descriptor, int milliseconds) const;
    [[nodiscard]] bool isStopped(std::chrono::milliseconds wait) const;

    const VKTRawAnswer answer_;
    int listener_ = -1;
    int stop_ = -1;
    int port_ = 0;
    std::vector<int> hanging_;
    std::atomic<int> requestCount_ = 0;
    mutable VKTMutex mutex_;
    std::string lastRequest_ VKT_GUARDED_BY(mutex_);
    std::thread thread_;
};

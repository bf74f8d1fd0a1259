// A TCP listener that breaks the rules of HTTP.
#pragma once

#include <thread>

/// Answers on 127.0.0.1, one connection at a time, on a thread of its own: a request for "/reset" is answered
/// by a connection reset, any other by bytes that are not HTTP. Runs until it is destroyed.
class RawListener {
  public:
    RawListener();
    ~RawListener();
    RawListener(const RawListener&) = delete;
    RawListener& operator=(const RawListener&) = delete;

    /// Where it listens; 0 when no port could be had.
    [[nodiscard]] int port() const { return port_; }

  private:
    void run() const;

    int listener_ = -1;
    int port_ = 0;
    std::thread thread_;
};

// The demo ad server: an ad server's good and bad answers on the loopback interface.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "server/PixelLog.h"
#include "server/ToldAnswers.h"

/// Generates every document on request; `listing` names the paths. Requests run on threads of the server;
/// `start` and `stop` belong to the owner's thread. Stopping ends requests that wait, and destroying stops.
class DemoServer {
  public:
    /// `onLine` hears of each request for a pixel and each delivery of log records. `root` is an existing
    /// folder to serve under /files/, or empty; so is `media` under /media/, where it takes the place of what
    /// is made up there, and no link leads out of it.
    DemoServer(const std::string& root, const LineHandler& onLine, const std::string& media = "");
    ~DemoServer();
    DemoServer(const DemoServer&) = delete;
    DemoServer& operator=(const DemoServer&) = delete;

    /// Answers on 127.0.0.1 from now on. Returns the port, any free one for 0; nothing when it is taken.
    std::optional<int> start(int port);
    void stop();

    /// Answers hits of a path in that way from now on.
    void tell(ToldAnswer told);

    /// Every path with what it answers, one line each.
    static std::string listing();

    class Impl;

  private:
    std::unique_ptr<Impl> impl_;
};

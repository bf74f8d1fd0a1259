// The demo ad server: an ad server's good and bad answers on the loopback interface.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "server/PixelLog.h"
#include "server/ToldAnswers.h"

namespace httplib {
struct Request;
struct Response;
}  // namespace httplib

/// Answers requests before the demo server does. Called on threads of the server, several at once.
class DemoGuest {
  public:
    /// Reads the body of a request, once. Nothing when it has more bytes than that, or breaks off.
    using Body = std::function<std::optional<std::string>(std::size_t limit)>;

    virtual ~DemoGuest() = default;

    /// False when the demo server is to answer, and nothing has been read or answered.
    virtual bool answer(const httplib::Request& request, httplib::Response& response, const Body& body) = 0;

    /// Why a request may not change what the demo server answers or keeps; nothing when it may.
    virtual std::optional<std::string> problemOfChange(const httplib::Request& request) = 0;

    /// Ends the answers that are under way, whatever they wait for; called when the server stops.
    virtual void stop() = 0;
};

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

    /// Is asked first of every request but those for /files/. Set before the start; outlives the server.
    void setGuest(DemoGuest& guest);

    /// Answers on that address of the device from now on. Returns the port, any free one for 0; nothing when
    /// it is taken, or the address is not one of the device's.
    std::optional<int> start(int port, const std::string& address = "127.0.0.1");
    void stop();

    /// Answers hits of a path in that way from now on.
    void tell(ToldAnswer told);

    /// Every path with what it answers, one line each.
    static std::string listing();

    /// What the listing says of a path; empty for one that it does not know.
    static std::string_view descriptionOf(std::string_view path);

    class Impl;

  private:
    std::unique_ptr<Impl> impl_;
};

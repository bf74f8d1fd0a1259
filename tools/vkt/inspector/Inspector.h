// The server side of the inspector page: it starts a run of this program for each request of the page, and
// passes on what the run says.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"
#include "inspector/Access.h"
#include "inspector/ChildRun.h"
#include "inspector/RunRequest.h"
#include "server/DemoServer.h"

struct InspectorOptions {
    std::string address = "127.0.0.1";          ///< numeric, where the server listens
    bool allowsPrivate = false;                 ///< runs may ask private addresses, wherever it listens
    std::vector<std::string> networkArguments;  ///< of every run
    std::string program = "/proc/self/exe";     ///< what is run
    ChildLimits limits;
    std::size_t mostRuns = 8;  ///< at once
};

/// Answers / and everything below /inspector/, and guards what changes the demo server (/tell, /pixels/clear,
/// /logs/clear).
class Inspector : public DemoGuest {
  public:
    explicit Inspector(InspectorOptions options);

    /// The address to open in a browser. Before the server starts nothing is known of the port.
    [[nodiscard]] std::string pageURL(int port) const;

    bool answer(const httplib::Request& request, httplib::Response& response, const Body& body) override;
    std::optional<std::string> problemOfChange(const httplib::Request& request) override;
    void stop() override;

  private:
    class Slot;

    void answerRun(httplib::Response& response, const Body& body);
    void answerControl(const httplib::Request& request, httplib::Response& response, const Body& body);
    void sendSamples(httplib::Response& response) const;
    void sendEvents(std::shared_ptr<Slot> slot, httplib::Response& response) const;
    std::shared_ptr<Slot> takeSlot();

    const InspectorOptions options_;
    const Access access_;
    std::vector<std::string> runArguments_;
    bool asksPublicOnly_ = false;

    VKTMutex mutex_;
    std::map<std::string, std::weak_ptr<Slot>> slots_ VKT_GUARDED_BY(mutex_);  // by the identifier
    bool isStopped_ VKT_GUARDED_BY(mutex_) = false;
};

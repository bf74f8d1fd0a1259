// The demo server, in the process of the tests.
#pragma once

#include <gtest/gtest.h>
#include <httplib.h>

#include <string>
#include <vector>

#include "server/DemoServer.h"
#include "tests/integration/ToolRun.h"

class LocalDemoServer {
  public:
    LocalDemoServer() : base_("http://127.0.0.1:" + std::to_string(server_.start(0).value_or(0))) {}

    [[nodiscard]] std::string url(const std::string& path) const { return base_ + path; }

    std::string get(const std::string& target) const {
        const auto result = httplib::Client(base_).Get(target);
        return result ? result->body : "";
    }
    void tell(const std::string& path, const std::string& answer) const {
        get("/tell?path=" + path + "&answer=" + answer);
    }

    /// The log of the pixels since the last call.
    [[nodiscard]] std::vector<VKTDictionary> takePixels() const {
        const VKTDictionary log = parsed("{\"pixels\":" + get("/pixels") + "}");
        get("/pixels/clear");
        return entriesOf(log, "pixels");
    }

  private:
    DemoServer server_{"", [](const std::string&) {}};
    const std::string base_;
};

// "vkt serve" in a process of its own.
#pragma once

#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/types.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "tests/integration/ToolRun.h"

class DemoServerProcess {
  public:
    DemoServerProcess() : output_(popen("echo $$; exec " VKT_TOOL " serve --port 0", "r")) {
        pid_ = std::stoi(readLine());
        const std::string line = readLine();
        base_ = line.substr(line.find("http"), line.rfind('/') - line.find("http"));
        drain_ = std::thread([this] {
            while (!readLine().empty()) {
            }
        });
    }
    ~DemoServerProcess() {
        kill(pid_, SIGTERM);
        drain_.join();
        pclose(output_);
    }
    DemoServerProcess(const DemoServerProcess&) = delete;
    DemoServerProcess& operator=(const DemoServerProcess&) = delete;

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
    std::string readLine() {
        char line[4096] = "";
        return std::fgets(line, sizeof line, output_) == nullptr ? "" : line;
    }

    std::FILE* const output_;
    pid_t pid_ = 0;
    std::string base_;
    std::thread drain_;
};

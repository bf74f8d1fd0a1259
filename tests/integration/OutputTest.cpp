// What the tool does when what it prints cannot be written, and what never reaches a terminal.
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <string>

#include "tests/integration/LocalDemoServer.h"
#include "tests/integration/ToolRun.h"
#include "tests/support/VKTStoreFolder.h"
#include "tests/support/VKTTestPaths.h"

namespace {

class ToolOutput : public testing::Test {
  protected:
    const LocalDemoServer server_;
    const VKTStoreFolder folder_;
    const std::string source_ = server_.url("/inline");
};

TEST_F(ToolOutput, EveryCommandEndsInAStatusAndALineWhenItCannotBeWritten) {
    runTool("config --site 7 --store " + folder_.path() + " " + server_.url("/config/7"));
    const std::string commands[] = {"--help",
                                    "xml -",
                                    "inspect " + source_,
                                    "inspect --json " + source_,
                                    "inspect --lines",
                                    "watch --every 0 --count 1 " + source_,
                                    "watch --every 0 --count 1 --json " + source_,
                                    "resolve " + source_,
                                    "resolve --json " + source_,
                                    "play --speed 0 " + source_,
                                    "play --speed 0 --json " + source_,
                                    "pixels --store " + folder_.path(),
                                    "pixels --json --store " + folder_.path(),
                                    "config --site 7 " + server_.url("/config/7"),
                                    "config --json --site 7 " + server_.url("/config/7"),
                                    "log --dry-run " + server_.url("/logs"),
                                    "log --json " + server_.url("/logs"),
                                    "privacy",
                                    "privacy --json"};
    for (const std::string& command : commands) {
        for (const char* place : {" >/dev/full", " >&-"}) {
            const Outcome outcome =
                runProgram(std::string("(") + VKTTestPaths::tool, command + place + ")", "<a/>");
            EXPECT_EQ(outcome.status, 3) << command << place;
            const std::size_t last = outcome.err.rfind("vkt: ");
            EXPECT_EQ(outcome.err.find("vkt: cannot write the result to the standard output: "), last)
                << command << place << ": " << outcome.err;
        }
    }
}

TEST_F(ToolOutput, AReaderWhoGoesAwayEndsNothingEarly) {
    const std::string pipe = "play --speed 0 " + source_ + " | true; exit ${PIPESTATUS[0]}";
    // The server of this process ignores the signal, and so would its children.
    const Outcome outcome = runProgram("env --default-signal=PIPE bash",
                                       std::string("-c '") + VKTTestPaths::tool + " " + pipe + "'");
    EXPECT_EQ(outcome.status, 3);
    EXPECT_NE(outcome.err.find("Broken pipe"), std::string::npos) << outcome.err;
    EXPECT_FALSE(server_.takePixels().empty()) << "it went on to the end";
}

TEST_F(ToolOutput, AnUnwrittenReportIsToldBesideTheResult) {
    for (const std::string report : {"/dev/full", "/proc/none", "/"}) {
        const Outcome outcome = runTool("play --speed 0 --report " + report + " " + source_);
        EXPECT_EQ(outcome.status, 3) << report;
        EXPECT_NE(outcome.out.find("delivered"), std::string::npos) << outcome.out;
        EXPECT_NE(outcome.err.find("cannot write " + report + ": "), std::string::npos) << outcome.err;
    }
}

TEST_F(ToolOutput, WhatJSONCannotHoldIsAnError) {
    const std::string name = folder_.folder() + "/\xFF.xml";
    std::ofstream(name) << server_.get("/inline");
    for (const char* command : {"inspect", "resolve", "play --speed 0"}) {
        const Outcome outcome = runTool(std::string(command) + " --json '" + name + "'");
        EXPECT_EQ(outcome.status, 3) << command;
        EXPECT_EQ(outcome.out, "") << command;
        EXPECT_NE(outcome.err.find("text that is not UTF-8"), std::string::npos) << outcome.err;
    }
}

TEST(ToolUsage, WhatIsWrongNamesTheHelpThatTellsMore) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "required (vkt --help tells more)\n"},
        {"fetch a", "no command or option \"fetch\" (vkt --help tells more)\n"},
        {"--json", "no command or option \"--json\" (vkt --help tells more)\n"},
        {"resolve", "SOURCE is required (vkt resolve --help tells more)\n"},
        {"serve --fail 1", "--fail (vkt serve --help tells more)\n"}};
    for (const auto& [arguments, end] : cases) {
        const Outcome outcome = runTool(arguments);
        EXPECT_EQ(outcome.status, 2) << arguments;
        EXPECT_TRUE(outcome.err.ends_with(end)) << outcome.err;
    }
}

TEST(ToolUsage, EveryCommandTellsItsExitStatuses) {
    for (const char* command :
         {"xml", "inspect", "resolve", "watch", "play", "pixels", "config", "log", "privacy", "serve"}) {
        const Outcome outcome = runTool(std::string(command) + " --help");
        EXPECT_EQ(outcome.status, 0) << command;
        EXPECT_NE(outcome.out.find("Exit status:\n  0  "), std::string::npos) << command;
    }
}

TEST(Serve, SaysWhereItServesAndEndsWhenItIsTold) {
    std::FILE* output =
        popen((std::string("echo $$; exec ") + VKTTestPaths::tool + " serve --port 0").c_str(), "r");
    const auto nextLine = [output] {
        std::array<char, 256> line{};
        return std::string(std::fgets(line.data(), line.size(), output) == nullptr ? "" : line.data());
    };
    const pid_t server = std::stoi(nextLine());
    const std::string banner = nextLine();
    ASSERT_TRUE(banner.starts_with("serving on http://127.0.0.1:")) << banner;
    httplib::Client(banner.substr(11, banner.size() - 13)).Get("/pixel/a");
    EXPECT_TRUE(nextLine().ends_with(" /pixel/a\n"));
    kill(server, SIGTERM);
    EXPECT_EQ(pclose(output), 0);
}

}  // namespace

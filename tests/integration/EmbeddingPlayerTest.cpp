// The examples of players, run as their users would.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/integration/LocalDemoServer.h"
#include "tests/support/VKTStoreFolder.h"
#include "tests/support/VKTTestPaths.h"

namespace {

class ExamplePlayers : public testing::Test {
  protected:
    Outcome playWithBreakPlayer(const std::string& path) const {
        return runProgram(VKTTestPaths::embeddingPlayer, server_.url(path) + " " + folder_.path() + " 1");
    }

    // The paths of the pixels since the last call, sorted, without their common beginning. Verification
    // scripts run only where their host is installed.
    std::string takePixels() const {
        std::vector<std::string> paths;
        for (const VKTDictionary& pixel : server_.takePixels())
            paths.push_back(textAt(pixel, "path").substr(std::string_view("/pixel/").size()));
        std::erase_if(paths, [](const std::string& path) { return path.starts_with("measured/"); });
        std::sort(paths.begin(), paths.end());
        return vkt_joined(paths, " ");
    }

    const VKTStoreFolder folder_;
    const LocalDemoServer server_;
};

TEST_F(ExamplePlayers, OfFiftyLinesSendsEachPixelOfABreakOnceAndTellsOfIt) {
    const Outcome outcome = playWithBreakPlayer("/pod-broken/2");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::string others;
    std::size_t sent = 0;
    for (const std::string_view line : vkt_split(outcome.out, '\n')) {
        if (line.starts_with("sent ")) {
            ++sent;
        } else {
            others += std::string(line) + ';';
        }
    }
    EXPECT_EQ(others, "plays " + server_.url("/media/pod-1-720.mp4") + ";1 played, 0 failed. ;;");
    EXPECT_EQ(sent, 11);
    EXPECT_EQ(takePixels(),
              "pod-1/complete pod-1/creativeView pod-1/firstQuartile pod-1/impression pod-1/impression2 "
              "pod-1/loaded pod-1/midpoint pod-1/notViewable pod-1/start pod-1/thirdQuartile pod-2/error");
}

TEST_F(ExamplePlayers, OfFiftyLinesKeepsAPixelThatWasRefusedForItsNextRun) {
    server_.tell("/pixel/none/error", "503");
    playWithBreakPlayer("/empty-error");
    server_.tell("/pixel/none/error", "normal");
    takePixels();
    playWithBreakPlayer("/empty");
    EXPECT_EQ(takePixels(), "none/error");
}

TEST_F(ExamplePlayers, OfTheLongWaySendsTheSamePixels) {
    const Outcome outcome = runProgram(VKTTestPaths::trackingPlayer, server_.url("/pod-broken/2"));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(takePixels(),
              "pod-1/complete pod-1/creativeView pod-1/firstQuartile pod-1/impression pod-1/impression2 "
              "pod-1/loaded pod-1/midpoint pod-1/progress-3.5s pod-1/progress-40-percent pod-1/start "
              "pod-1/thirdQuartile pod-1/viewable pod-1/viewable-metric pod-2/error");
}

}  // namespace

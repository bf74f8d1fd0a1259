// A media player in another program: what it tells becomes what a listener of the break hears.
#include "playing/RemoteMediaPlayer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/platform/testing/VKTSimulatedRunLoop.h"
#include "VKTCoreKit/platform/testing/VKTTestPlatform.h"

namespace {

struct Listener : VKTMediaPlayerListener {
    explicit Listener(std::string& heard) : heard_(heard) {}
    void mediaIsReady() override { heard_ += "ready "; }
    void mediaDidStart() override { heard_ += "started "; }
    void mediaDidStall() override { heard_ += "stalled "; }
    void mediaDidEnd() override { heard_ += "ended "; }
    void mediaDidFail(VKTMediaFailure failure, const std::string& reason) override {
        heard_ += "failed:" + std::to_string(failure) + ":" + reason + " ";
    }
    std::string& heard_;
};

class RemoteMediaPlayerTest : public testing::Test {
  protected:
    void SetUp() override {
        file_.url = VKTVASTURL::initWithString("http://m/a.mp4");
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe(ends.data()), 0);
        player_->listen(ends[0], loop_,
                        [this](const std::string& action) { heard_ += "viewer:" + action + " "; });
        input_ = ends[1];
    }
    void TearDown() override {
        if (input_ >= 0) close(input_);
    }

    // The lines go through the descriptor; the last word of them is waited for.
    void tell(const std::string& lines) {
        const std::string text = vkt_replacingOccurrences(lines, "|", "\n") + "\nlast\n";
        ASSERT_EQ(write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        const std::string end = "viewer:last ";
        ASSERT_TRUE(loop_->holdUntil([&] { return heard_.ends_with(end); }, VKTTimeInterval(10)));
        heard_.resize(heard_.size() - end.size());
    }
    void load() {
        player_->prepare(15, [this] { heard_ += "waited "; });
        player_->load(file_, std::make_shared<Listener>(heard_));
    }

    static VKTPlatform platformWith(const std::shared_ptr<VKTSimulatedRunLoop>& loop) {
        VKTPlatform platform = VKTPlatform::current();
        platform.clock = loop;
        platform.mainRunLoop = loop;
        return platform;
    }

    const std::shared_ptr<VKTSimulatedRunLoop> loop_ = std::make_shared<VKTSimulatedRunLoop>(0);
    const VKTScopedPlatform inForce_{platformWith(loop_)};
    VKTVASTMediaFile file_;
    std::string heard_;
    std::vector<std::string> commands_;
    std::shared_ptr<RemoteMediaPlayer> player_ = std::make_shared<RemoteMediaPlayer>(
        std::make_shared<SimulatedMediaPlayer>(),
        [this](const VKTDictionary& command) { commands_.push_back(command.find("media")->description()); });
    int input_ = -1;
};

struct ToldRow {
    const char* name;
    const char* lines;
    const char* heard;
    double position;
};

TEST_F(RemoteMediaPlayerTest, WhatIsToldIsHeard) {
    const ToldRow rows[] = {
        {"a file that is played", "duration 15|ready|started|position 7.5|stalled|position 15|ended",
         "ready started stalled ended ", 15},
        {"the end of the file before", "position 14.9|ended|ready|started", "ready started ", 0},
        {"positions that are none", "ready|position 3|position x|position -1|position nan|position inf",
         "ready ", 3},
        {"a failure", "failed 403 no such codec", "failed:403:no such codec ", 0},
        {"a failure without a code that is known", "failed 999 odd", "failed:400:odd ", 0},
        {"unplayable at once is simulated", "unplayable no codec", "ready ", 0},
        {"unplayable later has failed", "ready|position 2|unplayable it broke", "ready failed:405:it broke ",
         2},
        {"what the viewer does", "pause|mute", "viewer:pause viewer:mute ", 0},
    };
    for (const auto& [name, lines, heard, position] : rows) {
        load();
        heard_.clear();
        tell(lines);
        EXPECT_EQ(heard_.substr(0, 200), heard) << name;
        EXPECT_EQ(player_->position(), position) << name;
        player_->stop();
        heard_.clear();
        tell("ready|ended");
        EXPECT_EQ(heard_, "") << name << ": nothing is heard of a file that has been stopped";
    }
}

TEST_F(RemoteMediaPlayerTest, AFileIsLoadedWhenTheScriptsAreAndThenSimulatedInItsPlace) {
    load();
    EXPECT_EQ(heard_ + vkt_joined(commands_, " "), "waited load");
    tell("unplayable no codec");
    player_->play();
    EXPECT_EQ(heard_, "waited ready started ");
    EXPECT_EQ(player_->duration(), 15);
    EXPECT_EQ(vkt_joined(commands_, " "), "load simulate play");
}

}  // namespace

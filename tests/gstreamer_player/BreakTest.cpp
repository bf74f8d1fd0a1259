// The player example with real videos, on a screen of its own: what it tells the ad server.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTText.h"
#include "server/DemoServer.h"
#include "tests/support/VKTForkedChild.h"
#include "tests/support/VKTStoreFolder.h"

namespace {

void run(const std::string& command) {
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
}

// A screen in memory, on which the programs that are started from now on find themselves.
class Screen {
  public:
    Screen() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe(ends.data()), 0);
        server_ = vkt_startProgram({"Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0",
                                    "1280x720x24", "-nolisten", "tcp"});
        close(ends[1]);
        std::string number;
        for (char digit = 0; read(ends[0], &digit, 1) == 1 && digit != '\n';)
            number += digit;
        close(ends[0]);
        setenv("DISPLAY", (":" + number).c_str(), 1);
    }
    ~Screen() {
        kill(server_, SIGTERM);
        vkt_statusOf(server_);
    }

  private:
    pid_t server_ = 0;
};

// "ad/event" of each that was asked for; of errors "ad/error-CODE".
using Pixels = std::multiset<std::string>;

std::string linesOf(const Pixels& pixels) {
    return vkt_joined({pixels.begin(), pixels.end()}, "\n");
}

std::string nameOfPixel(const std::string& line) {
    const std::string path = line.substr(line.find("/pixel/") + 7);
    const std::size_t code = path.find(" code=");
    const std::string name = path.substr(0, path.find(' '));
    return code == std::string::npos ? name : name + "-" + path.substr(code + 6, 3);
}

class GStreamerPlayerTest : public testing::Test {
  protected:
    GStreamerPlayerTest() {
        setenv("GST_PLUGIN_FEATURE_RANK", "fakeaudiosink:MAX", 1);
        const std::string video = media_.folder() + "/ad.mp4";
        const std::string stream = media_.folder() + "/ad.m3u8";
        run("ffmpeg -v error -f lavfi -i color=blue:size=640x360:rate=25:duration=4 "
            "-f lavfi -i sine=duration=4 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac " +
            video);
        run("ffmpeg -v error -i " + video + " -c copy -hls_time 1 -hls_list_size 0 " + stream);
        run("head -c 5000 " + video + " >" + media_.folder() + "/corrupt.mp4");  // its index was at its end
    }

    // Plays the break at that path to its end. Returns the exit status.
    int play(const std::string& path) {
        player_ = vkt_startProgram({VKT_GSTREAMER_PLAYER, url_ + path});
        return vkt_statusOf(player_);
    }

    std::string pixels() {
        const std::lock_guard lock(mutex_);
        return linesOf(pixels_);
    }

    const Screen screen_;
    const VKTStoreFolder media_;
    std::atomic<pid_t> player_ = 0;
    std::mutex mutex_;
    Pixels pixels_;
    std::map<std::string, std::function<void()>> reactions_;  // to a pixel, before it is answered
    DemoServer server_{"",
                       [this](const std::string& line) {
                           const std::string name = nameOfPixel(line);
                           if (const auto reaction = reactions_.find(name); reaction != reactions_.end())
                               reaction->second();
                           const std::lock_guard lock(mutex_);
                           pixels_.insert(name);
                       },
                       media_.folder()};
    const std::string url_ = "http://127.0.0.1:" + std::to_string(server_.start(0).value_or(0));
};

// Of a part of the picture: 0 where all of it has one colour.
double contrastAt(const std::string& place) {
    const std::string question = " -format '%[fx:standard_deviation]' info:";
    FILE* output = popen(("convert " VKT_PICTURE " -crop " + place + question).c_str(), "r");
    double contrast = -1;
    EXPECT_EQ(std::fscanf(output, "%lf", &contrast), 1);
    pclose(output);
    return contrast;
}

TEST_F(GStreamerPlayerTest, CallsEveryPixelOfABreakOnceAndNoOther) {
    const std::pair<const char*, const char*> keys[] = {{"good/start", "f"},
                                                        {"good/fullscreen", "f"},
                                                        {"good/firstQuartile", "s"},
                                                        {"clicked/start", "m"},
                                                        {"clicked/mute", "c"},
                                                        {"clicked/click", "m"},
                                                        {"skippable/firstQuartile", "s"},
                                                        {"streamed/viewable", "space"},
                                                        {"streamed/pause", "space"}};
    for (const auto& [pixel, key] : keys)
        reactions_[pixel] = [command = std::string("xdotool key ") + key] { run(command); };
    reactions_["good/midpoint"] = [] { run("import -window root " VKT_PICTURE); };

    EXPECT_EQ(play("/video-break/4"), 0);

    const std::string begun = "impression creativeView loaded start firstQuartile ";
    const std::string played = begun + "midpoint thirdQuartile complete viewable ";
    const std::pair<const char*, std::string> ads[] = {{"good", played + "fullscreen exitFullscreen"},
                                                       {"clicked", played + "mute click unmute"},
                                                       {"missing", "error-401"},
                                                       {"corrupt", "error-405"},
                                                       {"wrapper", begun + "notViewable"},
                                                       {"skippable", begun + "skip notViewable"},
                                                       {"silent", "impression"},
                                                       {"streamed", played + "pause resume"},
                                                       {"endless", played}};
    Pixels expected;
    for (const auto& [ad, events] : ads)
        for (const std::string_view event : vkt_split(events, ' '))
            if (!event.empty()) expected.insert(ad + ("/" + std::string(event)));
    EXPECT_EQ(pixels(), linesOf(expected));

    EXPECT_LT(contrastAt("72x72+48+48"), 0.01) << "the bare video: " VKT_PICTURE;
    EXPECT_GT(contrastAt("72x72+840+48"), 0.1) << "the progress over it: " VKT_PICTURE;
}

TEST_F(GStreamerPlayerTest, EndsAnAdWhoseWindowIsClosed) {
    reactions_["video/firstQuartile"] = [] {
        run("eval $(xdotool mousemove 100 100 getmouselocation --shell) && xdotool windowclose $WINDOW");
    };
    EXPECT_EQ(play("/video-pod/4"), 0);
    EXPECT_EQ(pixels(), linesOf({"video/impression", "video/creativeView", "video/loaded", "video/start",
                                 "video/firstQuartile", "video/notViewable"}));
}

// The wrapper leads to a document that stands among the pixels, so that the test hears of the request.
TEST_F(GStreamerPlayerTest, EndsAtOnceWhileAWrapperHangs) {
    using Clock = std::chrono::steady_clock;
    std::promise<Clock::time_point> signalled;
    server_.tell(*ToldAnswer::initWithText("/pixel/document/hangs=hang"));
    reactions_["document/hangs"] = [&] {
        signalled.set_value(Clock::now());
        kill(player_, SIGTERM);
    };
    EXPECT_EQ(play("/to?url=" + url_ + "/pixel/document/hangs"), 0);
    EXPECT_LT(Clock::now() - signalled.get_future().get(), std::chrono::milliseconds(500));
}

}  // namespace

#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

struct File {
    float bitrate;
    float width = -1;
    float height = -1;
};

struct Case {
    const char* what;
    std::vector<File> files;
    int onFast;  // index of the choice
    int onLow;
};

constexpr float cap = 5000;

const Case cases[] = {
    {"the highest below the cap, the lowest on a low connection", {{8000}, {1200}, {4000}}, 2, 1},
    {"the cap itself is allowed", {{5000.5F}, {5000}, {4999}}, 1, 2},
    {"all above the cap: the lightest", {{8000}, {9000}}, 0, 0},
    {"0 is a known bitrate", {{0}, {9000}}, 0, 0},
    {"between the cap and 0 comes first", {{0}, {9000}, {1}}, 2, 0},
    {"unknown ones are passed over", {{-1, 1920, 1080}, {300}}, 1, 1},
    {"from -1 up to 0 only a low connection takes it", {{-0.5F}, {700}}, 1, 0},
    {"the picture decides without bitrates", {{-1, 640, 360}, {-1, 1920, 1080}, {-1, 1280, 720}}, 1, 0},
    {"equal pictures: the first", {{-1, 640, 360}, {-1, 640, 360}}, 0, 0},
    {"equal pictures: the higher bitrate", {{-3, 640, 360}, {-2, 640, 360}}, 1, 1},
    {"equal bitrates: the first above, the last from below", {{700, 1, 1}, {700, 2, 2}}, 0, 1},
    {"many equal files keep their order", std::vector<File>(40, {700}), 0, 39},
    {"equal bitrates above the cap: the last", {{7000, 1, 1}, {7000, 2, 2}}, 1, 1},
    {"two unknown sides make an area of 1", {{-1}, {-1, 2, 2}}, 1, 0},
    {"one unknown side makes it negative", {{-1, 640, -1}, {-1, 2, 2}}, 1, 0},
    {"an area of -1 counts as nothing chosen", {{-1, 1, -1}, {-1, 640, -1}, {-1, 700, -1}}, 1, 2},
};

std::shared_ptr<VKTVASTMediaFile> choose(const VKTVASTMediaFileSelector::Media& media, std::uint32_t code) {
    return VKTVASTMediaFileSelector::initWithMinBitrate(0, cap, media, code).mediaFile();
}

TEST(MediaFileSelector, Choices) {
    for (const Case& row : cases) {
        VKTVASTMediaFileSelector::Media media;
        for (const File& file : row.files) {
            media.push_back(std::make_shared<VKTVASTMediaFile>());
            media.back()->bitrate = file.bitrate;
            media.back()->width = file.width;
            media.back()->height = file.height;
        }
        const auto indexOf = [&](const auto& file) {
            return std::find(media.begin(), media.end(), file) - media.begin();
        };
        EXPECT_EQ(indexOf(choose(media, 6)), row.onFast) << row.what;
        EXPECT_EQ(indexOf(choose(media, 0)), row.onLow) << row.what;
        const auto minimumIsIgnored = VKTVASTMediaFileSelector::initWithMinBitrate(1e6F, cap, media);
        EXPECT_EQ(minimumIsIgnored.mediaFile(), choose(media, VKTDefaultNetworkAccessType)) << row.what;
    }
    EXPECT_EQ(choose({}, 6), nullptr);
    EXPECT_EQ(choose({}, 0), nullptr);
}

TEST(MediaFileSelector, FastConnectionsAreFourToSix) {
    for (const std::uint32_t code : {4U, 5U, 6U})
        EXPECT_FALSE(VKTVASTMediaFileSelector::isConsideredLowNetworkConnection(code)) << code;
    for (const std::uint32_t code : {0U, 3U, 7U, 4294967295U})
        EXPECT_TRUE(VKTVASTMediaFileSelector::isConsideredLowNetworkConnection(code)) << code;
}

}  // namespace

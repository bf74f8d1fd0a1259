#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <random>

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

VKTVASTMediaFileSelector::Media mediaOf(const std::vector<File>& files) {
    VKTVASTMediaFileSelector::Media media;
    for (const File& file : files) {
        media.push_back(std::make_shared<VKTVASTMediaFile>());
        media.back()->bitrate = file.bitrate;
        media.back()->width = file.width;
        media.back()->height = file.height;
    }
    return media;
}

TEST(MediaFileSelector, Choices) {
    for (const Case& row : cases) {
        const auto media = mediaOf(row.files);
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

// What a verdict says, asked of the files themselves.
struct Claims {
    const VKTVASTMediaFileSelector::Media& media;
    std::size_t chosen;
    bool isLow;

    [[nodiscard]] float bitrate(std::size_t i) const { return media[i]->bitrate; }
    [[nodiscard]] float size(std::size_t i) const { return media[i]->width * media[i]->height; }
    [[nodiscard]] bool isKnown(std::size_t i) const { return isLow ? bitrate(i) > -1 : bitrate(i) >= 0; }
    [[nodiscard]] bool isBetterPicture(std::size_t i, std::size_t than) const {
        return isLow ? size(i) < size(than) : size(i) > size(than);
    }
    template <typename Claim>
    [[nodiscard]] bool isAny(const Claim& claim) const {
        for (std::size_t i = 0; i < media.size(); ++i)
            if (claim(i)) return true;
        return false;
    }
    [[nodiscard]] bool bitratesDecide() const {
        return isAny([this](std::size_t i) { return isKnown(i); });
    }
    [[nodiscard]] bool isAPictureOfSizeMinusOne() const {
        return isAny([this](std::size_t i) { return size(i) == -1; });
    }

    [[nodiscard]] bool isTrue(VKTVASTMediaFileRule rule, std::size_t i) const {
        const bool isKept = i != chosen;
        const bool byPicture = !bitratesDecide();
        const bool byBitrate = isKnown(i) && isKnown(chosen);
        const bool samePicture = byPicture && size(i) == size(chosen);
        switch (rule) {
            case VKTVASTMediaFileHighestAllowedBitrate:
                return !isKept && !isLow && isKnown(i) && bitrate(i) <= cap && !isAny([&](std::size_t other) {
                    return bitrate(other) <= cap && bitrate(other) > bitrate(i);
                });
            case VKTVASTMediaFileLowestBitrateOverLimit:
                return !isKept && !isLow && bitrate(i) > cap && !isAny([&](std::size_t other) {
                    return isKnown(other) && bitrate(other) < bitrate(i);
                });
            case VKTVASTMediaFileLowestBitrate:
                return !isKept && isLow && isKnown(i) && !isAny([&](std::size_t other) {
                    return isKnown(other) && bitrate(other) < bitrate(i);
                });
            case VKTVASTMediaFileBestPicture:
                return !isKept && byPicture &&
                       !isAny([&](std::size_t other) { return isBetterPicture(other, i); });
            case VKTVASTMediaFileBestPictureOfTheRest:
                return !isKept && byPicture && isAPictureOfSizeMinusOne() &&
                       isAny([&](std::size_t other) { return isBetterPicture(other, i); });
            case VKTVASTMediaFileBitrateUnknown:
                return isKept && !isKnown(i) && isKnown(chosen);
            case VKTVASTMediaFileBitrateOverLimit:
                return byBitrate && !isLow && bitrate(i) > cap && bitrate(chosen) <= cap;
            case VKTVASTMediaFileBitrateFurtherOverLimit:
                return byBitrate && !isLow && bitrate(i) > bitrate(chosen) && bitrate(chosen) > cap;
            case VKTVASTMediaFileBitrateLower:
                return byBitrate && !isLow && bitrate(i) < bitrate(chosen);
            case VKTVASTMediaFileBitrateHigher:
                return byBitrate && isLow && bitrate(i) > bitrate(chosen);
            case VKTVASTMediaFileSameBitrateBefore:
                return byBitrate && bitrate(i) == bitrate(chosen) && chosen < i;
            case VKTVASTMediaFileSameBitrateAfter:
                return byBitrate && bitrate(i) == bitrate(chosen) && chosen > i;
            case VKTVASTMediaFilePictureWorse:
                return byPicture && isBetterPicture(chosen, i);
            case VKTVASTMediaFileSamePictureBefore:
                return samePicture && bitrate(i) == bitrate(chosen) && chosen < i;
            case VKTVASTMediaFileSamePictureHigherBitrate:
                return samePicture && bitrate(chosen) > bitrate(i);
            case VKTVASTMediaFilePictureCountsAsNone:
                return isKept && byPicture && size(i) == -1;
            case VKTVASTMediaFilePictureLostToNone:
                return isKept && byPicture && isAPictureOfSizeMinusOne() && size(i) != -1 &&
                       !isBetterPicture(chosen, i);
            case VKTVASTMediaFilePicturesDoNotCompare:
                return isKept && byPicture && size(i) != size(chosen) && !isBetterPicture(chosen, i) &&
                       !isBetterPicture(i, chosen);
        }
        return false;
    }
};

TEST(MediaFileSelector, VerdictsAreTrueOfTheFiles) {
    const std::vector<float> bitrates{-3, -2, -1, -1, -0.5F, 0, 700, cap, 5000.5F, 7000};
    const std::vector<float> sides{-640, -1, -1, 0, 1, 2, 640, std::numeric_limits<float>::infinity()};
    std::mt19937 random(7);
    const auto anyOf = [&random](const std::vector<float>& values, std::size_t count) {
        return values[random() % count];
    };
    std::map<VKTVASTMediaFileRule, int> seen;
    for (int round = 0; round < 20'000; ++round) {
        std::vector<File> files(1 + random() % 5);
        const std::size_t bitrateCount = round % 2 == 0 ? 4 : bitrates.size();  // none is known
        for (File& file : files)
            file = {anyOf(bitrates, bitrateCount), anyOf(sides, sides.size()), anyOf(sides, sides.size())};
        const bool isLow = round % 3 == 0;
        const auto selector =
            VKTVASTMediaFileSelector::initWithMinBitrate(0, cap, mediaOf(files), isLow ? 0 : 6);
        const auto& media = selector.media();
        const auto verdicts = selector.verdicts();
        const auto chosen = static_cast<std::size_t>(
            std::find(media.begin(), media.end(), selector.mediaFile()) - media.begin());
        ASSERT_EQ(verdicts.size(), media.size());
        for (std::size_t i = 0; i < media.size(); ++i) {
            ASSERT_EQ(verdicts[i].isChosen(), i == chosen) << round;
            ASSERT_TRUE((Claims{media, chosen, isLow}.isTrue(verdicts[i].rule, i)))
                << "round " << round << ", file " << i << ": " << verdicts[i].reason;
            ++seen[verdicts[i].rule];
        }
    }
    EXPECT_EQ(seen.size(), std::size_t{VKTVASTMediaFilePicturesDoNotCompare} + 1) << "every rule was met";
    EXPECT_TRUE(VKTVASTMediaFileSelector::initWithMinBitrate(0, cap, {}).verdicts().empty());
}

TEST(MediaFileSelector, VerdictsInWords) {
    const auto words = [](std::uint32_t code, const std::vector<File>& files) {
        std::string all;
        for (const auto& verdict :
             VKTVASTMediaFileSelector::initWithMinBitrate(0, cap, mediaOf(files), code).verdicts())
            all.append(verdict.isChosen() ? "+ " : "- ").append(verdict.reason).append("\n");
        return all;
    };
    EXPECT_EQ(words(6, {{8000}, {4000}, {4000}, {-1}}),
              "- its bitrate is above 5000 kbit/s\n+ highest bitrate up to 5000 kbit/s\n"
              "- the chosen one has the same bitrate and comes before it\n"
              "- its bitrate is unknown and another one's is known\n");
    EXPECT_EQ(words(0, {{-1, 4, -1}, {-1, 2, 2}, {-1, 4, 2}}),
              "+ smallest picture: no bitrate is known\n"
              "- the chosen one has a smaller picture (an unknown side counts as -1)\n"
              "- the chosen one has a smaller picture (an unknown side counts as -1)\n");
    EXPECT_EQ(words(6, {{-1, 4, 2}, {-1, 2, 4}, {-1, 2, 2}}),
              "+ largest picture: no bitrate is known\n"
              "- the chosen one has a picture of the same size and comes before it\n"
              "- the chosen one has a larger picture\n");
}

TEST(MediaFileSelector, FastConnectionsAreFourToSix) {
    for (const std::uint32_t code : {4U, 5U, 6U})
        EXPECT_FALSE(VKTVASTMediaFileSelector::isConsideredLowNetworkConnection(code)) << code;
    for (const std::uint32_t code : {0U, 3U, 7U, 4294967295U})
        EXPECT_TRUE(VKTVASTMediaFileSelector::isConsideredLowNetworkConnection(code)) << code;
}

}  // namespace

#include "VKTCoreKit/player/VKTMediaProfile.h"

#include <gtest/gtest.h>

#include <limits>

#include "VKTCoreKit/core/VKTXMLDictionary.h"

namespace {

using Texts = std::vector<std::string>;

VKTDictionary nodeOf(const std::string& xml) {
    return vkt_dictionaryWithXMLString(xml).value();
}

std::string elementOf(const std::string& attributes) {
    return "<MediaFile " + attributes + ">http://h/</MediaFile>";
}

// Each file by its attributes; the type is video/mp4 where they say none.
std::shared_ptr<VKTVASTCreativeLinear> creativeOf(const Texts& files) {
    std::string elements;
    for (const std::string& attributes : files) {
        const bool hasType = attributes.find("type=") != std::string::npos;
        elements += elementOf(hasType ? attributes : "type='video/mp4' " + attributes);
    }
    return VKTVASTCreativeLinear::initWithDictionary(
        nodeOf("<Linear><MediaFiles>" + elements + "</MediaFiles></Linear>"));
}

struct Row {
    const char* name;
    VKTMediaProfile profile;
    const char* attributes;
    const char* refusal;
};

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr const char* script = "type='application/javascript' apiFramework='vpaid' bitrate='9'";
const VKTMediaProfile noMP4 = {.types = {"video/3gpp", "application/x-mpegURL"}};
const VKTMediaProfile AVC = {.codecs = {"avc1", "mp4a.40"}};
const VKTMediaProfile streams = {.deliveries = {"streaming"}};
const VKTMediaProfile small = {.maximumWidth = 640, .maximumHeight = 360, .maximumBitrate = 700.5F};
const VKTMediaProfile noNumbers = {
    .maximumWidth = notANumber, .maximumHeight = -1, .maximumBitrate = notANumber};
const VKTMediaProfile scripts = {.types = {"video/mp4"}, .maximumBitrate = 1, .allowsVPAID = true};

const std::vector<Row> rows{
    {"nothing set", {}, "type='video/mp4' codec='x' delivery='y' width='1e9' bitrate='1e9'", ""},
    {"no numbers set", noNumbers, "type='video/mp4' width='1e9' height='1e9' bitrate='1e9'", ""},

    {"a type", noMP4, "type='VIDEO/3GPP'", ""},
    {"a type with parameters", noMP4, "type=' video/3gpp ; q=1'", ""},
    {"a type of the profile with parameters", {.types = {"video/mp4; codecs=x"}}, "type='video/mp4'", ""},
    {"another type", noMP4, "type='video/mp4;q=1'", R"(type "video/mp4" is not among those of the profile)"},
    {"no type", noMP4, "", ""},

    {"a codec to its dot", AVC, "codec='AVC1.42E01E'", ""},
    {"a codec that only begins so", AVC, "codec='avc10'",
     R"(codec "avc10" is not among those of the profile)"},
    {"a codec that says less", {.codecs = {"avc1.42E01E"}}, "codec='avc1'", ""},
    {"a codec of another kind",
     {.codecs = {"avc1.42E01E"}},
     "codec='avc1.640028'",
     R"(codec "avc1.640028" is not among those of the profile)"},
    {"each codec", AVC, "codec='avc1.42E01E , mp4a.40.2,'", ""},
    {"not each codec", AVC, "codec='avc1, hvc1.1, vp9'",
     R"(codec "hvc1.1" is not among those of the profile)"},
    {"no codec", AVC, "codec=' ' type='video/mp4; codecs'", ""},
    {"codecs of the type", AVC, "type='video/mp4; a=b; Codecs = \"avc1.42E01E, vp9\"'",
     R"(codec "vp9" is not among those of the profile)"},
    {"codecs of the type beside a blank attribute", AVC, "type='video/mp4; codecs=vp9' codec=' '",
     R"(codec "vp9" is not among those of the profile)"},
    {"single quotes", AVC, "type=\"video/mp4; codecs='avc1.42E01E, mp4a.40.2'\"", ""},
    {"the attribute goes first", AVC, "type='video/mp4; codecs=vp9' codec='avc1'", ""},

    {"a delivery", streams, "delivery=' Streaming'", ""},
    {"another delivery", streams, "delivery='progressive'",
     R"(delivery "progressive" is not among those of the profile)"},
    {"no delivery", streams, "delivery=''", ""},

    {"the largest of each", small, "width='640' height='360' bitrate='700.5'", ""},
    {"a width", small, "width='641'", "its width is above the profile's 640 pixels"},
    {"a height", small, "height='361'", "its height is above the profile's 360 pixels"},
    {"a bitrate", small, "bitrate='701'", "its bitrate is above the profile's 700.5 kbit/s"},
    {"no numbers", small, "width='-1' height='0' minBitrate='9000' maxBitrate='9000'", ""},

    {"VPAID", {}, script, "the profile does not allow VPAID"},
    {"VPAID that is allowed", scripts, script, ""},
    {"VPAID with parameters",
     {},
     "type='application/javascript; charset=utf-8' apiFramework='VPAID'",
     "the profile does not allow VPAID"},
    {"another script", scripts, "type='application/javascript'",
     "an interactive file must be VPAID JavaScript"},
};

TEST(MediaProfile, EachRule) {
    for (const auto& [name, profile, attributes, refusal] : rows) {
        const auto file = VKTVASTMediaFile::initUncheckedWithDictionary(nodeOf(elementOf(attributes)));
        EXPECT_EQ(profile.refusalOf(*file), refusal) << name;
    }
    VKTVASTMediaFile video;
    video.type = "video/mp4";
    video.isInteractive = true;
    EXPECT_NE(scripts.refusalOf(video), "");
}

TEST(MediaProfile, TheSelectorChoosesAmongThoseThatSuit) {
    const auto creative = creativeOf({"bitrate='300' codec='avc1'", "bitrate='900' codec='hvc1'",
                                      "bitrate='700' codec='avc1'", "bitrate='800' codec='avc1'", script});
    const VKTMediaProfile profile = {.codecs = {"avc1"}, .maximumBitrate = 750};
    const auto choice = [&](std::uint32_t networkAccessType) {
        const auto chosen = profile.mediaFileOf(*creative, networkAccessType);
        std::string words;
        for (const auto& verdict : profile.verdictsOn(*creative, networkAccessType)) {
            EXPECT_EQ(verdict.isChosen, verdict.file == chosen);
            words += (verdict.isChosen ? "+ " : "- ") + verdict.reason + "\n";
        }
        EXPECT_EQ(profile.problemWith(*creative, networkAccessType), "");
        return words;
    };
    const std::string refused = R"(- codec "hvc1" is not among those of the profile
)";
    const std::string refusedToo =
        "- its bitrate is above the profile's 750 kbit/s\n- the profile does not allow VPAID\n";
    EXPECT_EQ(choice(6), "- the chosen one has a higher bitrate\n" + refused +
                             "+ highest bitrate up to 750 kbit/s\n" + refusedToo);
    EXPECT_EQ(choice(0), "+ lowest known bitrate: the connection is low\n" + refused +
                             "- the chosen one has a lower bitrate\n" + refusedToo);

    const auto heavy = creativeOf({"bitrate='9000'", "bitrate='6000'"});
    EXPECT_EQ(VKTMediaProfile().mediaFileOf(*heavy), heavy->mediaFiles()[1]);
    EXPECT_EQ(VKTMediaProfile{.maximumBitrate = 9000}.mediaFileOf(*heavy), heavy->mediaFiles()[0]);
}

TEST(MediaProfile, TellsWhyNoneSuits) {
    const std::vector<std::pair<Texts, const char*>> cases{
        {{"type='video/webm'"}, "its media files are video/webm, which is not playable"},
        {{"width='641'", "width='700'", "bitrate='701'"},
         "none of its media files suits the player: its width is above the profile's 640 pixels; its bitrate "
         "is above the profile's 700.5 kbit/s"},
        {{"width='641'", "height='361'", "bitrate='701'", script},
         "none of its media files suits the player: its width is above the profile's 640 pixels; its height "
         "is above the profile's 360 pixels; its bitrate is above the profile's 700.5 kbit/s"},
    };
    for (const auto& [files, problem] : cases) {
        const auto creative = creativeOf(files);
        EXPECT_EQ(small.mediaFileOf(*creative), nullptr) << problem;
        EXPECT_EQ(small.problemWith(*creative), problem);
        for (const auto& verdict : small.verdictsOn(*creative))
            EXPECT_FALSE(verdict.isChosen) << problem;
    }
}

}  // namespace

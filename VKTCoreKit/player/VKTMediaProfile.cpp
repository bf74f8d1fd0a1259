#include "VKTCoreKit/player/VKTMediaProfile.h"

#include <algorithm>
#include <string_view>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTElement.h"

namespace {

using Texts = std::vector<std::string>;

constexpr std::size_t reasonLimit = 3;  // in one sentence

std::string_view typeWithoutParameters(std::string_view type) {
    return vkt_trimmed(type.substr(0, type.find(';')));
}

// In XML the single ones are as usual as those of MIME.
std::string_view withoutQuotes(std::string_view text) {
    const bool isQuoted =
        text.size() >= 2 && text.front() == text.back() && (text.front() == '"' || text.front() == '\'');
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

// The value of a parameter of a MIME type; empty when it has none of that name.
std::string_view parameterOf(std::string_view type, std::string_view name) {
    for (const std::string_view parameter : vkt_split(type, ';')) {
        const std::size_t sign = parameter.find('=');
        if (sign == std::string_view::npos) continue;
        if (vkt_equalsIgnoringCase(vkt_trimmed(parameter.substr(0, sign)), name))
            return withoutQuotes(vkt_trimmed(parameter.substr(sign + 1)));
    }
    return {};
}

std::string_view codecsOf(const VKTVASTMediaFile& file) {
    if (file.codec && !vkt_isEmptyOrWhiteSpace(*file.codec)) return *file.codec;
    return file.type ? parameterOf(*file.type, "codecs") : std::string_view();
}

bool isSameText(std::string_view left, std::string_view right) {
    return vkt_equalsIgnoringCase(vkt_trimmed(left), vkt_trimmed(right));
}

bool isSameType(std::string_view left, std::string_view right) {
    return vkt_equalsIgnoringCase(typeWithoutParameters(left), typeWithoutParameters(right));
}

// One is the other, or its beginning up to a dot.
bool isSameCodec(std::string_view left, std::string_view right) {
    std::string_view shorter = vkt_trimmed(left);
    std::string_view longer = vkt_trimmed(right);
    if (shorter.size() > longer.size()) std::swap(shorter, longer);
    const bool endsThere = shorter.size() == longer.size() || longer[shorter.size()] == '.';
    return endsThere && vkt_equalsIgnoringCase(shorter, longer.substr(0, shorter.size()));
}

// What is not known suits.
template <typename IsSame>
bool suits(const Texts& supported, std::string_view text, const IsSame& isSame) {
    return supported.empty() || vkt_isEmptyOrWhiteSpace(text) ||
           std::any_of(supported.begin(), supported.end(),
                       [&](const std::string& each) { return isSame(each, text); });
}

std::string notAmong(const char* what, std::string_view text) {
    return std::string(what) + " " + vkt_quoted(text) + " is not among those of the profile";
}

bool isAbove(float value, float maximum) {
    return maximum > 0 && value > maximum;
}

std::string aboveMaximum(const char* what, float maximum, const char* unit) {
    return std::string("its ") + what + " is above the profile's " + vkt_numberDescription(maximum) + unit;
}

VKTVASTMediaFileSelector selectorOver(VKTVASTMediaFileSelector::Media media, float maximumBitrate,
                                      std::uint32_t networkAccessType) {
    const float maximum = maximumBitrate > 0 ? maximumBitrate : VKTVASTDefaultMaximumBitrate;
    return VKTVASTMediaFileSelector::initWithMinBitrate(0, maximum, std::move(media), networkAccessType);
}

}  // namespace

std::string VKTMediaProfile::refusalOf(const VKTVASTMediaFile& file) const {
    const std::string_view type = file.type ? typeWithoutParameters(*file.type) : std::string_view();
    VKTVASTMediaFile script;
    script.type = std::string(type);
    script.apiFramework = file.apiFramework;
    if (file.isInteractive || script.isJavascript()) {
        if (!script.isVPAID()) return "an interactive file must be VPAID JavaScript";
        return allowsVPAID ? "" : "the profile does not allow VPAID";
    }
    if (!suits(types, type, isSameType)) return notAmong("type", type);
    for (const std::string_view codec : vkt_split(codecsOf(file), ',')) {
        if (!suits(codecs, codec, isSameCodec)) return notAmong("codec", vkt_trimmed(codec));
    }
    const std::string_view delivery = file.delivery ? vkt_trimmed(*file.delivery) : std::string_view();
    if (!suits(deliveries, delivery, isSameText)) return notAmong("delivery", delivery);
    if (isAbove(file.width, maximumWidth)) return aboveMaximum("width", maximumWidth, " pixels");
    if (isAbove(file.height, maximumHeight)) return aboveMaximum("height", maximumHeight, " pixels");
    if (isAbove(file.bitrate, maximumBitrate)) return aboveMaximum("bitrate", maximumBitrate, " kbit/s");
    return "";
}

std::shared_ptr<VKTVASTMediaFile> VKTMediaProfile::mediaFileOf(const VKTVASTCreativeLinear& creative,
                                                               std::uint32_t networkAccessType) const {
    auto suitable = creative.mediaFiles();
    std::erase_if(suitable, [this](const auto& file) { return !refusalOf(*file).empty(); });
    return selectorOver(std::move(suitable), maximumBitrate, networkAccessType).mediaFile();
}

std::vector<VKTMediaProfile::Verdict> VKTMediaProfile::verdictsOn(const VKTVASTCreativeLinear& creative,
                                                                  std::uint32_t networkAccessType) const {
    std::vector<Verdict> verdicts;
    VKTVASTMediaFileSelector::Media suitable;
    for (const auto& file : creative.mediaFiles()) {
        verdicts.push_back({file, refusalOf(*file)});
        if (verdicts.back().reason.empty()) suitable.push_back(file);
    }
    const auto ofSelector = selectorOver(std::move(suitable), maximumBitrate, networkAccessType).verdicts();
    auto next = ofSelector.begin();
    for (Verdict& verdict : verdicts) {
        if (!verdict.reason.empty()) continue;
        verdict.reason = next->reason;
        verdict.isChosen = next->isChosen();
        ++next;
    }
    return verdicts;
}

std::string VKTMediaProfile::problemWith(const VKTVASTCreativeLinear& creative,
                                         std::uint32_t networkAccessType) const {
    if (mediaFileOf(creative, networkAccessType)) return "";
    if (creative.mediaFiles().empty()) return creative.mediaFilesProblem();
    Texts reasons;
    for (const auto& file : creative.mediaFiles()) {
        if (reasons.size() == reasonLimit) break;
        std::string reason = refusalOf(*file);
        if (std::find(reasons.begin(), reasons.end(), reason) == reasons.end())
            reasons.push_back(std::move(reason));
    }
    return "none of its media files suits the player: " + vkt_joined(reasons, "; ");
}

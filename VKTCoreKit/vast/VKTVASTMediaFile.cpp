#include "VKTCoreKit/vast/VKTVASTMediaFile.h"

#include <algorithm>
#include <array>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

constexpr std::array<std::string_view, 6> playableVideoTypes{
    "VIDEO/MP4",     "VIDEO/3GPP", "VIDEO/M4V", "APPLICATION/VND.APPLE.MPEGURL", "APPLICATION/X-MPEGURL",
    "VIDEO/MPEGURL",
};
constexpr std::array<std::string_view, 2> javascriptTypes{
    "APPLICATION/X-JAVASCRIPT",
    "APPLICATION/JAVASCRIPT",
};

template <typename Types>
bool isOneOf(const Types& types, const std::optional<std::string>& type) {
    return type && std::any_of(types.begin(), types.end(), [&](std::string_view candidate) {
               return vkt_equalsIgnoringCase(candidate, *type);
           });
}

}  // namespace

std::shared_ptr<VKTVASTMediaFile> VKTVASTMediaFile::initWithDictionary(const VKTVASTElement& element) {
    auto file = initUncheckedWithDictionary(element);
    return file->isValid() ? file : nullptr;
}

std::shared_ptr<VKTVASTMediaFile> VKTVASTMediaFile::initUncheckedWithDictionary(
    const VKTVASTElement& element) {
    auto file = std::make_shared<VKTVASTMediaFile>();
    file->id = element.stringAttribute("_id");
    file->delivery = element.stringAttribute("_delivery");
    file->type = element.stringAttribute("_type");
    file->scalable = element.boolAttribute("_scalable");
    file->maintainAspectRatio = element.boolAttribute("_maintainAspectRatio");
    file->codec = element.stringAttribute("_codec");
    file->apiFramework = element.stringAttribute("_apiFramework");
    file->bitrate = element.floatAttribute("_bitrate", -1);
    file->minBitrate = element.floatAttribute("_minBitrate", 0);
    file->maxBitrate = element.floatAttribute("_maxBitrate", 0);
    file->width = element.floatAttribute("_width", -1);
    file->height = element.floatAttribute("_height", -1);
    file->fileSize = element.floatAttribute("_fileSize", -1);
    file->url = element.requiredVASTURL();
    return file;
}

bool VKTVASTMediaFile::isJavascript() const {
    return isOneOf(javascriptTypes, type);
}

bool VKTVASTMediaFile::isVPAID() const {
    return isJavascript() && apiFramework && vkt_equalsIgnoringCase(*apiFramework, "VPAID");
}

bool VKTVASTMediaFile::isSupported() const {
    return isOneOf(playableVideoTypes, type) || isVPAID();
}

bool VKTVASTMediaFile::isValid() const {
    return url && isSupported();
}

std::string VKTVASTMediaFile::refusal() const {
    if (!isRefused()) return "";
    if (isValid()) return "an interactive file must be VPAID JavaScript";
    if (!url) return "it has no usable URL";
    if (!type) return "it has no type";
    if (isJavascript()) return "JavaScript is played with apiFramework \"VPAID\" only";
    return "type " + vkt_quoted(*type) + " is not playable";
}

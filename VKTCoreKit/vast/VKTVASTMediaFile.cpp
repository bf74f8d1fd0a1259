#include "VKTCoreKit/vast/VKTVASTMediaFile.h"

#include <algorithm>
#include <array>

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTNodeReading.h"

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

std::shared_ptr<VKTVASTMediaFile> VKTVASTMediaFile::initWithDictionary(const VKTDictionary& dictionary) {
    auto file = std::make_shared<VKTVASTMediaFile>();
    file->id = vkt_stringAttribute("_id", dictionary);
    file->delivery = vkt_stringAttribute("_delivery", dictionary);
    file->type = vkt_stringAttribute("_type", dictionary);
    file->scalable = vkt_boolAttribute("_scalable", dictionary);
    file->maintainAspectRatio = vkt_boolAttribute("_maintainAspectRatio", dictionary);
    file->codec = vkt_stringAttribute("_codec", dictionary);
    file->apiFramework = vkt_stringAttribute("_apiFramework", dictionary);
    file->bitrate = vkt_floatAttribute("_bitrate", dictionary, -1);
    file->minBitrate = vkt_floatAttribute("_minBitrate", dictionary, 0);
    file->maxBitrate = vkt_floatAttribute("_maxBitrate", dictionary, 0);
    file->width = vkt_floatAttribute("_width", dictionary, -1);
    file->height = vkt_floatAttribute("_height", dictionary, -1);
    file->fileSize = vkt_floatAttribute("_fileSize", dictionary, -1);
    if (const std::string* text = VKTXMLDictionaryUtils::findNodeText(dictionary)) {
        file->url = VKTVASTURL::initWithString(*text);
    }
    return file->isValid() ? file : nullptr;
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

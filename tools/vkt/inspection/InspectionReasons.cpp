#include "inspection/InspectionReasons.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"
#include "VKTCoreKit/vast/VKTVASTNodeReading.h"
#include "ground/MediaFileChoice.h"
#include "ground/Text.h"

using Utils = VKTXMLDictionaryUtils;

namespace {

// The accepted event name that differs in case only, or nothing.
std::optional<std::string> eventNameInRightCase(const std::string& name) {
    static constexpr std::array<std::string_view, 9> mixedCaseNames{
        "creativeView", "firstSecond",        "firstQuartile", "thirdQuartile", "exitFullscreen",
        "timeToClick",  "vpaidAdInteraction", "playerExpand",  "playerCollapse"};
    const auto* found =
        std::find_if(mixedCaseNames.begin(), mixedCaseNames.end(),
                     [&](std::string_view each) { return vkt_equalsIgnoringCase(each, name); });
    std::string right = found == mixedCaseNames.end() ? vkt_lowercased(name) : std::string(*found);
    return vkt_isAcceptedTrackingEventName(right) ? std::optional(std::move(right)) : std::nullopt;
}

std::string maximumBitrateText() {
    return vkt_numberDescription(VKTVASTDefaultMaximumBitrate) + " kbit/s";
}

std::string choiceReason(const VKTVASTMediaFile& chosen) {
    if (chosen.bitrate < 0) return "largest picture: no bitrate is known";
    if (chosen.bitrate <= VKTVASTDefaultMaximumBitrate)
        return "highest bitrate up to " + maximumBitrateText();
    return "lowest known bitrate: all are above " + maximumBitrateText();
}

std::string keptReason(const VKTVASTMediaFile& file, const VKTVASTMediaFile& chosen) {
    if (chosen.bitrate < 0) {
        return file.width * file.height < chosen.width * chosen.height
                   ? "the chosen one has a larger picture"
                   : "the chosen one has as large a picture and comes first";
    }
    if (file.bitrate < 0) return "its bitrate is unknown and another one's is known";
    if (chosen.bitrate > VKTVASTDefaultMaximumBitrate) {
        return file.bitrate > chosen.bitrate ? "its bitrate is further above " + maximumBitrateText()
                                             : "the chosen one has the same bitrate and comes last";
    }
    if (file.bitrate > VKTVASTDefaultMaximumBitrate) return "its bitrate is above " + maximumBitrateText();
    return file.bitrate < chosen.bitrate ? "the chosen one has a higher bitrate"
                                         : "the chosen one has the same bitrate and comes first";
}

}  // namespace

std::string pathOf(const Element& element) {
    std::vector<const Element*> line;
    for (const Element* each = &element; each != nullptr; each = each->parent)
        line.push_back(each);
    std::string path;
    std::reverse(line.begin(), line.end());
    for (const Element* each : line) {
        path.append("/").append(each->name);
        if (each->position > 0) path += "[" + std::to_string(each->position) + "]";
    }
    return path;
}

std::string textProblem(const Element& element) {
    const VKTValue* text = element.node().find(VKTXMLDictionaryTextKey);
    if (text == nullptr) return "it has no text";
    return text->asString() == nullptr ? "its text is split by child elements" : "its text is not a URL";
}

std::string trackingProblem(const Element& element) {
    const std::string* name = Utils::findAttribute("_event", element.node());
    if (name == nullptr) return "it has no event attribute";
    if (vkt_isAcceptedTrackingEventName(*name)) return textProblem(element);
    if (const auto right = eventNameInRightCase(*name)) {
        return "event name " + quoted(*name) + " must be written " + quoted(*right);
    }
    return "event name " + quoted(*name) + " is not accepted";
}

std::string verificationEventProblem(const Element& element) {
    const std::string* name = Utils::findAttribute("_event", element.node());
    if (name == nullptr) return "it has no event attribute";
    if (*name == "verificationNotExecuted") return textProblem(element);
    return "event name " + quoted(*name) +
           " is not accepted: verifications know verificationNotExecuted only";
}

std::string metricProblem(const Element& element) {
    const std::string* name = Utils::findAttribute("_name", element.node());
    if (name == nullptr) return "it has no name attribute";
    if (VKTVASTTrackingEvent::convertExtensionNameToVASTTrackingName(*name)) return textProblem(element);
    return "metric " + quoted(*name) + " is not accepted: the only one is viewcount";
}

std::string universalAdIdProblem(const Element& element) {
    const VKTDictionary& node = element.node();
    const std::string* registry = Utils::findAttribute("_idRegistry", node);
    if (registry == nullptr || registry->empty()) return "it has no idRegistry";
    const std::string* value = element.text();
    if (value == nullptr) value = Utils::findAttribute("_idValue", node);
    if (value == nullptr || value->empty()) return "it has no value";
    return "its value is " + quoted(*value);
}

VKTVASTMediaFile describedMediaFile(const Element& element) {
    VKTVASTMediaFile file;
    const VKTDictionary& node = element.node();
    file.type = vkt_stringAttribute("_type", node);
    file.apiFramework = vkt_stringAttribute("_apiFramework", node);
    file.bitrate = vkt_floatAttribute("_bitrate", node, -1);
    file.width = vkt_floatAttribute("_width", node, -1);
    file.height = vkt_floatAttribute("_height", node, -1);
    file.url = VKTVASTURL::initFromXML(node);
    return file;
}

std::string mediaFileProblem(const Element& element, const VKTVASTMediaFile& file) {
    if (!file.url) return textProblem(element);
    if (!file.type) return "it has no type";
    if (file.isJavascript()) return "JavaScript is played with apiFramework \"VPAID\" only";
    return "type " + quoted(*file.type) + " is not playable";
}

void judgeMediaFiles(InspectedLinear& linear) {
    if (!linear.creative) return;
    const auto chosen = chosenMediaFile(*linear.creative, VKTDefaultNetworkAccessType);
    std::size_t index = 0;
    for (InspectedMediaFile& row : linear.mediaFiles) {
        if (row.verdict == MediaFileRefused) continue;
        const bool isChosen = linear.creative->mediaFiles().at(index++) == chosen;
        row.verdict = isChosen ? MediaFileChosen : MediaFileKept;
        row.reason = isChosen ? choiceReason(*chosen) : keptReason(row.file, *chosen);
    }
}

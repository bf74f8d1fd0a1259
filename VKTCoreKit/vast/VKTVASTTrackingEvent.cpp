#include "VKTCoreKit/vast/VKTVASTTrackingEvent.h"

#include <algorithm>
#include <array>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTKeyedHash.h"
#include "VKTCoreKit/vast/VKTVASTNodeReading.h"

namespace {

struct EventName {
    std::string_view name;
    bool isConsumable;
};

constexpr std::array<EventName, 22> acceptedNames{{
    {"creativeView", true},    {"start", true},
    {"firstSecond", true},     {"firstQuartile", true},
    {"midpoint", true},        {"thirdQuartile", true},
    {"complete", true},        {"progress", true},
    {"loaded", true},          {"click", false},
    {"mute", false},           {"unmute", false},
    {"pause", false},          {"rewind", false},
    {"resume", false},         {"fullscreen", false},
    {"exitFullscreen", false}, {"timeToClick", false},
    {"skip", false},           {"vpaidAdInteraction", false},
    {"playerExpand", false},   {"playerCollapse", false},
}};

constexpr std::string_view viewCountName = "viewcount";

const EventName* acceptedName(std::string_view name) {
    const auto* found = std::find_if(acceptedNames.begin(), acceptedNames.end(),
                                     [&](const EventName& event) { return event.name == name; });
    return found == acceptedNames.end() ? nullptr : found;
}

}  // namespace

bool vkt_isAcceptedTrackingEventName(std::string_view name) {
    return acceptedName(name) != nullptr;
}

void vkt_logUnknownTrackingEventName(std::string_view name) {
    VKTLog::sharedInstance()->logDebugWithFormat(
        "Event '%@' is neither consumable nor nonconsumable! It has been assumed as consumable.", name);
}

VKTVASTTrackingEvent::VKTVASTTrackingEvent(Private, std::string name, std::optional<std::string> offset,
                                           VKTURL url, double eventOffset, bool isEventConsumable)
    : name_(std::move(name)),
      offset_(std::move(offset)),
      url_(std::move(url)),
      eventOffset_(eventOffset),
      isEventConsumable_(isEventConsumable) {}

std::shared_ptr<VKTVASTTrackingEvent> VKTVASTTrackingEvent::initWithName(std::string name,
                                                                         std::optional<std::string> offset,
                                                                         VKTURL url, double eventOffset) {
    const bool isConsumable = isEventConsumableFromName(name);
    return std::make_shared<VKTVASTTrackingEvent>(Private(), std::move(name), std::move(offset),
                                                  std::move(url), eventOffset, isConsumable);
}

std::shared_ptr<VKTVASTTrackingEvent> VKTVASTTrackingEvent::initWithDictionary(const VKTValue& value) {
    const VKTDictionary* node = value.asDictionary();
    const std::string* text = node == nullptr ? nullptr : VKTXMLDictionaryUtils::findNodeText(*node);
    if (text == nullptr) return nullptr;
    const std::string* name = VKTXMLDictionaryUtils::findAttribute("_event", *node);
    const EventName* event = name == nullptr ? nullptr : acceptedName(*name);
    if (event == nullptr) return nullptr;
    auto url = VKTURL::URLWithDocumentText(*text);
    if (!url) return nullptr;
    return std::make_shared<VKTVASTTrackingEvent>(Private(), *name, vkt_stringAttribute("_offset", *node),
                                                  std::move(*url), -1, event->isConsumable);
}

std::shared_ptr<VKTVASTTrackingEvent> VKTVASTTrackingEvent::initWithExtensionDictionary(
    const VKTValue& value) {
    const VKTDictionary* node = value.asDictionary();
    const std::string* text = node == nullptr ? nullptr : VKTXMLDictionaryUtils::findNodeText(*node);
    if (text == nullptr) return nullptr;
    const std::string* extensionName = VKTXMLDictionaryUtils::findAttribute("_name", *node);
    if (extensionName == nullptr) return nullptr;
    auto name = convertExtensionNameToVASTTrackingName(*extensionName);
    auto url = VKTURL::URLWithDocumentText(*text);
    if (!name || !url) return nullptr;
    return initWithName(std::move(*name), vkt_stringAttribute("_offset", *node), std::move(*url));
}

std::shared_ptr<VKTVASTTrackingEvent> VKTVASTTrackingEvent::initWithCoder(const VKTKeyedUnarchiver& coder) {
    auto name = coder.decodeString("name");
    auto url = coder.decodeURL("url");
    const auto eventOffset = coder.decodeNumber("eventOffset");
    if (!name || !url) return nullptr;
    return initWithName(std::move(*name), coder.decodeString("offset"), std::move(*url),
                        eventOffset ? eventOffset->doubleValue() : 0);
}

void VKTVASTTrackingEvent::encodeWithCoder(VKTKeyedArchiver& coder) const {
    coder.encodeString("name", name_);
    coder.encodeString("offset", offset_);
    coder.encodeURL("url", url_);
    coder.encodeNumber("eventOffset", eventOffset_);
}

std::shared_ptr<VKTVASTTrackingEvent> VKTVASTTrackingEvent::copy() const {
    return initWithName(name_, offset_, url_, eventOffset_);
}

std::vector<std::shared_ptr<VKTVASTTrackingEvent>> VKTVASTTrackingEvent::findTrackingEvents(
    const VKTDictionary& node) {
    std::vector<std::shared_ptr<VKTVASTTrackingEvent>> events;
    const VKTDictionary* container =
        VKTXMLDictionaryUtils::findFirstObjectOfArrayAsDictionary("TrackingEvents", node);
    const VKTArray* elements =
        container == nullptr ? nullptr : VKTXMLDictionaryUtils::findArrayForKey("Tracking", *container);
    if (elements == nullptr) return events;
    events.reserve(elements->size());
    for (const VKTValue& element : *elements) {
        if (auto event = initWithDictionary(element)) events.push_back(std::move(event));
    }
    return events;
}

std::optional<std::string> VKTVASTTrackingEvent::convertExtensionNameToVASTTrackingName(
    std::string_view name) {
    return name == viewCountName ? std::optional<std::string>(name) : std::nullopt;
}

bool VKTVASTTrackingEvent::isEventConsumableFromName(std::string_view name) {
    if (name == viewCountName) return true;
    if (const EventName* event = acceptedName(name)) return event->isConsumable;
    vkt_logUnknownTrackingEventName(name);
    return false;
}

bool VKTVASTTrackingEvent::isEqual(const VKTTrackingEvent& other) const {
    if (this == &other) return true;
    const auto* event = dynamic_cast<const VKTVASTTrackingEvent*>(&other);
    return event != nullptr && offset_ && event->offset_ && *offset_ == *event->offset_ &&
           name_ == event->name_ && url_ == event->url_;
}

std::size_t VKTVASTTrackingEvent::hash() const {
    if (!offset_) return VKTVideoTrackingEvent::hash();
    return VKTKeyedHash()(name_ + ' ' + *offset_ + ' ' + url_.absoluteString());
}

#include "VKTCoreKit/vast/VKTVASTTrackingEvent.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <utility>

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

// An event that was read, and its content: one allocation for both.
struct VKTVASTTrackingEvent::Original {
    Original(Content&& read, double eventOffset)
        : content(std::move(read)), event(Private(), content, nullptr, eventOffset) {}

    const Content content;
    VKTVASTTrackingEvent event;
};

VKTVASTTrackingEvent::VKTVASTTrackingEvent(Private, const Content& content,
                                           std::shared_ptr<const void> contentOwner, double eventOffset)
    : content_(&content), contentOwner_(std::move(contentOwner)), eventOffset_(eventOffset) {}

std::shared_ptr<VKTVASTTrackingEvent> VKTVASTTrackingEvent::eventWithContent(Content&& content,
                                                                             double eventOffset) {
    const auto original = std::make_shared<Original>(std::move(content), eventOffset);
    return {original, &original->event};
}

std::shared_ptr<VKTVASTTrackingEvent> VKTVASTTrackingEvent::initWithName(std::string name,
                                                                         std::optional<std::string> offset,
                                                                         VKTURL url, double eventOffset) {
    const bool isConsumable = isEventConsumableFromName(name);
    return eventWithContent({std::move(name), std::move(offset), std::move(url), isConsumable}, eventOffset);
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
    return eventWithContent(
        {*name, vkt_stringAttribute("_offset", *node), std::move(*url), event->isConsumable}, -1);
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
    coder.encodeString("name", name());
    coder.encodeString("offset", offset());
    coder.encodeURL("url", url());
    coder.encodeNumber("eventOffset", eventOffset_);
}

std::shared_ptr<VKTVASTTrackingEvent> VKTVASTTrackingEvent::copy() const {
    return eventWithContent(Content(*content_), eventOffset_);
}

std::shared_ptr<VKTVASTTrackingEvent> VKTVASTTrackingEvent::copySharingContent(
    const std::shared_ptr<VKTVASTTrackingEvent>& event) {
    std::shared_ptr<const void> owner = event->contentOwner_;
    if (!owner) owner = event;
    return std::make_shared<VKTVASTTrackingEvent>(Private(), *event->content_, std::move(owner),
                                                  event->eventOffset_);
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
    return event != nullptr && offset() && offset() == event->offset() && name() == event->name() &&
           url() == event->url();
}

std::size_t VKTVASTTrackingEvent::hash() const {
    if (!offset()) return VKTVideoTrackingEvent::hash();
    return VKTKeyedHash()(name() + ' ' + *offset() + ' ' + url().absoluteString());
}

// The table keeps the originals, so that an event that stands here twice still counts as shared the second
// time.
void vkt_copySharedTrackingEvents(std::vector<std::shared_ptr<VKTVASTTrackingEvent>>& events) {
    std::unordered_map<std::shared_ptr<VKTVASTTrackingEvent>, std::shared_ptr<VKTVASTTrackingEvent>> copies;
    for (auto& event : events) {
        if (event.use_count() == 1) continue;
        if (copies.empty()) copies.reserve(events.size());
        auto& copy = copies[event];
        if (!copy) copy = VKTVASTTrackingEvent::copySharingContent(event);
        event = copy;
    }
}

#include "VKTCoreKit/vast/VKTVASTTrackingEvent.h"

#include <algorithm>
#include <array>
#include <unordered_map>
#include <utility>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/foundation/VKTKeyedHash.h"
#include "VKTCoreKit/foundation/VKTText.h"

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
constexpr std::string_view progressName = "progress";

const EventName* acceptedName(std::string_view name) {
    const auto* found = std::find_if(acceptedNames.begin(), acceptedNames.end(),
                                     [&](const EventName& event) { return event.name == name; });
    return found == acceptedNames.end() ? nullptr : found;
}

// Why a name, which may be null, is not accepted.
std::string nameProblem(const std::string* name) {
    if (name == nullptr) return "it has no event attribute";
    const auto* right = std::find_if(acceptedNames.begin(), acceptedNames.end(), [&](const EventName& event) {
        return vkt_equalsIgnoringCase(event.name, *name);
    });
    return "event name " + vkt_quoted(*name) +
           (right == acceptedNames.end() ? " is not accepted"
                                         : " must be written " + vkt_quoted(right->name));
}

std::string metricNameProblem(const std::string* name) {
    if (name == nullptr) return "it has no name attribute";
    return "metric " + vkt_quoted(*name) + " is not accepted: the only one is viewcount";
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

std::shared_ptr<VKTVASTTrackingEvent> VKTVASTTrackingEvent::initWithDictionary(
    const VKTVASTElement& element) {
    const std::string* name = element.attribute("_event");
    const EventName* event = name == nullptr ? nullptr : acceptedName(*name);
    if (event == nullptr) {
        element.drop([&] { return nameProblem(name); });
        return nullptr;
    }
    auto url = element.requiredURL();
    if (!url) return nullptr;
    auto offset = element.timeAttribute("_offset");
    if (event->name == progressName && !offset)
        element.needsAttention({}, "it never fires: it has no offset");
    return eventWithContent({*name, std::move(offset), std::move(*url), event->isConsumable}, -1);
}

std::shared_ptr<VKTVASTTrackingEvent> VKTVASTTrackingEvent::initWithExtensionDictionary(
    const VKTVASTElement& element) {
    const std::string* extensionName = element.attribute("_name");
    auto name =
        extensionName == nullptr ? std::nullopt : convertExtensionNameToVASTTrackingName(*extensionName);
    if (!name) {
        element.drop([&] { return metricNameProblem(extensionName); });
        return nullptr;
    }
    auto url = element.requiredURL();
    if (!url) return nullptr;
    return initWithName(std::move(*name), element.stringAttribute("_offset"), std::move(*url));
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
    const VKTVASTElement& element) {
    std::vector<std::shared_ptr<VKTVASTTrackingEvent>> events;
    const VKTVASTElement container = element.firstChild("TrackingEvents");
    events.reserve(container.childCount("Tracking"));
    container.forEachChild("Tracking", [&](const VKTVASTElement& tracking) {
        if (auto event = initWithDictionary(tracking)) events.push_back(std::move(event));
    });
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

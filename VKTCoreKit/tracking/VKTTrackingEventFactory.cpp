#include "VKTCoreKit/tracking/VKTTrackingEventFactory.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <utility>

#include "VKTCoreKit/core/VKTTimeUtils.h"

namespace {

struct Milestone {
    std::string_view eventName;
    double percentage;
};

constexpr std::array<Milestone, 5> milestones{{
    {"start", 0},
    {"firstQuartile", 25},
    {"midpoint", 50},
    {"thirdQuartile", 75},
    {"complete", 100},
}};

double offsetByName(std::string_view eventName, double contentTotalTime) {
    const auto* found = std::find_if(milestones.begin(), milestones.end(), [&](const Milestone& milestone) {
        return milestone.eventName == eventName;
    });
    return found == milestones.end()
               ? -1
               : VKTTimeUtils::timeIntervalFromPercentage(found->percentage, contentTotalTime);
}

double offsetOf(const VKTVASTTrackingEvent& event, double contentTotalTime) {
    if (event.offset()) {
        const std::string& offset = *event.offset();
        switch (VKTTimeUtils::offsetTypeFromString(offset)) {
            case VKTOffsetTypeTime:
                return VKTTimeUtils::timeIntervalFromVASTDuration(offset);
            case VKTOffsetTypePercentage:
                return VKTTimeUtils::timeIntervalFromPercentVASTDuration(offset, contentTotalTime);
            case VKTOffsetTypeUnknown:
                break;
        }
    }
    return offsetByName(event.eventName(), contentTotalTime);
}

}  // namespace

std::shared_ptr<VKTTrackingEventDefaultFactory> VKTTrackingEventDefaultFactory::initWithEvents(
    VKTTrackingEvents events) {
    return initWithEvents(std::move(events), nullptr);
}

std::shared_ptr<VKTTrackingEventDefaultFactory> VKTTrackingEventDefaultFactory::initWithEvents(
    VKTTrackingEvents events, const Filter& withFilter) {
    return std::shared_ptr<VKTTrackingEventDefaultFactory>(
        new VKTTrackingEventDefaultFactory(filterEvents(std::move(events), withFilter)));
}

VKTTrackingEvents VKTTrackingEventDefaultFactory::filterEvents(VKTTrackingEvents events,
                                                               const Filter& withFilter) {
    std::erase(events, nullptr);
    if (withFilter) std::erase_if(events, [&](const auto& event) { return !withFilter(*event, {}); });
    return events;
}

std::shared_ptr<VKTVASTTrackingEventFactory> VKTVASTTrackingEventFactory::initWithVASTTrackingEvents(
    const VASTTrackingEvents& vastTrackingEvents, double contentTotalTime) {
    return std::shared_ptr<VKTVASTTrackingEventFactory>(new VKTVASTTrackingEventFactory(
        trackingEventsFromVASTTrackingEvents(vastTrackingEvents, contentTotalTime)));
}

VKTTrackingEvents VKTVASTTrackingEventFactory::trackingEventsFromVASTTrackingEvents(
    const VASTTrackingEvents& vastTrackingEvents, double contentTotalTime) {
    VKTTrackingEvents events;
    for (const auto& event : vastTrackingEvents) {
        if (!event) continue;
        event->setEventOffset(offsetOf(*event, contentTotalTime));
        events.push_back(event);
    }
    return events;
}

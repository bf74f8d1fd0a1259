#include "VKTCoreKit/tracking/VKTViewableImpressionEvent.h"

#include <utility>

std::shared_ptr<VKTViewableImpressionEvent> VKTViewableImpressionEvent::initWithEvent(
    std::shared_ptr<VKTVASTViewabilityEvent> event, double area, double expositionTime) {
    if (!event || event->name() != "viewable") return nullptr;
    return std::shared_ptr<VKTViewableImpressionEvent>(
        new VKTViewableImpressionEvent(std::move(event), area, expositionTime));
}

VKTViewableImpressionEvent::VKTViewableImpressionEvent(std::shared_ptr<VKTVASTViewabilityEvent> event,
                                                       double area, double expositionTime)
    : event_(std::move(event)), area_(area), expositionTime_(expositionTime) {}

#include "VKTCoreKit/vast/VKTVASTCreativeIcon.h"

std::shared_ptr<VKTVASTCreativeIcon> VKTVASTCreativeIcon::initWithDictionary(
    const VKTDictionary& dictionary, VKTErrorOutput /*error*/, const VKTVASTErrorHandler& /*errorHandler*/,
    bool /*isWrapper*/) {
    return initWithElement(dictionary);
}

std::shared_ptr<VKTVASTCreativeIcon> VKTVASTCreativeIcon::initWithElement(const VKTVASTElement& element) {
    std::shared_ptr<VKTVASTCreativeIcon> icon(new VKTVASTCreativeIcon());
    icon->program_ = element.stringAttribute("_program");
    icon->duration_ = element.timeAttribute("_duration");
    icon->offset_ = element.timeAttribute("_offset");
    icon->apiFramework_ = element.stringAttribute("_apiFramework");
    icon->width_ = element.floatAttribute("_width", 0);
    icon->height_ = element.floatAttribute("_height", 0);
    icon->xPosition_ = element.floatAttribute("_xPosition", 0);
    icon->yPosition_ = element.floatAttribute("_yPosition", 0);
    icon->findResource(element);
    const VKTVASTElement clicks = element.firstChild("IconClicks");
    icon->findClickTracking(clicks, "IconClickTracking");
    icon->findClickThrough(clicks, "IconClickThrough");
    icon->addTrackingEvents(VKTVASTTrackingEvent::findTrackingEvents(element));
    return icon;
}

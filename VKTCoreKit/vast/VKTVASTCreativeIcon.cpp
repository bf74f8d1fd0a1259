#include "VKTCoreKit/vast/VKTVASTCreativeIcon.h"

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/vast/VKTVASTNodeReading.h"

std::shared_ptr<VKTVASTCreativeIcon> VKTVASTCreativeIcon::initWithDictionary(
    const VKTDictionary& dictionary, VKTErrorOutput /*error*/, const VKTVASTErrorHandler& /*errorHandler*/,
    bool /*isWrapper*/) {
    std::shared_ptr<VKTVASTCreativeIcon> icon(new VKTVASTCreativeIcon());
    icon->program_ = vkt_stringAttribute("_program", dictionary);
    icon->duration_ = vkt_stringAttribute("_duration", dictionary);
    icon->offset_ = vkt_stringAttribute("_offset", dictionary);
    icon->apiFramework_ = vkt_stringAttribute("_apiFramework", dictionary);
    icon->width_ = vkt_floatAttribute("_width", dictionary, 0);
    icon->height_ = vkt_floatAttribute("_height", dictionary, 0);
    icon->xPosition_ = vkt_floatAttribute("_xPosition", dictionary, 0);
    icon->yPosition_ = vkt_floatAttribute("_yPosition", dictionary, 0);
    icon->findResource(dictionary);
    if (const auto* clicks =
            VKTXMLDictionaryUtils::findFirstObjectOfArrayAsDictionary("IconClicks", dictionary)) {
        icon->findClickTracking(*clicks, "IconClickTracking");
        icon->findClickThrough(*clicks, "IconClickThrough");
    }
    icon->addTrackingEvents(VKTVASTTrackingEvent::findTrackingEvents(dictionary));
    return icon;
}

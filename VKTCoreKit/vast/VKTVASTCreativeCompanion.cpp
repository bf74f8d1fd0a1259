#include "VKTCoreKit/vast/VKTVASTCreativeCompanion.h"

#include "VKTCoreKit/vast/VKTVASTNodeReading.h"

std::shared_ptr<VKTVASTCreativeCompanion> VKTVASTCreativeCompanion::initEmptyCreative() {
    return std::shared_ptr<VKTVASTCreativeCompanion>(new VKTVASTCreativeCompanion());
}

std::shared_ptr<VKTVASTCreativeCompanion> VKTVASTCreativeCompanion::initWithDictionary(
    const VKTDictionary& dictionary, VKTErrorOutput /*error*/, const VKTVASTErrorHandler& /*errorHandler*/,
    bool /*isWrapper*/) {
    auto creative = initEmptyCreative();
    creative->id_ = vkt_stringAttribute("_id", dictionary);
    creative->adSlotID_ = vkt_stringAttribute("_adSlotID", dictionary);
    creative->width_ = vkt_floatAttribute("_width", dictionary, 0);
    creative->height_ = vkt_floatAttribute("_height", dictionary, 0);
    creative->assetWidth_ = vkt_floatAttribute("_assetWidth", dictionary, 0);
    creative->assetHeight_ = vkt_floatAttribute("_assetHeight", dictionary, 0);
    creative->findResource(dictionary);
    creative->adParameters_ = vkt_childText("AdParameters", dictionary);
    creative->findClickThrough(dictionary, "CompanionClickThrough");
    creative->findClickTracking(dictionary, "CompanionClickTracking");
    creative->addTrackingEvents(VKTVASTTrackingEvent::findTrackingEvents(dictionary));
    return creative;
}

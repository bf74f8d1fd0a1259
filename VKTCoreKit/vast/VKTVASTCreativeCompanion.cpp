#include "VKTCoreKit/vast/VKTVASTCreativeCompanion.h"

std::shared_ptr<VKTVASTCreativeCompanion> VKTVASTCreativeCompanion::initEmptyCreative() {
    return std::shared_ptr<VKTVASTCreativeCompanion>(new VKTVASTCreativeCompanion());
}

std::shared_ptr<VKTVASTCreativeCompanion> VKTVASTCreativeCompanion::initWithDictionary(
    const VKTDictionary& dictionary, VKTErrorOutput error, const VKTVASTErrorHandler& errorHandler,
    bool isWrapper) {
    return initWithElement(dictionary, {error, errorHandler, isWrapper});
}

std::shared_ptr<VKTVASTCreativeCompanion> VKTVASTCreativeCompanion::initWithElement(
    const VKTVASTElement& element, const VKTVASTReadingContext& /*context*/) {
    auto creative = initEmptyCreative();
    creative->id_ = element.stringAttribute("_id");
    creative->adSlotID_ = element.stringAttribute("_adSlotID");
    creative->width_ = element.floatAttribute("_width", 0);
    creative->height_ = element.floatAttribute("_height", 0);
    creative->assetWidth_ = element.floatAttribute("_assetWidth", 0);
    creative->assetHeight_ = element.floatAttribute("_assetHeight", 0);
    creative->findResource(element);
    creative->adParameters_ = element.childText("AdParameters");
    creative->findClickThrough(element, "CompanionClickThrough");
    creative->findClickTracking(element, "CompanionClickTracking");
    creative->addTrackingEvents(VKTVASTTrackingEvent::findTrackingEvents(element));
    return creative;
}

#include "VKTCoreKit/vast/VKTVASTCreativeNonLinear.h"

std::shared_ptr<VKTVASTCreativeNonLinear> VKTVASTCreativeNonLinear::initEmptyCreative() {
    return std::shared_ptr<VKTVASTCreativeNonLinear>(new VKTVASTCreativeNonLinear());
}

std::shared_ptr<VKTVASTCreativeNonLinear> VKTVASTCreativeNonLinear::initWithDictionary(
    const VKTDictionary& dictionary, VKTErrorOutput error, const VKTVASTErrorHandler& errorHandler,
    bool isWrapper) {
    return initWithElement(dictionary, {error, errorHandler, isWrapper});
}

std::shared_ptr<VKTVASTCreativeNonLinear> VKTVASTCreativeNonLinear::initWithElement(
    const VKTVASTElement& element, const VKTVASTReadingContext& context) {
    auto creative = initEmptyCreative();
    creative->id_ = element.stringAttribute("_id");
    creative->minSuggestedDuration_ = element.timeAttribute("_minSuggestedDuration");
    creative->apiFramework_ = element.stringAttribute("_apiFramework");
    creative->scalable_ = element.boolAttribute("_scalable");
    creative->maintainAspectRatio_ = element.boolAttribute("_maintainAspectRatio");
    creative->width_ = element.floatAttribute("_width", 0);
    creative->height_ = element.floatAttribute("_height", 0);
    creative->expandedWidth_ = element.floatAttribute("_expandedWidth", 0);
    creative->expandedHeight_ = element.floatAttribute("_expandedHeight", 0);
    if (!creative->findResource(element)) {
        if (context.error != nullptr) {
            *context.error = VKTVASTError::VAST_VALIDATION_ERROR_NONLINEAR_MISSING_RESOURCE().error();
        }
        return nullptr;
    }
    creative->adParameters_ = element.childText("AdParameters");
    creative->findClickThrough(element, "NonLinearClickThrough");
    creative->findClickTracking(element, "NonLinearClickTracking");
    return creative;
}

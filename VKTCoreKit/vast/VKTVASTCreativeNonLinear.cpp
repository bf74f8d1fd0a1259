#include "VKTCoreKit/vast/VKTVASTCreativeNonLinear.h"

#include "VKTCoreKit/vast/VKTVASTNodeReading.h"

std::shared_ptr<VKTVASTCreativeNonLinear> VKTVASTCreativeNonLinear::initEmptyCreative() {
    return std::shared_ptr<VKTVASTCreativeNonLinear>(new VKTVASTCreativeNonLinear());
}

std::shared_ptr<VKTVASTCreativeNonLinear> VKTVASTCreativeNonLinear::initWithDictionary(
    const VKTDictionary& dictionary, VKTErrorOutput error, const VKTVASTErrorHandler& /*errorHandler*/,
    bool /*isWrapper*/) {
    auto creative = initEmptyCreative();
    creative->id_ = vkt_stringAttribute("_id", dictionary);
    creative->minSuggestedDuration_ = vkt_stringAttribute("_minSuggestedDuration", dictionary);
    creative->apiFramework_ = vkt_stringAttribute("_apiFramework", dictionary);
    creative->scalable_ = vkt_boolAttribute("_scalable", dictionary);
    creative->maintainAspectRatio_ = vkt_boolAttribute("_maintainAspectRatio", dictionary);
    creative->width_ = vkt_floatAttribute("_width", dictionary, 0);
    creative->height_ = vkt_floatAttribute("_height", dictionary, 0);
    creative->expandedWidth_ = vkt_floatAttribute("_expandedWidth", dictionary, 0);
    creative->expandedHeight_ = vkt_floatAttribute("_expandedHeight", dictionary, 0);
    if (!creative->findResource(dictionary)) {
        if (error != nullptr) {
            *error = VKTVASTError::VAST_VALIDATION_ERROR_NONLINEAR_MISSING_RESOURCE().error();
        }
        return nullptr;
    }
    creative->adParameters_ = vkt_childText("AdParameters", dictionary);
    creative->findClickThrough(dictionary, "NonLinearClickThrough");
    creative->findClickTracking(dictionary, "NonLinearClickTracking");
    return creative;
}

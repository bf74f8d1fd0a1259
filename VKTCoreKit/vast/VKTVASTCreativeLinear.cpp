#include "VKTCoreKit/vast/VKTVASTCreativeLinear.h"

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"
#include "VKTCoreKit/vast/VKTVASTNodeReading.h"

using Utils = VKTXMLDictionaryUtils;

namespace {

void reportMissingMediaFiles(VKTErrorOutput error, const VKTVASTErrorHandler& errorHandler) {
    if (error == nullptr) return;
    const auto missing = VKTVASTError::VAST_VALIDATION_ERROR_LINEAR_MISSING_MEDIAFILES();
    errorHandler(missing, {});
    *error = missing.error();
}

// Appends the valid media files of `elements`, which may be null.
void appendMediaFiles(VKTVASTCreativeLinear::MediaFiles& files, const VKTArray* elements, bool onlyVPAID) {
    if (elements == nullptr) return;
    for (const VKTValue& element : *elements) {
        const VKTDictionary* node = element.asDictionary();
        auto file = node == nullptr ? nullptr : VKTVASTMediaFile::initWithDictionary(*node);
        if (file && (!onlyVPAID || file->isVPAID())) files.push_back(std::move(file));
    }
}

}  // namespace

std::shared_ptr<VKTVASTCreativeLinear> VKTVASTCreativeLinear::initEmptyCreative() {
    return std::shared_ptr<VKTVASTCreativeLinear>(new VKTVASTCreativeLinear());
}

std::shared_ptr<VKTVASTCreativeLinear> VKTVASTCreativeLinear::initWithDictionary(
    const VKTDictionary& dictionary, VKTErrorOutput error, const VKTVASTErrorHandler& errorHandler,
    bool isWrapper) {
    auto creative = initEmptyCreative();
    creative->findSkipOffset(dictionary);
    creative->findDuration(dictionary, errorHandler);
    creative->findAdParameters(dictionary);
    if (!creative->findMediaFiles(dictionary, error, errorHandler, isWrapper)) return nullptr;
    creative->findTrackingEvents(dictionary);
    creative->findClicks(dictionary);
    creative->findIcons(dictionary, isWrapper);
    return creative;
}

std::shared_ptr<VKTVASTCreativeLinear> VKTVASTCreativeLinear::initWithDictionary(
    const VKTDictionary& dictionary) {
    return initWithDictionary(dictionary, nullptr, vkt_ignoreVASTErrors, false);
}

void VKTVASTCreativeLinear::findSkipOffset(const VKTDictionary& node) {
    skipOffset_ = vkt_stringAttribute("_skipoffset", node);
}

void VKTVASTCreativeLinear::findDuration(const VKTDictionary& node, const VKTVASTErrorHandler& errorHandler) {
    duration_ = vkt_childText("Duration", node);
    if (!duration_) errorHandler(VKTVASTError::VAST_VALIDATION_ERROR_LINEAR_MISSING_DURATION(), {});
}

void VKTVASTCreativeLinear::findAdParameters(const VKTDictionary& node) {
    adParameters_ = vkt_childText("AdParameters", node);
}

bool VKTVASTCreativeLinear::findMediaFiles(const VKTDictionary& node, VKTErrorOutput error,
                                           const VKTVASTErrorHandler& errorHandler, bool isWrapper) {
    const VKTDictionary* container = Utils::findFirstObjectOfArrayAsDictionary("MediaFiles", node);
    if (!isWrapper && (container == nullptr || container->empty())) {
        reportMissingMediaFiles(error, errorHandler);
        return false;
    }
    if (container != nullptr) {
        appendMediaFiles(mediaFiles_, Utils::findArrayForKey("MediaFile", *container), false);
        appendMediaFiles(mediaFiles_, Utils::findArrayForKey("InteractiveCreativeFile", *container), true);
    }
    if (!isWrapper && mediaFiles_.empty()) reportMissingMediaFiles(error, errorHandler);
    return true;
}

void VKTVASTCreativeLinear::findTrackingEvents(const VKTDictionary& node) {
    addTrackingEvents(VKTVASTTrackingEvent::findTrackingEvents(node));
}

void VKTVASTCreativeLinear::findClicks(const VKTDictionary& node) {
    const VKTDictionary* videoClicks = Utils::findFirstObjectOfArrayAsDictionary("VideoClicks", node);
    if (videoClicks == nullptr) return;
    findClickTracking(*videoClicks);
    findClickThrough(*videoClicks);
}

void VKTVASTCreativeLinear::findClickTracking(const VKTDictionary& videoClicks) {
    VKTVASTCreative::findClickTracking(videoClicks, "ClickTracking");
}

void VKTVASTCreativeLinear::findClickThrough(const VKTDictionary& videoClicks) {
    VKTVASTCreative::findClickThrough(videoClicks, "ClickThrough");
}

void VKTVASTCreativeLinear::findIcons(const VKTDictionary& node, bool isWrapper) {
    const VKTDictionary* container = Utils::findFirstObjectOfArrayAsDictionary("Icons", node);
    const VKTArray* elements = container == nullptr ? nullptr : Utils::findArrayForKey("Icon", *container);
    if (elements == nullptr) return;
    for (const VKTValue& element : *elements) {
        const VKTDictionary* iconNode = element.asDictionary();
        if (iconNode == nullptr) continue;
        auto icon =
            VKTVASTCreativeIcon::initWithDictionary(*iconNode, nullptr, vkt_ignoreVASTErrors, isWrapper);
        // An icon in a wrapper still has to be complete.
        if (icon->isValidForWrapper(false)) icons_.push_back(std::move(icon));
    }
}

std::shared_ptr<VKTVASTMediaFile> VKTVASTCreativeLinear::mostAppropriateMediaFile() const {
    return VKTVASTMediaFileSelector::initWithMinBitrate(0, VKTVASTDefaultMaximumBitrate, mediaFiles_)
        .mediaFile();
}

bool VKTVASTCreativeLinear::isValidForWrapper(bool isWrapper) const {
    return isWrapper || !mediaFiles_.empty();
}

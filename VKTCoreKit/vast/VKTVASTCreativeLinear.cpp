#include "VKTCoreKit/vast/VKTVASTCreativeLinear.h"

#include <algorithm>
#include <utility>

#include "VKTCoreKit/core/VKTTimeUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTMediaFileSelector.h"

namespace {

void reportMissingMediaFiles(VKTErrorOutput error, const VKTVASTErrorHandler& errorHandler) {
    if (error == nullptr) return;
    const auto missing = VKTVASTError::VAST_VALIDATION_ERROR_LINEAR_MISSING_MEDIAFILES();
    errorHandler(missing, {});
    *error = missing.error();
}

std::string typesSentence(const std::vector<std::string>& types) {
    if (types.size() == 1) return "its media files are " + types.front() + ", which is not playable";
    return "its media files are " + vkt_joined(types, ", ") + ", none of which is playable";
}

}  // namespace

std::shared_ptr<VKTVASTCreativeLinear> VKTVASTCreativeLinear::initEmptyCreative() {
    return std::shared_ptr<VKTVASTCreativeLinear>(new VKTVASTCreativeLinear());
}

std::shared_ptr<VKTVASTCreativeLinear> VKTVASTCreativeLinear::initWithElement(
    const VKTVASTElement& element, const VKTVASTReadingContext& context) {
    auto creative = initEmptyCreative();
    creative->findSkipOffset(element);
    creative->findDuration(element, context.errorHandler);
    creative->findAdParameters(element);
    if (!creative->findMediaFiles(element, context.error, context.errorHandler, context.isWrapper))
        return nullptr;
    creative->findTrackingEvents(element);
    creative->findClicks(element);
    creative->findIcons(element);
    return creative;
}

std::shared_ptr<VKTVASTCreativeLinear> VKTVASTCreativeLinear::initWithDictionary(
    const VKTDictionary& dictionary, VKTErrorOutput error, const VKTVASTErrorHandler& errorHandler,
    bool isWrapper) {
    return initWithElement(dictionary, {error, errorHandler, isWrapper});
}

std::shared_ptr<VKTVASTCreativeLinear> VKTVASTCreativeLinear::initWithDictionary(
    const VKTDictionary& dictionary) {
    return initWithDictionary(dictionary, nullptr, vkt_ignoreVASTErrors, false);
}

void VKTVASTCreativeLinear::findSkipOffset(const VKTVASTElement& linear) {
    skipOffset_ = linear.timeAttribute("_skipoffset");
}

void VKTVASTCreativeLinear::findDuration(const VKTVASTElement& linear,
                                         const VKTVASTErrorHandler& errorHandler) {
    const VKTVASTElement element = linear.firstChild("Duration");
    const std::string* text = element ? element.requiredText() : nullptr;
    if (text == nullptr) {
        errorHandler(VKTVASTError::VAST_VALIDATION_ERROR_LINEAR_MISSING_DURATION(), {});
        return;
    }
    duration_ = *text;
    if (element.isHeard() && VKTTimeUtils::timeIntervalFromVASTDuration(*text) < 0) {
        element.needsAttention({},
                               "it is " + vkt_quoted(*text) +
                                   ", no time code such as 00:00:30, so no progress can be tracked by it");
    }
}

void VKTVASTCreativeLinear::findAdParameters(const VKTVASTElement& linear) {
    adParameters_ = linear.childText("AdParameters");
}

bool VKTVASTCreativeLinear::findMediaFiles(const VKTVASTElement& linear, VKTErrorOutput error,
                                           const VKTVASTErrorHandler& errorHandler, bool isWrapper) {
    const VKTVASTElement container = linear.firstChild("MediaFiles");
    if (!isWrapper && !container.hasContent()) {
        reportMissingMediaFiles(error, errorHandler);
        return false;
    }
    findMediaFiles(container, "MediaFile", false);
    findMediaFiles(container, "InteractiveCreativeFile", true);
    if (!isWrapper && mediaFiles_.empty()) reportMissingMediaFiles(error, errorHandler);
    return true;
}

void VKTVASTCreativeLinear::findMediaFiles(const VKTVASTElement& container, std::string_view name,
                                           bool areInteractive) {
    container.forEachChild(name, [&](const VKTVASTElement& element) {
        auto file = VKTVASTMediaFile::initUncheckedWithDictionary(element);
        file->isInteractive = areInteractive;
        const bool isRefused = file->isRefused();
        if (isRefused) element.drop([&] { return file->refusal(); });
        if (!isRefused) {
            mediaFiles_.push_back(std::move(file));
        } else if (refusedMediaFiles_.size() < VKTVASTRefusedMediaFileLimit) {
            refusedMediaFiles_.push_back(std::move(file));
        }
    });
}

std::string VKTVASTCreativeLinear::mediaFilesProblem() const {
    if (refusedMediaFiles_.empty()) return "it has no media file";
    std::vector<std::string> types;
    for (const auto& file : refusedMediaFiles_) {
        if (!file->url || !file->type || file->isSupported())
            return "none of its media files is playable: " + file->refusal();
        const auto& type = *file->type;
        if (std::find(types.begin(), types.end(), type) == types.end()) types.push_back(type);
    }
    return typesSentence(types);
}

void VKTVASTCreativeLinear::findTrackingEvents(const VKTVASTElement& linear) {
    addTrackingEvents(VKTVASTTrackingEvent::findTrackingEvents(linear));
}

void VKTVASTCreativeLinear::findClicks(const VKTVASTElement& linear) {
    const VKTVASTElement videoClicks = linear.firstChild("VideoClicks");
    findClickTracking(videoClicks);
    findClickThrough(videoClicks);
}

void VKTVASTCreativeLinear::findClickTracking(const VKTVASTElement& videoClicks) {
    VKTVASTCreative::findClickTracking(videoClicks, "ClickTracking");
}

void VKTVASTCreativeLinear::findClickThrough(const VKTVASTElement& videoClicks) {
    VKTVASTCreative::findClickThrough(videoClicks, "ClickThrough");
}

void VKTVASTCreativeLinear::findIcons(const VKTVASTElement& linear) {
    linear.firstChild("Icons").forEachChild("Icon", [this](const VKTVASTElement& element) {
        auto icon = VKTVASTCreativeIcon::initWithElement(element);
        // An icon in a wrapper still has to be complete.
        if (icon->isValidForWrapper(false)) {
            icons_.push_back(std::move(icon));
        } else {
            element.drop(VKTVASTNoResource);
        }
    });
}

std::shared_ptr<VKTVASTMediaFile> VKTVASTCreativeLinear::mostAppropriateMediaFile() const {
    return VKTVASTMediaFileSelector::initWithMinBitrate(0, VKTVASTDefaultMaximumBitrate, mediaFiles_)
        .mediaFile();
}

bool VKTVASTCreativeLinear::isValidForWrapper(bool isWrapper) const {
    return isWrapper || !mediaFiles_.empty();
}

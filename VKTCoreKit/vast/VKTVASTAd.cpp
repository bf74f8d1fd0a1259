#include "VKTCoreKit/vast/VKTVASTAd.h"

#include <utility>

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/vast/VKTVASTNodeReading.h"

using Utils = VKTXMLDictionaryUtils;

namespace {

// The largest 32-bit signed integer: sorts after every numbered ad of a pod.
constexpr const char* lastSequence = "2147483647";

template <typename T>
void append(std::vector<T>& list, const std::vector<T>& more, VKTVASTMergedElement element,
            VKTVASTMergeTally& tally) {
    const auto count = static_cast<std::ptrdiff_t>(tally.takeUpTo(more.size(), element));
    list.insert(list.end(), more.begin(), more.begin() + count);
}

template <typename Creative>
void mergeCreatives(std::vector<std::shared_ptr<Creative>>& creatives,
                    const std::vector<std::shared_ptr<Creative>>& wrapperCreatives,
                    VKTVASTMergeTally& tally) {
    if (creatives.empty()) {
        creatives.push_back(Creative::initEmptyCreative());
        creatives.back()->setIsHolder();
    }
    for (const auto& creative : creatives) {
        for (const auto& wrapperCreative : wrapperCreatives)
            creative->addTrackingOf(*wrapperCreative, tally);
    }
}

template <typename Creative>
void copySharedTrackingEvents(const std::vector<std::shared_ptr<Creative>>& creatives) {
    for (const auto& creative : creatives)
        creative->copySharedTrackingEvents();
}

template <typename Creative>
void keepIfValid(std::vector<std::shared_ptr<Creative>>& creatives, std::shared_ptr<Creative> creative,
                 bool isWrapper) {
    if (creative && creative->isValidForWrapper(isWrapper) && creatives.size() < VKTVASTCreativeLimit) {
        creatives.push_back(std::move(creative));
    }
}

std::vector<VKTVASTUniversalAdId> universalAdIdsOf(const VKTDictionary& creative) {
    std::vector<VKTVASTUniversalAdId> ids;
    const VKTArray* elements = Utils::findArrayForKey("UniversalAdId", creative);
    if (elements == nullptr) return ids;
    for (const VKTValue& element : *elements) {
        if (auto id = VKTVASTUniversalAdId::initWithDictionary(element)) ids.push_back(std::move(*id));
    }
    return ids;
}

// The "InLine" or "Wrapper" node of an ad; `missing` is reported when it cannot be found.
const VKTDictionary* contentNode(const VKTDictionary& ad, const char* key, VKTVASTError (*missing)(),
                                 VKTErrorOutput error, const VKTVASTErrorHandler& errorHandler) {
    const VKTDictionary* content = Utils::findFirstObjectOfArrayAsDictionary(key, ad);
    if (content == nullptr) {
        if (error != nullptr) *error = missing().error();
        errorHandler(missing(), {});
    }
    return content;
}

}  // namespace

std::shared_ptr<VKTVASTAd> VKTVASTAd::initWithDictionary(const VKTDictionary& dictionary,
                                                         VKTErrorOutput /*error*/,
                                                         const VKTVASTErrorHandler& /*errorHandler*/) {
    std::shared_ptr<VKTVASTAd> ad(new VKTVASTAd());
    ad->readAttributes(dictionary);
    return ad;
}

void VKTVASTAd::readAttributes(const VKTDictionary& ad) {
    adID_ = vkt_stringAttribute("_id", ad);
    adSequence_ = vkt_stringAttribute("_sequence", ad);
    if (hasSequence() && vkt_integerValue(*adSequence_) == 0) adSequence_ = lastSequence;
}

void VKTVASTAd::read(const VKTDictionary& ad, const VKTDictionary& content, VKTErrorOutput error,
                     const VKTVASTErrorHandler& errorHandler, VKTVASTMergeBudget* sharedEventBudget) {
    VKTVASTMergeBudget ownBudget(VKTVASTDocumentSharedEventLimit);
    VKTVASTMergeTally tally(sharedEventBudget == nullptr ? ownBudget : *sharedEventBudget);
    readAttributes(ad);
    findAdSystem(content, errorHandler);
    findAdTitle(content, errorHandler);
    vkt_appendVASTURLs(impressions_, Utils::findArrayForKey("Impression", content));
    vkt_appendVASTURLs(errorPixels_, Utils::findArrayForKey("Error", content));
    findViewabilityEvents(content);
    findCreatives(content, error, errorHandler, tally);
    tally.logRefusals("when ad %@ was read", {adID_});
    findExtensions(content);
    readOwnContent(content);
    findAdVerifications(content);
}

void VKTVASTAd::findAdSystem(const VKTDictionary& content, const VKTVASTErrorHandler& errorHandler) {
    adSystem_ = vkt_childText("AdSystem", content);
    if (!adSystem_ || adSystem_->empty()) {
        errorHandler(VKTVASTError::VAST_VALIDATION_ERROR_MISSING_ADSYSTEM(), {});
    }
}

// A wrapper need not have a title; its absence is reported all the same.
void VKTVASTAd::findAdTitle(const VKTDictionary& content, const VKTVASTErrorHandler& errorHandler) {
    adTitle_ = vkt_childText("AdTitle", content);
    if (!adTitle_ || adTitle_->empty()) {
        errorHandler(VKTVASTError::VAST_VALIDATION_ERROR_MISSING_ADTITLE(), {});
    }
}

void VKTVASTAd::findViewabilityEvents(const VKTDictionary& content) {
    const VKTDictionary* container = Utils::findFirstObjectOfArrayAsDictionary("ViewableImpression", content);
    if (container == nullptr) return;
    using Maker = std::shared_ptr<VKTVASTViewabilityEvent> (*)(VKTURL);
    const auto appendEvents = [&](const char* key, Maker makeEvent) {
        const VKTArray* elements = Utils::findArrayForKey(key, *container);
        if (elements == nullptr) return;
        for (const VKTValue& element : *elements) {
            const VKTDictionary* node = element.asDictionary();
            const std::string* text = node == nullptr ? nullptr : Utils::findNodeText(*node);
            if (text == nullptr) continue;
            if (auto url = VKTURL::URLWithDocumentText(*text)) {
                viewabilityEvents_.push_back(makeEvent(std::move(*url)));
            }
        }
    };
    appendEvents("Viewable", VKTVASTViewabilityEvent::viewableEventWithURL);
    appendEvents("NotViewable", VKTVASTViewabilityEvent::notViewableEventWithURL);
    appendEvents("ViewUndetermined", VKTVASTViewabilityEvent::viewUndeterminedEventWithURL);
}

void VKTVASTAd::findCreatives(const VKTDictionary& content, VKTErrorOutput error,
                              const VKTVASTErrorHandler& errorHandler, VKTVASTMergeTally& tally) {
    const VKTDictionary* container = Utils::findFirstObjectOfArrayAsDictionary("Creatives", content);
    if (container == nullptr) {
        if (isWrapper()) return;
        const auto missing = VKTVASTError::VAST_VALIDATION_ERROR_MISSING_CREATIVES();
        if (error != nullptr) *error = missing.error();
        errorHandler(missing, errorPixels_);
        hasTriggeredAParsingError_ = true;
        return;
    }
    const VKTArray* elements = Utils::findArrayForKey("Creative", *container);
    if (elements == nullptr) return;

    // A linear creative's problems are held back: only the last one is reported, and only if it mattered.
    std::optional<VKTVASTError> lastCreativeError;
    const VKTVASTErrorHandler holdBack = [&](const VKTVASTError& creativeError, const auto&) {
        lastCreativeError = creativeError;
    };
    for (const VKTValue& element : *elements) {
        if (const VKTDictionary* creative = element.asDictionary()) {
            findCreative(*creative, error, errorHandler, holdBack, tally);
        }
    }

    if (isInline() && linearCreatives_.empty() && nonLinearCreatives_.empty()) {
        if (error != nullptr) {
            const VKTVASTError reported =
                lastCreativeError.value_or(VKTVASTError::VAST_VALIDATION_ERROR_MISSING_CREATIVES());
            *error = reported.error();
            errorHandler(reported, errorPixels_);
        }
        hasTriggeredAParsingError_ = true;
    } else if (nonLinearCreatives_.empty() && lastCreativeError && lastCreativeError->VASTCode() == -1) {
        errorHandler(*lastCreativeError, {});
    }
}

void VKTVASTAd::findCreative(const VKTDictionary& creative, VKTErrorOutput error,
                             const VKTVASTErrorHandler& errorHandler,
                             const VKTVASTErrorHandler& linearErrorHandler, VKTVASTMergeTally& tally) {
    if (const auto* node = Utils::findFirstObjectOfArrayAsDictionary("Linear", creative)) {
        auto linear =
            VKTVASTCreativeLinear::initWithDictionary(*node, error, linearErrorHandler, isWrapper());
        if (linear) linear->addUniversalAdIds(universalAdIdsOf(creative));
        keepIfValid(linearCreatives_, std::move(linear), isWrapper());
    }
    // Of companions and non-linears only the first of each creative is read.
    if (const auto* container = Utils::findFirstObjectOfArrayAsDictionary("CompanionAds", creative)) {
        if (const auto* node = Utils::findFirstObjectOfArrayAsDictionary("Companion", *container)) {
            keepIfValid(companionCreatives_,
                        VKTVASTCreativeCompanion::initWithDictionary(*node, error, errorHandler, isWrapper()),
                        isWrapper());
        }
    }
    if (const auto* container = Utils::findFirstObjectOfArrayAsDictionary("NonLinearAds", creative)) {
        if (const auto* node = Utils::findFirstObjectOfArrayAsDictionary("NonLinear", *container)) {
            keepIfValid(nonLinearCreatives_,
                        VKTVASTCreativeNonLinear::initWithDictionary(*node, error, errorHandler, isWrapper()),
                        isWrapper());
        }
        shareNonLinearEvents(*container, tally);
    }
}

// The events of a "NonLinearAds" element belong to every non-linear creative so far. The last one has them
// for nothing, since the document holds them once.
void VKTVASTAd::shareNonLinearEvents(const VKTDictionary& container, VKTVASTMergeTally& tally) {
    if (nonLinearCreatives_.empty()) return;
    const auto events = VKTVASTTrackingEvent::findTrackingEvents(container);
    nonLinearCreatives_.back()->addSharedTrackingEvents(events);
    for (std::size_t i = 0; i + 1 < nonLinearCreatives_.size(); ++i)
        nonLinearCreatives_[i]->addSharedTrackingEvents(events, tally);
}

void VKTVASTAd::findExtensions(const VKTDictionary& content) {
    const VKTDictionary* node = Utils::findFirstObjectOfArrayAsDictionary("Extensions", content);
    if (node == nullptr) return;
    extensions_ = VKTVASTAdExtension::initWithDictionary(*node);
    if (!extensions_) return;
    for (const auto& metric : extensions_->metrics) {
        if (metric->eventName() == "viewcount") {
            viewabilityEvents_.push_back(VKTVASTViewabilityEvent::viewableEventWithURL(metric->eventURL()));
        }
    }
}

// The element of VAST 4.1 wins; before it, verifications stood in an extension of type "AdVerifications".
void VKTVASTAd::findAdVerifications(const VKTDictionary& content) {
    const auto* container = Utils::findFirstObjectOfArrayAsDictionary("AdVerifications", content);
    const VKTArray* verifications =
        container == nullptr ? nullptr : Utils::findArrayForKey("Verification", *container);
    if (verifications != nullptr && !verifications->empty()) {
        appendVerifications(*container);
        return;
    }
    const auto* extensions = Utils::findFirstObjectOfArrayAsDictionary("Extensions", content);
    const VKTArray* elements =
        extensions == nullptr ? nullptr : Utils::findArrayForKey("Extension", *extensions);
    if (elements == nullptr) return;
    for (const VKTValue& element : *elements) {
        const VKTDictionary* extension = element.asDictionary();
        const std::string* type = extension == nullptr ? nullptr : Utils::findAttribute("_type", *extension);
        if (type == nullptr || *type != "AdVerifications") continue;
        if (const auto* legacy = Utils::findFirstObjectOfArrayAsDictionary("AdVerifications", *extension)) {
            appendVerifications(*legacy);
        }
    }
}

void VKTVASTAd::appendVerifications(const VKTDictionary& container) {
    const VKTArray* elements = Utils::findArrayForKey("Verification", container);
    if (elements == nullptr) return;
    for (const VKTValue& element : *elements) {
        if (auto verification = VKTVASTAdVerification::initWithDictionary(element)) {
            adVerifications_.push_back(std::move(*verification));
        }
    }
}

void VKTVASTAd::merge(const VKTVASTAd& wrapper) {
    VKTVASTMergeBudget budget;
    merge(wrapper, budget);
}

void VKTVASTAd::merge(const VKTVASTAd& wrapper, VKTVASTMergeBudget& budget) {
    VKTVASTMergeTally tally(budget);
    wrapperDepth_ = wrapper.wrapperDepth_ + 1;
    append(errorPixels_, wrapper.errorPixels_, VKTVASTMergedElement::ErrorPixel, tally);
    append(impressions_, wrapper.impressions_, VKTVASTMergedElement::Impression, tally);
    append(viewabilityEvents_, wrapper.viewabilityEvents_, VKTVASTMergedElement::ViewabilityEvent, tally);
    mergeCreatives(linearCreatives_, wrapper.linearCreatives_, tally);
    mergeCreatives(companionCreatives_, wrapper.companionCreatives_, tally);
    mergeCreatives(nonLinearCreatives_, wrapper.nonLinearCreatives_, tally);
    mergeExtension(wrapper, tally);
    for (const VKTVASTAdVerification& verification : wrapper.adVerifications_) {
        if (tally.takeOne(verification.mergeCost(), VKTVASTMergedElement::Verification)) {
            adVerifications_.push_back(verification);
        }
    }
    tally.logRefusals("when wrapper %@ was merged into ad %@", {wrapper.adID_, adID_});
    wrapper.tellDropped(tally, "when it was merged into what it leads to");
}

// Of this ad's own extension only the metrics survive a wrapper's extension that has some.
void VKTVASTAd::mergeExtension(const VKTVASTAd& wrapper, VKTVASTMergeTally& tally) {
    if (!wrapper.extensions_ || wrapper.extensions_->metrics.empty()) return;
    if (extensions_ && extensions_ != wrapper.extensions_) {
        append(wrapper.extensions_->metrics, extensions_->metrics, VKTVASTMergedElement::Metric, tally);
        if (readingListener_) {
            readingListener_->dropped(
                pathInDocument() + "/Extensions",
                "those of the wrapper that led here have metrics and take its place: only "
                "its own metrics are kept");
        }
    }
    extensions_ = wrapper.extensions_;
}

void VKTVASTAd::prepareForDelivery(VKTVASTMergeBudget& budget) {
    VKTVASTMergeTally tally(budget);
    copySharedTrackingEvents(linearCreatives_);
    copySharedTrackingEvents(companionCreatives_);
    copySharedTrackingEvents(nonLinearCreatives_);
    copySharedExtension(tally);
    tally.logRefusals("when ad %@ was handed over", {adID_});
    tellDropped(tally, "when it was handed over");
    readingListener_ = nullptr;
}

std::string VKTVASTAd::pathInDocument() const {
    const std::string position = numberInDocument_ == 0 ? "" : "[" + std::to_string(numberInDocument_) + "]";
    return "/VAST/Ad" + position + (isWrapper() ? "/Wrapper" : "/InLine");
}

void VKTVASTAd::tellDropped(const VKTVASTMergeTally& tally, const char* when) const {
    if (!readingListener_) return;
    const std::string dropped = tally.dropped();
    if (dropped.empty()) return;
    readingListener_->dropped(pathInDocument(), "it lost " + dropped + " " + when +
                                                    ", since what merging may add to ads is limited");
}

void VKTVASTAd::copySharedExtension(VKTVASTMergeTally& tally) {
    if (extensions_ && extensions_.use_count() > 1) {
        if (!tally.takeOne(extensions_->mergeCost(), VKTVASTMergedElement::Extension)) {
            extensions_ = nullptr;
            return;
        }
        const std::size_t metricCount =
            tally.takeUpTo(extensions_->metrics.size(), VKTVASTMergedElement::Metric);
        extensions_ = std::make_shared<VKTVASTAdExtension>(*extensions_);
        extensions_->metrics.resize(metricCount);
    }
    if (extensions_) vkt_copySharedTrackingEvents(extensions_->metrics);
}

std::shared_ptr<VKTVASTAdInline> VKTVASTAdInline::initWithDictionary(const VKTDictionary& dictionary,
                                                                     VKTErrorOutput error,
                                                                     const VKTVASTErrorHandler& errorHandler,
                                                                     VKTVASTMergeBudget* sharedEventBudget) {
    const VKTDictionary* content =
        contentNode(dictionary, "InLine", VKTVASTError::XML_PARSING_ERROR, error, errorHandler);
    if (content == nullptr) return nullptr;
    std::shared_ptr<VKTVASTAdInline> ad(new VKTVASTAdInline());
    ad->read(dictionary, *content, error, errorHandler, sharedEventBudget);
    return ad;
}

bool VKTVASTAdInline::isValid() const {
    return VKTVASTAd::isValid() &&
           !(linearCreatives().empty() && nonLinearCreatives().empty() && companionCreatives().empty());
}

std::shared_ptr<VKTVASTAdWrapper> VKTVASTAdWrapper::initWithDictionary(
    const VKTDictionary& dictionary, VKTErrorOutput error, const VKTVASTErrorHandler& errorHandler,
    VKTVASTMergeBudget* sharedEventBudget) {
    const VKTDictionary* content =
        contentNode(dictionary, "Wrapper", VKTVASTError::XML_PARSING_ERROR_WRAPPER, error, errorHandler);
    if (content == nullptr) return nullptr;
    std::shared_ptr<VKTVASTAdWrapper> ad(new VKTVASTAdWrapper());
    ad->read(dictionary, *content, error, errorHandler, sharedEventBudget);
    return ad;
}

std::optional<VKTURL> VKTVASTAdWrapper::nextActionURL() const {
    return adTagURL_ ? std::optional<VKTURL>(adTagURL_->url()) : std::nullopt;
}

void VKTVASTAdWrapper::readOwnContent(const VKTDictionary& content) {
    const std::string* text = Utils::findFirstObjectOfArrayAsString("VASTAdTagURI", content);
    if (text != nullptr) adTagURL_ = VKTVASTURL::initWithString(*text);
}

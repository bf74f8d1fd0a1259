#include "VKTCoreKit/vast/VKTVASTAd.h"

#include <utility>

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "VKTCoreKit/foundation/VKTText.h"

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

std::string beyondCreativeLimit() {
    return "beyond the limit of " + std::to_string(VKTVASTCreativeLimit) + " creatives of its kind";
}

// Keeps what an element within a "Creative" gave, which may be null, or drops it.
template <typename Creative>
void keepIfValid(std::vector<std::shared_ptr<Creative>>& creatives, std::shared_ptr<Creative> creative,
                 const VKTVASTElement& element, const VKTVASTElement& around, bool isWrapper) {
    if (!creative || !creative->isValidForWrapper(isWrapper)) {
        element.drop(VKTVASTNoResource);
    } else if (creatives.size() >= VKTVASTCreativeLimit) {
        element.drop(beyondCreativeLimit);
    } else {
        creative->findIds(around);
        creatives.push_back(std::move(creative));
    }
}

std::string lossOf(const std::string& dropped, const char* when) {
    return "it lost " + dropped + " " + when + ", since what may be added to ads is limited";
}

// That content of an ad was asked for and is missing.
void reportMissing(const VKTVASTError& missing, const VKTVASTReadingContext& context,
                   const std::vector<VKTVASTURL>& errorPixels) {
    if (context.error != nullptr) *context.error = missing.error();
    context.errorHandler(missing, errorPixels);
}

bool hasVerificationExtension(const VKTVASTElement& content) {
    const VKTVASTElement silent = content.unheard();
    bool isFound = false;
    silent.firstChild("Extensions").forEachChild("Extension", [&](const VKTVASTElement& extension) {
        isFound = isFound || VKTVASTAdExtension::holdsAdVerifications(extension);
    });
    return isFound;
}

// Whether the verification has a script that can run, and that is of the other's vendor.
bool runsForVendorOf(const VKTVASTAdVerification& own, const VKTVASTAdExtensionAdVerification& other) {
    const bool areNamed = !own.vendor.value_or("").empty() && !other.vendor.value_or("").empty();
    return std::any_of(own.resources.begin(), own.resources.end(), [&](const auto& resource) {
        if (!resource.url) return false;
        return areNamed ? own.vendor == other.vendor : resource.url == other.javascriptResourceURL;
    });
}

// Attributes of VAST 4 that ask for what is not done.
void tellIgnoredAttributes(const VKTVASTElement& ad, const VKTVASTElement& wrapper) {
    const std::string* adType = ad.attribute("_adType");
    if (adType != nullptr && !vkt_equalsIgnoringCase(*adType, "video")) {
        ad.needsAttention("_adType",
                          "it is " + vkt_quoted(*adType) + ", but the ad is handled as a video ad");
    }
    if (ad.boolAttribute("_conditionalAd")) {
        ad.needsAttention("_conditionalAd", "it is not followed: the ad is played without a condition");
    }
    if (wrapper.attribute("_followAdditionalWrappers") &&
        !wrapper.boolAttribute("_followAdditionalWrappers")) {
        wrapper.needsAttention("_followAdditionalWrappers",
                               "it is not followed: wrappers behind this one are resolved all the same");
    }
    if (wrapper.attribute("_allowMultipleAds")) {
        wrapper.needsAttention("_allowMultipleAds",
                               "it is not followed: the manager's handleWrappersAdpods decides instead");
    }
    if (wrapper.attribute("_fallbackOnNoAd")) {
        wrapper.needsAttention("_fallbackOnNoAd",
                               "it is not followed: a passback is looked for whenever an ad fails");
    }
}

}  // namespace

std::shared_ptr<VKTVASTAd> VKTVASTAd::initWithDictionary(const VKTDictionary& dictionary,
                                                         VKTErrorOutput /*error*/,
                                                         const VKTVASTErrorHandler& /*errorHandler*/) {
    std::shared_ptr<VKTVASTAd> ad(new VKTVASTAd());
    ad->readAttributes(dictionary);
    return ad;
}

void VKTVASTAd::readAttributes(const VKTVASTElement& ad) {
    adID_ = ad.stringAttribute("_id");
    adSequence_ = ad.stringAttribute("_sequence");
    if (!hasSequence() || vkt_integerValue(*adSequence_) != 0) return;
    if (!VKTXMLDictionaryUtils::stringToNSNumber(*adSequence_)) {
        ad.needsAttention("_sequence", [this] {
            return "it is " + vkt_quoted(*adSequence_) +
                   ", no whole number, so the ad is the last of its pod";
        });
    }
    adSequence_ = lastSequence;
}

void VKTVASTAd::read(const VKTVASTElement& ad, const VKTVASTElement& content,
                     const VKTVASTReadingContext& context, VKTVASTMergeBudget* sharedEventBudget) {
    VKTVASTMergeBudget ownBudget(VKTVASTDocumentSharedEventLimit);
    VKTVASTMergeTally tally(sharedEventBudget == nullptr ? ownBudget : *sharedEventBudget);
    readAttributes(ad);
    findAdSystem(content, context.errorHandler);
    findAdTitle(content, context.errorHandler);
    content.appendVASTURLs("Impression", impressions_);
    content.appendVASTURLs("Error", errorPixels_);
    findViewabilityEvents(content);
    findCreatives(content, context, tally);
    tally.logRefusals("when ad %@ was read", {adID_});
    if (const auto dropped = content.isHeard() ? tally.dropped() : ""; !dropped.empty())
        content.needsAttention({}, lossOf(dropped, "when its overlays shared them"));
    findVerificationsAndExtensions(content);
    readOwnContent(content);
}

void VKTVASTAd::findAdSystem(const VKTVASTElement& content, const VKTVASTErrorHandler& errorHandler) {
    adSystem_ = content.childText("AdSystem");
    if (!adSystem_ || adSystem_->empty()) {
        errorHandler(VKTVASTError::VAST_VALIDATION_ERROR_MISSING_ADSYSTEM(), {});
    }
}

// A wrapper need not have a title; its absence is reported all the same.
void VKTVASTAd::findAdTitle(const VKTVASTElement& content, const VKTVASTErrorHandler& errorHandler) {
    adTitle_ = content.childText("AdTitle");
    if (!adTitle_ || adTitle_->empty()) {
        errorHandler(VKTVASTError::VAST_VALIDATION_ERROR_MISSING_ADTITLE(), {});
    }
}

void VKTVASTAd::findViewabilityEvents(const VKTVASTElement& content) {
    const VKTVASTElement container = content.firstChild("ViewableImpression");
    using Maker = std::shared_ptr<VKTVASTViewabilityEvent> (*)(VKTURL);
    const auto appendEvents = [&](const char* name, Maker makeEvent) {
        container.forEachChild(name, [&](const VKTVASTElement& element) {
            if (auto url = element.requiredURL()) viewabilityEvents_.push_back(makeEvent(std::move(*url)));
        });
    };
    appendEvents("Viewable", VKTVASTViewabilityEvent::viewableEventWithURL);
    appendEvents("NotViewable", VKTVASTViewabilityEvent::notViewableEventWithURL);
    appendEvents("ViewUndetermined", VKTVASTViewabilityEvent::viewUndeterminedEventWithURL);
}

void VKTVASTAd::findCreatives(const VKTVASTElement& content, const VKTVASTReadingContext& context,
                              VKTVASTMergeTally& tally) {
    const VKTVASTElement container = content.firstChild("Creatives");
    hasCreatives_ = static_cast<bool>(container);
    if (!container) {
        if (isWrapper()) return;
        reportMissing(VKTVASTError::VAST_VALIDATION_ERROR_MISSING_CREATIVES(), context, errorPixels_);
        hasTriggeredAParsingError_ = true;
        return;
    }
    if (!container.hasChildren("Creative")) return;

    // A linear creative's problems are held back: only the last one is reported, and only if it mattered.
    std::optional<VKTVASTError> lastCreativeError;
    const VKTVASTErrorHandler holdBack = [&](const VKTVASTError& creativeError, const auto&) {
        lastCreativeError = creativeError;
    };
    const VKTVASTReadingContext linearContext{context.error, holdBack, isWrapper()};
    container.forEachChild("Creative", [&](const VKTVASTElement& creative) {
        findCreative(creative, context, linearContext, tally);
    });

    if (isInline() && linearCreatives_.empty() && nonLinearCreatives_.empty()) {
        if (context.error != nullptr) {
            reportMissing(lastCreativeError.value_or(VKTVASTError::VAST_VALIDATION_ERROR_MISSING_CREATIVES()),
                          context, errorPixels_);
        }
        hasTriggeredAParsingError_ = true;
    } else if (nonLinearCreatives_.empty() && lastCreativeError && lastCreativeError->VASTCode() == -1) {
        context.errorHandler(*lastCreativeError, {});
    }
}

void VKTVASTAd::findCreative(const VKTVASTElement& creative, const VKTVASTReadingContext& context,
                             const VKTVASTReadingContext& linearContext, VKTVASTMergeTally& tally) {
    findLinear(creative, linearContext);
    // Of companions and non-linears only the first of each creative is read.
    const VKTVASTElement companions = creative.firstChild("CompanionAds");
    if (const VKTVASTElement element = companions.firstChild("Companion")) {
        keepIfValid(companionCreatives_, VKTVASTCreativeCompanion::initWithElement(element, context), element,
                    creative, isWrapper());
    }
    const VKTVASTElement nonLinears = creative.firstChild("NonLinearAds");
    if (const VKTVASTElement element = nonLinears.firstChild("NonLinear")) {
        keepIfValid(nonLinearCreatives_, VKTVASTCreativeNonLinear::initWithElement(element, context), element,
                    creative, isWrapper());
    }
    if (nonLinears) shareNonLinearEvents(nonLinears, tally);
}

// The linear creative, and the identifiers that stand beside it.
void VKTVASTAd::findLinear(const VKTVASTElement& creative, const VKTVASTReadingContext& context) {
    const VKTVASTElement element = creative.firstChild("Linear");
    auto linear = element ? VKTVASTCreativeLinear::initWithElement(element, context) : nullptr;
    if (linear) linear->findIds(creative);
    const bool isValid = linear && linear->isValidForWrapper(isWrapper());
    if (isValid && linearCreatives_.size() < VKTVASTCreativeLimit) {
        linear->addUniversalAdIdsOf(creative);
        linearCreatives_.push_back(std::move(linear));
        return;
    }
    if (isValid) {
        element.drop(beyondCreativeLimit);
    } else {
        element.drop("it has no playable media file");
        if (linear && refusedLinearCreatives_.size() < VKTVASTCreativeLimit)
            refusedLinearCreatives_.push_back(std::move(linear));
    }
    creative.dropChildren("UniversalAdId", "only a linear creative keeps universal ad ids");
}

// The events of a "NonLinearAds" element belong to every non-linear creative so far. The last one has them
// for nothing, since the document holds them once.
void VKTVASTAd::shareNonLinearEvents(const VKTVASTElement& container, VKTVASTMergeTally& tally) {
    if (nonLinearCreatives_.empty()) {
        container.dropChildren("TrackingEvents", "the ad has no non-linear creative to carry it");
        return;
    }
    const auto events = VKTVASTTrackingEvent::findTrackingEvents(container);
    nonLinearCreatives_.back()->addSharedTrackingEvents(events);
    for (std::size_t i = 0; i + 1 < nonLinearCreatives_.size(); ++i)
        nonLinearCreatives_[i]->addSharedTrackingEvents(events, tally);
}

// The element of VAST 4.1 wins; before it, verifications stood in an extension.
void VKTVASTAd::findVerificationsAndExtensions(const VKTVASTElement& content) {
    const VKTVASTElement container = content.firstChild("AdVerifications");
    const std::size_t ownCount = container.childCount("Verification");
    const bool isOnlyOne = ownCount == 1 && content.isHeard() && hasVerificationExtension(content);
    container.forEachChild("Verification", [&](const VKTVASTElement& element) {
        if (isOnlyOne) element.hides("the verifications of extensions");
        if (auto verification = VKTVASTAdVerification::initWithDictionary(element)) {
            adVerifications_.push_back(std::move(*verification));
        }
    });
    const VKTVASTElement extensions = content.firstChild("Extensions");
    extensions_ =
        VKTVASTAdExtension::initWithDictionary(extensions, ownCount > 0 ? nullptr : &adVerifications_);
    if (!extensions_) return;
    for (const auto& metric : extensions_->metrics) {
        if (metric->eventName() == "viewcount") {
            viewabilityEvents_.push_back(VKTVASTViewabilityEvent::viewableEventWithURL(metric->eventURL()));
        }
    }
    findExtensionVerifications();
}

void VKTVASTAd::findExtensionVerifications() {
    for (const auto& legacy : extensions_->adVerifications) {
        const bool isThere =
            std::any_of(adVerifications_.begin(), adVerifications_.end(),
                        [&](const VKTVASTAdVerification& own) { return runsForVendorOf(own, legacy); });
        if (isThere) continue;
        extensionVerifications_.push_back(VKTVASTAdVerification::initWithOMIDJavascriptResourceURL(
            legacy.javascriptResourceURL, legacy.vendor, legacy.verificationParameters));
    }
}

std::vector<VKTVASTAdVerification> VKTVASTAd::allAdVerifications() const {
    auto all = adVerifications_;
    all.insert(all.end(), extensionVerifications_.begin(), extensionVerifications_.end());
    return all;
}

std::string VKTVASTAd::invalidReason() const {
    if (isValid()) return "";
    if (!hasCreatives_) return "it has no Creatives";
    if (!refusedLinearCreatives_.empty()) return refusedLinearCreatives_.back()->mediaFilesProblem();
    return companionCreatives_.empty() ? "it has no creative that can be shown"
                                       : "it has companions, but nothing that they accompany";
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
    mergeVerifications(wrapper, tally);
    tally.logRefusals("when wrapper %@ was merged into ad %@", {wrapper.adID_, adID_});
    wrapper.tellDropped(tally, "when it was merged into what it leads to");
}

void VKTVASTAd::mergeVerifications(const VKTVASTAd& wrapper, VKTVASTMergeTally& tally) {
    const auto append = [&](auto& target, const auto& verifications) {
        for (const VKTVASTAdVerification& verification : verifications) {
            if (tally.takeOne(verification.mergeCost(), VKTVASTMergedElement::Verification))
                target.push_back(verification);
        }
    };
    append(adVerifications_, wrapper.adVerifications_);
    append(extensionVerifications_, wrapper.extensionVerifications_);
}

// Of this ad's own extension only the metrics survive a wrapper's extension that has some.
void VKTVASTAd::mergeExtension(const VKTVASTAd& wrapper, VKTVASTMergeTally& tally) {
    if (!wrapper.extensions_ || wrapper.extensions_->metrics.empty()) return;
    if (extensions_ && extensions_ != wrapper.extensions_) {
        append(wrapper.extensions_->metrics, extensions_->metrics, VKTVASTMergedElement::Metric, tally);
        if (readingListener_) {
            readingListener_->dropped(
                pathInDocument_ + "/Extensions",
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

void VKTVASTAd::tellDropped(const VKTVASTMergeTally& tally, const char* when) const {
    const std::string dropped = readingListener_ ? tally.dropped() : "";
    if (!dropped.empty()) readingListener_->dropped(pathInDocument_, lossOf(dropped, when));
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
    return initWithElement(dictionary, {error, errorHandler}, sharedEventBudget);
}

std::shared_ptr<VKTVASTAdInline> VKTVASTAdInline::initWithElement(const VKTVASTElement& ad,
                                                                  const VKTVASTReadingContext& context,
                                                                  VKTVASTMergeBudget* sharedEventBudget) {
    if (ad.keptChildCount("InLine") == 0) ad.drop("its InLine is empty");  // and nothing in it is told apart
    const VKTVASTElement content = ad.firstChild("InLine");
    ad.dropChildren("Wrapper", "the InLine beside it is read instead");
    if (!content) {
        reportMissing(VKTVASTError::XML_PARSING_ERROR(), context, {});
        return nullptr;
    }
    std::shared_ptr<VKTVASTAdInline> inlineAd(new VKTVASTAdInline());
    if (ad.isHeard()) tellIgnoredAttributes(ad, content);
    inlineAd->read(ad, content, context, sharedEventBudget);
    return inlineAd;
}

bool VKTVASTAdInline::isValid() const {
    return VKTVASTAd::isValid() &&
           !(linearCreatives().empty() && nonLinearCreatives().empty() && companionCreatives().empty());
}

std::shared_ptr<VKTVASTAdWrapper> VKTVASTAdWrapper::initWithDictionary(
    const VKTDictionary& dictionary, VKTErrorOutput error, const VKTVASTErrorHandler& errorHandler,
    VKTVASTMergeBudget* sharedEventBudget) {
    return initWithElement(dictionary, {error, errorHandler, true}, sharedEventBudget);
}

std::shared_ptr<VKTVASTAdWrapper> VKTVASTAdWrapper::initWithElement(const VKTVASTElement& ad,
                                                                    const VKTVASTReadingContext& context,
                                                                    VKTVASTMergeBudget* sharedEventBudget) {
    if (ad.keptChildCount("Wrapper") == 0) ad.drop("its Wrapper is empty");
    const VKTVASTElement content = ad.firstChild("Wrapper");
    if (!content) {
        reportMissing(VKTVASTError::XML_PARSING_ERROR_WRAPPER(), context, {});
        return nullptr;
    }
    std::shared_ptr<VKTVASTAdWrapper> wrapper(new VKTVASTAdWrapper());
    if (ad.isHeard()) tellIgnoredAttributes(ad, content);
    wrapper->read(ad, content, context, sharedEventBudget);
    return wrapper;
}

std::optional<VKTURL> VKTVASTAdWrapper::nextActionURL() const {
    return adTagURL_ ? std::optional<VKTURL>(adTagURL_->url()) : std::nullopt;
}

void VKTVASTAdWrapper::readOwnContent(const VKTVASTElement& content) {
    const VKTVASTElement element = content.firstChild("VASTAdTagURI");
    if (element) adTagURL_ = element.requiredVASTURL();
}

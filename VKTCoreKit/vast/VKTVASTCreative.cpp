#include "VKTCoreKit/vast/VKTVASTCreative.h"

#include <algorithm>
#include <utility>

namespace {

// How many of `more` a list may take that has a limit.
template <typename T>
std::size_t countUpTo(std::size_t limit, const std::vector<T>& list, const std::vector<T>& more) {
    return std::min(limit - std::min(limit, list.size()), more.size());
}

template <typename T>
void appendFirst(std::size_t count, std::vector<T>& list, const std::vector<T>& more) {
    list.insert(list.end(), more.begin(), more.begin() + static_cast<std::ptrdiff_t>(count));
}

}  // namespace

std::shared_ptr<VKTVASTCreative> VKTVASTCreative::initEmptyCreative() {
    return std::shared_ptr<VKTVASTCreative>(new VKTVASTCreative());
}

std::shared_ptr<VKTVASTCreative> VKTVASTCreative::initWithDictionary(const VKTDictionary& /*dictionary*/,
                                                                     VKTErrorOutput /*error*/,
                                                                     const VKTVASTErrorHandler& /*handler*/,
                                                                     bool /*isWrapper*/) {
    return initEmptyCreative();
}

VKTVASTCreative::Addition VKTVASTCreative::addUniversalAdId(const VKTVASTUniversalAdId& id) {
    if (universalAdIds_.size() >= VKTVASTUniversalAdIdLimit) return Addition::BeyondLimit;
    if (std::find(universalAdIds_.begin(), universalAdIds_.end(), id) != universalAdIds_.end())
        return Addition::Repeated;
    universalAdIds_.push_back(id);
    return Addition::Added;
}

void VKTVASTCreative::addUniversalAdIds(const std::vector<VKTVASTUniversalAdId>& ids) {
    for (const VKTVASTUniversalAdId& id : ids)
        addUniversalAdId(id);
}

void VKTVASTCreative::addUniversalAdIdsOf(const VKTVASTElement& creative) {
    creative.forEachChild("UniversalAdId", [this](const VKTVASTElement& element) {
        const auto id = VKTVASTUniversalAdId::initWithDictionary(element);
        const Addition addition = id ? addUniversalAdId(*id) : Addition::Added;
        if (addition == Addition::Repeated) element.drop("it repeats an earlier one");
        if (addition == Addition::BeyondLimit) {
            element.drop([] {
                return "beyond the limit of " + std::to_string(VKTVASTUniversalAdIdLimit) +
                       " universal ad ids";
            });
        }
    });
}

void VKTVASTCreative::findIds(const VKTVASTElement& creative) {
    creativeId_ = creative.stringAttribute("_id");
    adId_ = creative.stringAttribute("_adId");
    if (!adId_) adId_ = creative.stringAttribute("_AdID");
}

void VKTVASTCreative::addTrackingEvents(TrackingEvents events) {
    std::erase(events, nullptr);
    if (trackingEvents_.empty()) {
        trackingEvents_ = std::move(events);
    } else {
        trackingEvents_.insert(trackingEvents_.end(), events.begin(), events.end());
    }
}

void VKTVASTCreative::addSharedTrackingEvents(TrackingEvents events) {
    std::erase(events, nullptr);
    appendFirst(countUpTo(VKTVASTMergedTrackingEventLimit, trackingEvents_, events), trackingEvents_, events);
}

void VKTVASTCreative::addSharedTrackingEvents(const TrackingEvents& events, VKTVASTMergeTally& tally) {
    constexpr auto element = VKTVASTMergedElement::TrackingEvent;
    const std::size_t count = countUpTo(VKTVASTMergedTrackingEventLimit, trackingEvents_, events);
    tally.leaveOut(events.size() - count, element);
    appendFirst(tally.takeUpTo(count, element), trackingEvents_, events);
}

void VKTVASTCreative::addTrackingOf(const VKTVASTCreative& wrapperCreative, VKTVASTMergeTally& tally) {
    addSharedTrackingEvents(wrapperCreative.trackingEvents_, tally);
    constexpr auto element = VKTVASTMergedElement::ClickTracker;
    const auto& clicks = wrapperCreative.clickTracking_;
    const std::size_t count = countUpTo(VKTVASTMergedClickTrackingLimit, clickTracking_, clicks);
    tally.leaveOut(clicks.size() - count, element);
    appendFirst(tally.takeUpTo(count, element), clickTracking_, clicks);
}

bool VKTVASTCreative::isValidForWrapper(bool /*isWrapper*/) const {
    return false;
}

void VKTVASTCreative::findClickThrough(const VKTVASTElement& element, std::string_view name) {
    const VKTVASTElement child = element.firstChild(name);
    if (!child) return;
    if (auto url = child.requiredVASTURL()) clickThrough_ = std::move(url);
}

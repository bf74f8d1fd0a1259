#include "VKTCoreKit/vast/VKTVASTCreative.h"

#include <algorithm>

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"

namespace {

template <typename T>
void appendUpTo(std::size_t limit, std::vector<T>& list, const std::vector<T>& more) {
    const std::size_t room = limit - std::min(limit, list.size());
    const std::size_t count = std::min(room, more.size());
    list.insert(list.end(), more.begin(), more.begin() + static_cast<std::ptrdiff_t>(count));
}

// What an embedder hands over may have nulls, which no list of ours has.
VKTVASTCreative::TrackingEvents withoutNulls(VKTVASTCreative::TrackingEvents events) {
    std::erase(events, nullptr);
    return events;
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

void VKTVASTCreative::addUniversalAdIds(const std::vector<VKTVASTUniversalAdId>& ids) {
    for (const VKTVASTUniversalAdId& id : ids) {
        if (universalAdIds_.size() >= VKTVASTUniversalAdIdLimit) return;
        if (std::find(universalAdIds_.begin(), universalAdIds_.end(), id) == universalAdIds_.end()) {
            universalAdIds_.push_back(id);
        }
    }
}

void VKTVASTCreative::addTrackingEvents(const TrackingEvents& events) {
    const TrackingEvents added = withoutNulls(events);
    trackingEvents_.insert(trackingEvents_.end(), added.begin(), added.end());
}

void VKTVASTCreative::addSharedTrackingEvents(const TrackingEvents& events) {
    appendUpTo(VKTVASTMergedTrackingEventLimit, trackingEvents_, withoutNulls(events));
}

void VKTVASTCreative::addTrackingOf(const VKTVASTCreative& wrapperCreative) {
    appendUpTo(VKTVASTMergedTrackingEventLimit, trackingEvents_, wrapperCreative.trackingEvents_);
    appendUpTo(VKTVASTMergedClickTrackingLimit, clickTracking_, wrapperCreative.clickTracking_);
}

bool VKTVASTCreative::isValidForWrapper(bool /*isWrapper*/) const {
    return false;
}

void VKTVASTCreative::findClickThrough(const VKTDictionary& node, std::string_view key) {
    const std::string* text = VKTXMLDictionaryUtils::findFirstObjectOfArrayAsString(key, node);
    if (text == nullptr) return;
    if (auto url = VKTVASTURL::initWithString(*text)) clickThrough_ = std::move(url);
}

void VKTVASTCreative::findClickTracking(const VKTDictionary& node, std::string_view key) {
    vkt_appendVASTURLs(clickTracking_, VKTXMLDictionaryUtils::findArrayForKey(key, node));
}

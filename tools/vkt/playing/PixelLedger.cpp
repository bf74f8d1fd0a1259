#include "playing/PixelLedger.h"

#include "VKTCoreKit/tracking/VKTPixelManager.h"

std::string PixelRecord::outcome() const {
    if (error) return std::to_string(error->code());
    return statusCode ? std::to_string(*statusCode) : "----";
}

std::optional<VKTPixels> PixelLedger::loadPixels() {
    auto pixels = provider_->loadPixels();
    if (pixels) addAll(*pixels);
    return pixels;
}

bool PixelLedger::saveChanges(const VKTPixels& removed, const VKTPixels& added) {
    addAll(added);
    return changes_ == nullptr || changes_->saveChanges(removed, added);
}

VKTPixels PixelLedger::takeLatePixels() {
    VKTPixels pixels = changes_ == nullptr ? VKTPixels() : changes_->takeLatePixels();
    addAll(pixels);
    return pixels;
}

// Those that are known are skipped: changes that could not be saved come again.
void PixelLedger::addAll(const VKTPixels& pixels) {
    const std::lock_guard lock(mutex_);
    for (const auto& pixel : pixels) {
        if (!placesByID_.emplace(pixel->ID(), records_.size()).second) continue;
        PixelRecord record;
        record.url = pixel->url().absoluteString();
        record.expirationDate = pixel->expirationDate();
        pendingByURL_[record.url].emplace(0, records_.size());
        records_.push_back(std::move(record));
    }
}

std::vector<std::size_t> PixelLedger::claim(const std::string& event, std::size_t most) {
    const std::lock_guard lock(mutex_);
    std::vector<std::size_t> places;
    for (; claimed_ < records_.size() && places.size() < most; ++claimed_) {
        records_[claimed_].event = event;
        places.push_back(claimed_);
    }
    return places;
}

std::optional<std::size_t> PixelLedger::requestEnded(const RequestRecord& request) {
    const std::lock_guard lock(mutex_);
    const auto found = pendingByURL_.find(request.url);
    if (found == pendingByURL_.end() || found->second.empty()) return std::nullopt;
    auto& pending = found->second;
    const std::size_t place = pending.begin()->second;
    pending.erase(pending.begin());
    PixelRecord& record = records_[place];
    ++record.attempts;
    record.error = request.error;
    record.statusCode = request.statusCode;
    record.isDelivered =
        !request.error && request.statusCode && VKTPixelManager::isStatusCodeValid(*request.statusCode);
    if (!record.isDelivered) pending.emplace(record.attempts, place);
    return place;
}

PixelRecord PixelLedger::record(std::size_t place) const {
    const std::lock_guard lock(mutex_);
    return records_[place];
}

std::vector<PixelRecord> PixelLedger::records() const {
    const std::lock_guard lock(mutex_);
    return records_;
}

VKTDictionary reportOfPixel(const PixelRecord& record) {
    return {{"url", record.url},
            {"statusCode", record.statusCode ? VKTValue(*record.statusCode) : VKTValue()},
            {"attempts", record.attempts},
            {"status", record.isDelivered ? "success" : "pending"}};
}

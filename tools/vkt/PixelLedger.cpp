#include "PixelLedger.h"

#include <algorithm>

#include "VKTCoreKit/tracking/VKTPixelManager.h"

std::string PixelRecord::outcome() const {
    if (error) return std::to_string(error->code());
    return statusCode ? std::to_string(*statusCode) : "----";
}

std::optional<VKTPixels> PixelLedger::loadPixels() {
    auto pixels = provider_->loadPixels();
    const std::lock_guard lock(mutex_);
    for (const auto& pixel : pixels.value_or(VKTPixels()))
        add(*pixel);
    return pixels;
}

// New pixels stand at the list's end.
bool PixelLedger::savePixels(const VKTPixels& pixels) {
    {
        const std::lock_guard lock(mutex_);
        const auto lastKnown = std::find_if(pixels.rbegin(), pixels.rend(), [this](const auto& pixel) {
            return placesByID_.contains(pixel->ID());
        });
        for (auto pixel = lastKnown.base(); pixel != pixels.end(); ++pixel)
            add(**pixel);
    }
    return provider_->savePixels(pixels);
}

void PixelLedger::add(const VKTPixel& pixel) {
    if (!placesByID_.emplace(pixel.ID(), records_.size()).second) return;
    PixelRecord record;
    record.url = pixel.url().absoluteString();
    record.expirationDate = pixel.expirationDate();
    pendingByURL_[record.url].emplace(0, records_.size());
    records_.push_back(std::move(record));
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

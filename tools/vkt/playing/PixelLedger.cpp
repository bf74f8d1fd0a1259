#include "playing/PixelLedger.h"

std::string PixelRecord::outcome() const {
    if (error) return std::to_string(error->code());
    return statusCode ? std::to_string(*statusCode) : "----";
}

std::string PixelRecord::reason() const {
    return error ? ": " + error->localizedDescription().value_or("the transfer failed") : "";
}

const char* PixelRecord::status() const {
    if (end == PixelDelivered) return "success";
    return end == PixelExpired ? "expired" : "pending";
}

std::vector<std::size_t> PixelLedger::placesOf(const VKTPixels& pixels) {
    const std::lock_guard lock(mutex_);
    std::vector<std::size_t> places;
    for (const auto& pixel : pixels)
        places.push_back(placeOf(*pixel));
    return places;
}

std::size_t PixelLedger::placeOf(const VKTPixel& pixel) {
    const auto [place, isNew] = placesByID_.emplace(pixel.ID(), records_.size());
    if (!isNew) return place->second;
    PixelRecord record;
    record.url = pixel.url().absoluteString();
    record.expirationDate = pixel.expirationDate();
    record.event = pixel.isRestored() ? "left by an earlier run" : pixel.origin();
    record.isOfEarlierRun = pixel.isRestored();
    if (pixel.isTimeOver()) record.end = PixelExpired;
    records_.push_back(std::move(record));
    return place->second;
}

void PixelLedger::note(const VKTPixel& pixel, PixelEnd end, const VKTURLSessionResponse* response) {
    std::size_t place = 0;
    {
        const std::lock_guard lock(mutex_);
        place = placeOf(pixel);
        PixelRecord& record = records_[place];
        record.end = end;
        record.attempts = pixel.attempts();
        if (response != nullptr) {
            record.error = response->error();
            record.statusCode.reset();
            if (response->response()) record.statusCode = response->response()->statusCode;
        }
    }
    if (onOutcome_) onOutcome_(place);
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
            {"attempts", std::int64_t{record.attempts}},
            {"status", record.status()}};
}

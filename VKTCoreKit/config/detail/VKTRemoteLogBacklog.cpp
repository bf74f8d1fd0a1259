#include "VKTCoreKit/config/detail/VKTRemoteLogBacklog.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

std::size_t vkt_bytesOfRecords(const VKTRemoteLogRecords& records) {
    return std::accumulate(records.begin(), records.end(), std::size_t{0},
                           [](std::size_t sum, const auto& record) { return sum + record.text.size(); });
}

std::string vkt_bodyOfRecords(const VKTRemoteLogRecords& records) {
    std::string body;
    body.reserve(vkt_bytesOfRecords(records) + records.size() + 2);
    body += '[';
    for (const VKTRemoteLogRecord& record : records) {
        if (body.size() > 1) body += ',';
        body += record.text;
    }
    return body += ']';
}

void VKTRemoteLogBacklog::submit(std::string text) {
    release();
    bytes_ += text.size();
    records_.push_back({++lastNumber_, std::move(text)});
}

void VKTRemoteLogBacklog::release() {
    for (VKTRemoteLogRecord& record : records_) {
        if (!record.isHeld) return;
        record.isHeld = false;
    }
}

void VKTRemoteLogBacklog::putBack(VKTRemoteLogRecords records) {
    bytes_ += vkt_bytesOfRecords(records);
    for (VKTRemoteLogRecord& record : records)
        record.isHeld = true;
    std::move(records_.begin(), records_.end(), std::back_inserter(records));
    records_.swap(records);
}

VKTRemoteLogRecords VKTRemoteLogBacklog::takeReleased() {
    VKTRemoteLogRecords released = std::exchange(records_, {});
    const auto firstReleased =
        std::find_if(released.begin(), released.end(), [](const auto& record) { return !record.isHeld; });
    std::move(released.begin(), firstReleased, std::back_inserter(records_));
    released.erase(released.begin(), firstReleased);
    bytes_ -= vkt_bytesOfRecords(released);
    return released;
}

void VKTRemoteLogBacklog::dropOldest(std::size_t countLimit, std::size_t byteLimit) {
    if (records_.size() <= countLimit && bytes_ <= byteLimit) return;
    std::vector<std::pair<std::uint64_t, std::size_t>> byAge;  // numbers and bytes
    for (const VKTRemoteLogRecord& record : records_)
        byAge.emplace_back(record.number, record.text.size());
    std::sort(byAge.begin(), byAge.end());
    std::size_t dropped = 0;
    while (byAge.size() - dropped > countLimit || bytes_ > byteLimit)
        bytes_ -= byAge[dropped++].second;
    const std::uint64_t lastDropped = byAge[dropped - 1].first;
    std::erase_if(records_, [&](const auto& record) { return record.number <= lastDropped; });
}

#include "VKTCoreKit/vast/VKTVASTMergeBudget.h"

#include <algorithm>

#include "VKTCoreKit/core/VKTLog.h"

std::size_t VKTVASTMergeBudget::takeUpTo(std::size_t count) {
    std::size_t left = left_;
    std::size_t taken = 0;
    do {
        taken = std::min(count, left);
    } while (!left_.compare_exchange_weak(left, left - taken));
    return taken;
}

bool VKTVASTMergeBudget::takeAll(std::size_t count) {
    std::size_t left = left_;
    do {
        if (left < count) return false;
    } while (!left_.compare_exchange_weak(left, left - count));
    return true;
}

std::size_t VKTVASTMergeTally::takeUpTo(std::size_t count, VKTVASTMergedElement element) {
    const std::size_t taken = budget_.takeUpTo(count);
    refused(element) += count - taken;
    return taken;
}

bool VKTVASTMergeTally::takeOne(std::size_t cost, VKTVASTMergedElement element) {
    if (budget_.takeAll(cost)) return true;
    ++refused(element);
    return false;
}

std::string VKTVASTMergeTally::textOf(const Counts& counts) {
    constexpr std::array<const char*, elementCount> names{
        "error pixels",   "impressions", "viewability events", "tracking events",
        "click trackers", "metrics",     "verifications",      "extensions"};
    std::string text;
    for (std::size_t i = 0; i < elementCount; ++i) {
        if (counts[i] == 0) continue;
        text += (text.empty() ? "" : ", ") + std::to_string(counts[i]) + " " + names[i];
    }
    return text;
}

std::string VKTVASTMergeTally::dropped() const {
    Counts counts = refused_;
    for (std::size_t i = 0; i < elementCount; ++i)
        counts[i] += leftOut_[i];
    return textOf(counts);
}

void VKTVASTMergeTally::logRefusals(std::string_view format,
                                    std::initializer_list<VKTFormatArgument> arguments) const {
    const std::string dropped = textOf(refused_);
    if (dropped.empty() || !budget_.claimReport()) return;
    VKTLog::sharedInstance()->logWarningWithFormat(
        "Too much tracking %@: the limit of %ld added items is reached, and %@ were dropped. What follows is "
        "dropped without a message. Ask the ad server for fewer trackers, shorter wrapper chains or smaller "
        "pods.",
        vkt_stringWithFormat(format, arguments), budget_.limit(), dropped);
}

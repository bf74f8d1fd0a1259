#include "commands/WatchSummary.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <set>
#include <sstream>

#include "VKTCoreKit/foundation/VKTText.h"
#include "ground/Text.h"

namespace {

constexpr std::size_t hostLimit = 8;  // of one wrapper depth in a shape

std::string fixed(double number, int decimals) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << number;
    return text.str();
}

std::string seconds(double milliseconds) {
    return fixed(milliseconds / 1000, 3) + " s";
}

// "ads.test:8080"; of a document that was not downloaded "-".
std::string hostOf(const VKTVASTDocumentOutcome& document) {
    if (!document.url) return "-";
    const auto port = document.url->port();
    return std::string(document.url->host().value_or("-")) + (port ? ":" + std::string(*port) : "");
}

// Without " after 12 ms", by which one fault would look like many.
std::string withoutTimes(std::string text) {
    constexpr std::string_view before = " after ";
    constexpr std::string_view behind = " ms";
    for (std::size_t at = text.find(before); at != std::string::npos; at = text.find(before, at + 1)) {
        const std::size_t end = text.find_first_not_of("0123456789", at + before.size());
        if (text.compare(std::min(end, text.size()), behind.size(), behind) == 0)
            text.erase(at, end + behind.size() - at);
    }
    return text;
}

// In the order of their counts, the greatest first.
template <typename Key, typename TextOf>
void addCounts(std::vector<std::string>& lines, const std::string& title, const Tally<Key>& tally,
               TextOf textOf) {
    if (tally.counts().empty()) return;
    lines.push_back(title);
    auto counts = tally.counts();
    std::stable_sort(counts.begin(), counts.end(),
                     [](const auto& left, const auto& right) { return left.second > right.second; });
    for (const auto& [key, count] : counts) {
        const std::string number = std::to_string(count);
        lines.push_back(std::string(number.size() < 8 ? 8 - number.size() : 0, ' ') + number + "  " +
                        textOf(key));
    }
    if (tally.others() > 0) lines.push_back("   and " + std::to_string(tally.others()) + " others");
}

}  // namespace

std::string shapeOf(const Resolution& resolution) {
    std::map<std::int64_t, std::set<std::string>> hostsOfDepth;
    for (const auto& document : resolution.documents) {
        if (document.wasRequested) hostsOfDepth[document.wrapperDepth].insert(hostOf(document));
    }
    std::vector<std::string> depths;
    for (const auto& [depth, hosts] : hostsOfDepth) {
        std::vector<std::string> told(hosts.begin(), hosts.end());
        if (told.size() > hostLimit) {
            const std::size_t more = told.size() - hostLimit;
            told.resize(hostLimit);
            told.push_back(std::to_string(more) + " more");
        }
        depths.push_back(vkt_joined(told, " + "));
    }
    return shortened(vkt_joined(depths, " > "));
}

void WatchSummary::add(const WatchedResolve& resolve) {
    const Resolution& resolution = resolve.resolution;
    ++resolves_;
    if (resolve.millisecondsToPlayable) times_.push_back(*resolve.millisecondsToPlayable);
    for (const VKTAdBreakAd& ad : resolution.ads) {
        if (ad.isPlayable()) ++playableAds_;
        if (ad.failure) errors_.add({ad.failure->VASTCode(), ad.failure->errorName()});
    }
    for (const ReportedError& reported : resolution.errors)
        errors_.add({reported.error.VASTCode(), reported.error.errorName()});
    shapes_.add(shapeOf(resolution));
    for (const auto& document : resolution.documents) {
        if (!document.problem.empty())
            problems_.add({hostOf(document), withoutTimes(shortened(document.problem))});
    }
}

double WatchSummary::share(std::size_t count) const {
    return static_cast<double>(count) / static_cast<double>(resolves_);
}

// The least time that so many of all reach.
std::optional<WatchSummary::Times> WatchSummary::times() const {
    if (times_.empty()) return std::nullopt;
    auto sorted = times_;
    std::sort(sorted.begin(), sorted.end());
    const auto rank = [&sorted](double part) {
        const double place = std::ceil(part * static_cast<double>(sorted.size()));
        return sorted[static_cast<std::size_t>(std::max(place, 1.0)) - 1];
    };
    return Times{sorted.front(), rank(0.5), rank(0.95), sorted.back()};
}

std::string WatchSummary::progress() const {
    std::string text = countOf(resolves_, "resolve");
    if (resolves_ > 0)
        text += ", " + fixed(100 * share(filled()), 1) + " % with a playable ad, " +
                fixed(share(playableAds_), 2) + " playable ads each";
    return text;
}

std::vector<std::string> WatchSummary::lines() const {
    std::vector<std::string> lines{source_ + ": " + progress()};
    if (const auto time = times())
        lines.push_back("time to the first playable ad: " + seconds(time->least) + " at least, " +
                        seconds(time->median) + " median, " + seconds(time->percentile95) +
                        " 95th percentile, " + seconds(time->most) + " at most");
    addCounts(lines, "errors", errors_, [](const auto& error) {
        return (error.first == -1 ? "no VAST code" : "VAST error " + std::to_string(error.first)) + " " +
               error.second;
    });
    addCounts(lines, "hosts, from wrapper to wrapper", shapes_,
              [](const std::string& shape) { return shape.empty() ? "-" : shape; });
    addCounts(lines, "documents that lead to no ad", problems_,
              [](const auto& problem) { return problem.first + ": " + problem.second; });
    return lines;
}

JSONReport WatchSummary::report() const {
    const auto time = times();
    const auto share = [this](std::size_t count) {
        return resolves_ == 0 ? VKTValue() : VKTValue(this->share(count));
    };
    const auto value = [&time](double Times::*member) {
        return time ? VKTValue((*time).*member) : VKTValue();
    };
    return JSONReport::object(
        {{"source", source_},
         {"resolves", resolves_},
         {"filled", filled()},
         {"fillRate", share(filled())},
         {"adsPerResolve", share(playableAds_)},
         {"millisecondsToPlayable", JSONReport::object({{"min", value(&Times::least)},
                                                        {"median", value(&Times::median)},
                                                        {"percentile95", value(&Times::percentile95)},
                                                        {"max", value(&Times::most)}})},
         {"errors", JSONReport::listOf(errors_.counts(),
                                       [](const auto& each) {
                                           return JSONReport::object({{"VASTCode", each.first.first},
                                                                      {"name", each.first.second},
                                                                      {"count", each.second}});
                                       })},
         {"shapes",
          JSONReport::listOf(shapes_.counts(),
                             [](const auto& each) {
                                 return JSONReport::object({{"hosts", each.first}, {"count", each.second}});
                             })},
         {"otherShapes", shapes_.others()},
         {"problems", JSONReport::listOf(problems_.counts(),
                                         [](const auto& each) {
                                             return JSONReport::object({{"host", each.first.first},
                                                                        {"problem", each.first.second},
                                                                        {"count", each.second}});
                                         })},
         {"otherProblems", problems_.others()}});
}

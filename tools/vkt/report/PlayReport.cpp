#include "report/PlayReport.h"

#include <algorithm>
#include <array>

#include "ground/Text.h"
#include "report/AdReport.h"
#include "report/AdText.h"

namespace {

using Records = std::vector<PixelRecord>;

VKTArray reportOfTimeline(const Timeline& timeline, const Records& pixels) {
    VKTArray report;
    for (const TimelineEntry& entry : timeline) {
        VKTArray urls;
        for (const std::size_t place : entry.pixels)
            urls.emplace_back(pixels[place].url);
        report.emplace_back(
            VKTDictionary{{"time", entry.time}, {"event", entry.event}, {"urls", std::move(urls)}});
    }
    return report;
}

VKTArray reportOfPixels(const Timeline& timeline, const Records& pixels) {
    VKTArray report;
    for (const TimelineEntry& entry : timeline) {
        for (const std::size_t place : entry.pixels)
            report.emplace_back(reportOfPixel(pixels[place]));
    }
    return report;
}

std::string outcomeOf(const PixelRecord& pixel) {
    if (pixel.end == PixelExpired) return "expired";
    return pixel.attempts == 0 ? "not tried yet"
                               : pixel.outcome() + " after " + countOf(pixel.attempts, "attempt");
}

// "12 pixels: 10 delivered, 2 pending", and a line for each that was not delivered.
void summarise(const PlayResult& result, const std::vector<std::size_t>& places, const std::string& what,
               std::vector<std::string>& lines) {
    std::array<std::size_t, 3> counts{};
    std::vector<std::string> undelivered;
    for (const std::size_t place : places) {
        const PixelRecord& pixel = result.pixels[place];
        ++counts.at(pixel.end);
        if (!pixel.isDelivered()) undelivered.push_back("   " + outcomeOf(pixel) + "  " + pixel.url);
    }
    std::string line =
        countOf(places.size(), "pixel") + what + ": " + std::to_string(counts[PixelDelivered]) + " delivered";
    if (counts[PixelPending] > 0) line += ", " + std::to_string(counts[PixelPending]) + " pending";
    if (counts[PixelExpired] > 0) line += ", " + std::to_string(counts[PixelExpired]) + " expired";
    lines.push_back(line);
    lines.insert(lines.end(), undelivered.begin(), undelivered.end());
}

}  // namespace

JSONReport reportOfPlay(const PlayOptions& options, const PlayResult& result) {
    auto ads = JSONReport::listOf(result.ads, [&](const PlayedAd& played) {
        JSONReport ad = reportOfResolvedAd(played.ad, options.resolve);
        ad.add("timeline", reportOfTimeline(played.timeline, result.pixels));
        ad.add("pixels", reportOfPixels(played.timeline, result.pixels));
        if (options.measure) ad.add("measurement", JSONReport::listOf(played.scripts, reportOfScript));
        return ad;
    });
    JSONReport report = reportOfResolution(options.resolve, result.resolution, std::move(ads));
    report.add("errorPixels", reportOfPixels(result.problems, result.pixels));
    VKTArray earlier;
    for (const std::size_t place : result.places(true))
        earlier.emplace_back(reportOfPixel(result.pixels[place]));
    report.add("pixelsLeftByEarlierRun", std::move(earlier));
    return report;
}

std::vector<std::string> summaryOfPixels(const PlayOptions& options, const PlayResult& result) {
    std::vector<std::string> lines;
    const auto earlier = result.places(true);
    if (!earlier.empty()) summarise(result, earlier, " left by an earlier run", lines);
    summarise(result, result.places(false), "", lines);
    const bool isAnyPending = std::any_of(result.pixels.begin(), result.pixels.end(),
                                          [](const PixelRecord& pixel) { return pixel.end == PixelPending; });
    if (isAnyPending && options.store.empty()) {
        lines.emplace_back("What is pending is lost now; --store FILE keeps it for the next run.");
    } else if (isAnyPending && !result.arePixelsSaved) {
        lines.push_back("What is pending is lost now, but for what " + options.store +
                        " took before it could not be written; make room for it.");
    } else if (isAnyPending) {
        lines.push_back("What is pending is kept in " + options.store + " until it expires.");
    }
    return lines;
}

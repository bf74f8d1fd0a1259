#include "report/PlayReport.h"

#include <algorithm>

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

// "12 pixels: 10 delivered, 2 pending", and a line for each that is pending.
void summarise(Records::const_iterator begin, Records::const_iterator end, const std::string& what,
               std::vector<std::string>& lines) {
    const auto count = static_cast<std::size_t>(end - begin);
    const auto delivered = static_cast<std::size_t>(
        std::count_if(begin, end, [](const PixelRecord& pixel) { return pixel.isDelivered; }));
    std::string line = countOf(count, "pixel") + what + ": " + std::to_string(delivered) + " delivered";
    if (delivered < count) line += ", " + std::to_string(count - delivered) + " pending";
    lines.push_back(line);
    for (auto pixel = begin; pixel != end; ++pixel) {
        if (pixel->isDelivered) continue;
        std::string outcome = pixel->attempts == 0
                                  ? "not tried yet"
                                  : pixel->outcome() + " after " +
                                        countOf(static_cast<std::size_t>(pixel->attempts), "attempt");
        lines.push_back("   " + outcome + "  " + pixel->url);
    }
}

}  // namespace

JSONReport reportOfPlay(const PlayOptions& options, const PlayResult& result) {
    auto ads = JSONReport::listOf(result.ads, [&](const PlayedAd& played) {
        JSONReport ad = reportOfAd(*played.ad, options.resolve.networkAccessType);
        ad.add("timeline", reportOfTimeline(played.timeline, result.pixels));
        ad.add("pixels", reportOfPixels(played.timeline, result.pixels));
        if (options.measure) ad.add("measurement", JSONReport::listOf(played.scripts, reportOfScript));
        return ad;
    });
    JSONReport report = reportOfResolution(options.resolve, result.resolution, std::move(ads));
    report.add("errorPixels", reportOfPixels(result.problems, result.pixels));
    report.add("pixelsLeftByEarlierRun",
               JSONReport::list(result.pixelsLeftByEarlierRun,
                                [&](std::size_t place) { return reportOfPixel(result.pixels[place]); }));
    return report;
}

std::vector<std::string> summaryOfPixels(const PlayOptions& options, const PlayResult& result) {
    std::vector<std::string> lines;
    const auto own = result.pixels.begin() + static_cast<std::ptrdiff_t>(result.pixelsLeftByEarlierRun);
    if (own != result.pixels.begin()) {
        summarise(result.pixels.begin(), own, " left by an earlier run", lines);
    }
    summarise(own, result.pixels.end(), "", lines);
    const bool isAnyPending = std::any_of(result.pixels.begin(), result.pixels.end(),
                                          [](const PixelRecord& pixel) { return !pixel.isDelivered; });
    if (isAnyPending && options.store.empty()) {
        lines.emplace_back("What is pending is lost now; --store FILE keeps it for the next run.");
    } else if (isAnyPending) {
        lines.push_back("What is pending is kept in " + options.store + " until it expires.");
    }
    return lines;
}

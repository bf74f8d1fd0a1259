// The HTML report of vkt play: one page, no scripts, everything escaped.
#include <sstream>

#include "VKTCoreKit/foundation/VKTText.h"
#include "ground/Output.h"
#include "ground/Text.h"
#include "report/AdReport.h"
#include "report/AdText.h"
#include "report/PlayReport.h"
#include "report/ResolutionReport.h"

namespace {

constexpr const char* head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<title>vkt play</title>
<style>
body { font: 15px/1.5 sans-serif; margin: 2em auto; max-width: 70em; padding: 0 1em; color: #222; }
h1 { font-size: 1.4em; overflow-wrap: anywhere; }
h2 { font-size: 1.15em; margin-top: 2em; }
table { border-collapse: collapse; width: 100%; }
th, td { text-align: left; vertical-align: top; padding: .25em .75em; border-bottom: 1px solid #ddd; }
td { overflow-wrap: anywhere; }
td.number { text-align: right; white-space: nowrap; overflow-wrap: normal; }
.success { color: #176b2c; }
.pending { color: #a4262c; }
</style>
</head>
<body>
)";

std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : vkt_onOneLine(text)) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

void appendList(std::ostream& out, const std::vector<std::string>& items) {
    out << "<ul>\n";
    for (const std::string& item : items)
        out << "<li>" << escaped(item) << "</li>\n";
    out << "</ul>\n";
}

void appendPreformatted(std::ostream& out, const std::vector<std::string>& lines) {
    out << "<pre>";
    for (const std::string& line : lines)
        out << escaped(line) << '\n';
    out << "</pre>\n";
}

void appendPixel(std::ostream& out, const PixelRecord& pixel) {
    out << "<td class=\"" << (pixel.isDelivered() ? "success" : "pending") << "\">"
        << (pixel.isDelivered() ? "delivered" : pixel.status()) << "</td><td class=\"number\">"
        << pixel.outcome() << "</td><td class=\"number\">" << pixel.attempts << "</td><td>"
        << escaped(pixel.url) << "</td>";
}

constexpr const char* columns =
    "<table>\n<tr><th>Time</th><th>Event</th><th>Pixel</th><th>Answer</th><th>Attempts</th><th>URL</th></"
    "tr>\n";

// The time and the name stand beside the first pixel of an event.
void appendTimeline(std::ostream& out, const Timeline& timeline, const std::vector<PixelRecord>& pixels) {
    out << columns;
    for (const TimelineEntry& entry : timeline) {
        out << "<tr><td class=\"number\">" << textOfTime(entry.time) << "</td><td>" << escaped(entry.event)
            << "</td>";
        if (entry.pixels.empty()) out << "<td colspan=\"4\">nothing to call</td>";
        const char* separator = "";
        for (const std::size_t place : entry.pixels) {
            out << separator;
            appendPixel(out, pixels[place]);
            separator = "</tr>\n<tr><td></td><td></td>";
        }
        out << "</tr>\n";
    }
    out << "</table>\n";
}

std::string pageOf(const PlayOptions& options, const PlayResult& result) {
    const Resolution& resolution = result.resolution;
    std::ostringstream out;
    out << head << "<h1>" << escaped(titleOf(options.resolve, resolution)) << "</h1>\n";
    if (const auto problems = linesOfProblems(options.resolve, resolution); !problems.empty()) {
        appendList(out, problems);
    }
    appendList(out, summaryOfPixels(options, result));
    if (!resolution.errors.empty()) {
        out << "<h2>" << countOf(resolution.errors.size(), "problem") << "</h2>\n";
        appendList(out, linesOfErrors(resolution.errors));
    }
    if (!result.problems.empty()) appendTimeline(out, result.problems, result.pixels);
    std::size_t number = 0;
    for (const PlayedAd& played : result.ads) {
        out << "<h2>" << ++number << ". " << escaped(headingOf(*played.ad.ad))
            << (played.ad.creative ? "" : " (not played)") << "</h2>\n";
        if (!played.ad.creative) out << "<p>" << escaped(lineOfUnplayableAd(played.ad)) << "</p>\n";
        appendTimeline(out, played.timeline, result.pixels);
        if (options.measure && played.ad.creative) appendPreformatted(out, linesOfScripts(played.scripts));
    }
    if (const auto earlier = result.places(true); !earlier.empty()) {
        out << "<h2>Left by an earlier run</h2>\n";
        appendTimeline(out, {{0, "left by an earlier run", earlier}}, result.pixels);
    }
    out << "<h2>" << countOf(resolution.requests.size(), "request") << " for documents</h2>\n";
    appendPreformatted(out, linesOfRequests(resolution));
    out << "</body>\n</html>\n";
    return out.str();
}

}  // namespace

bool writePage(const PlayOptions& options, const PlayResult& result) {
    Output file(options.report);
    file.bytes(pageOf(options, result));
    const auto problem = file.finish();
    if (problem) printError(*problem);
    return !problem;
}

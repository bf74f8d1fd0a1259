#include "report/Sections.h"

#include <algorithm>

#include "VKTCoreKit/foundation/VKTText.h"
#include "ground/Text.h"
#include "playing/PlayScreen.h"
#include "report/AdCard.h"
#include "report/AdText.h"
#include "report/DocumentSections.h"
#include "report/ResolutionReport.h"

namespace {

HTML preformatted(const std::vector<std::string>& lines) {
    HTML html;
    for (const std::string& line : lines)
        html += HTML::element("code", line) + HTML::openingTag("br", {});
    return HTML::element("pre", html);
}

// The first reasons are enough here: each document and each ad has its own below.
constexpr std::size_t reasonLimit = 5;

std::vector<std::string> reasonsOf(const ResolveOptions& options, const Resolution& resolution) {
    std::vector<std::string> reasons = linesOfProblems(options, resolution);
    for (const VKTAdBreakAd& ad : resolution.ads) {
        if (!ad.isPlayable()) reasons.push_back(headingOf(*ad.ad) + ": " + ad.problem);
    }
    if (const auto whole = problemOfResolution(options, resolution); whole && reasons.empty())
        reasons.push_back(*whole);
    return reasons;
}

}  // namespace

HTML section(const std::string& heading, const HTML& content) {
    if (content.empty()) return {};
    return HTML::element("section", HTML::element("h2", heading), content);
}

HTML sectionOfVerdict(const ResolveOptions& options, const Resolution& resolution) {
    const auto playable =
        static_cast<std::size_t>(std::count_if(resolution.ads.begin(), resolution.ads.end(),
                                               [](const VKTAdBreakAd& ad) { return ad.isPlayable(); }));
    std::string title = "Nothing plays";
    if (playable > 0 && playable == resolution.ads.size()) {
        title = countOf(playable, "ad") + (playable == 1 ? " plays" : " play");
    } else if (playable > 0) {
        title = std::to_string(playable) + " of " + countOf(resolution.ads.size(), "ad") + " can be played";
    }
    std::vector<std::string> reasons = reasonsOf(options, resolution);
    const std::size_t untold = reasons.size() - std::min(reasons.size(), reasonLimit);
    reasons.resize(reasons.size() - untold);
    if (untold > 0) reasons.push_back("and " + std::to_string(untold) + " more, below");
    return HTML::element("section", {{"id", "verdict"}, {"class", playable > 0 ? "good" : "bad"}},
                         HTML::element("h2", title),
                         listOf(reasons, [](const std::string& reason) { return HTML(reason); }));
}

HTML sectionOfErrorPixels(const VKTVASTModel* model) {
    if (model == nullptr) return {};
    return section("Error pixels of a document without ads",
                   listOf(model->errorPixels(), [](const VKTVASTURL& url) {
                       return HTML::element("code", shortened(url.url().absoluteString()));
                   }));
}

HTML sectionsBelow(const ResolveOptions& options, const Resolution& resolution) {
    HTML html = section("What was dropped, and what to look at",
                        sectionsOfDocuments(resolution.documents, options.source));
    html += section(countOf(resolution.errors.size(), "problem"), listOfErrors(resolution.errors));
    html += sectionOfErrorPixels(resolution.model.get());
    if (!resolution.requests.empty())
        html += section(countOf(resolution.requests.size(), "request") + " for documents",
                        preformatted(linesOfRequests(resolution)));
    return html;
}

HTML itemOfPixel(std::size_t place, const PixelRecord& pixel) {
    const bool isTried = pixel.attempts > 0 || pixel.end == PixelExpired;
    std::string outcome = "pending";
    if (pixel.isDelivered()) outcome = "delivered";
    if (pixel.end == PixelExpired) outcome = "expired";
    HTML html = HTML::element("span",
                              {{"class", pixel.isDelivered() ? "badge good"
                                         : isTried           ? "badge bad"
                                                             : "badge"}},
                              pixel.attempts > 0 ? outcome + " " + pixel.outcome() : outcome);
    html += " ";
    html += HTML::element("code", shortened(pixel.url));
    if (pixel.attempts > 1 || (!pixel.isDelivered() && isTried))
        html +=
            HTML::element("p", {{"class", "reason"}}, countOf(pixel.attempts, "attempt") + pixel.reason());
    return HTML::element("li", {{"id", "pixel-" + std::to_string(place)}}, html);
}

HTML rowOfEntry(const TimelineEntry& entry, const std::vector<PixelRecord>& pixels) {
    HTML items;
    for (std::size_t i = 0; i < pixels.size(); ++i)
        items += itemOfPixel(entry.pixels[i], pixels[i]);
    return HTML::element(
        "tr", HTML::element("td", {{"class", "number"}}, textOfTime(entry.time)),
        HTML::element("th", {{"scope", "row"}}, entry.event),
        HTML::element("td", items.empty() ? HTML("nothing to call")
                                          : HTML::element("ul", {{"class", "pixels"}}, items)));
}

HTML tableOfEntries(const std::string& id, const HTML& rows) {
    HTML head;
    for (const char* title : {"Time", "Event", "Pixels"})
        head += HTML::element("th", {{"scope", "col"}}, title);
    return HTML::element("table", {{"class", "events"}}, HTML::element("thead", HTML::element("tr", head)),
                         HTML::element("tbody", {{"id", id}}, rows));
}

HTML listOfScripts(const ScriptRecords& scripts) {
    if (scripts.empty())
        return HTML::element("p", "Measured by nobody: the ad names no verification script.");
    return listOf(scripts, [](const ScriptRecord& script) {
        HTML html = "Measured by " + script.vendor.value_or("a vendor without a name") + ": heard " +
                    countOf(script.events.size(), "event") + ", sent " + countOf(script.urls.size(), "URL");
        if (script.refusedURLs > 0) html += ", " + countOf(script.refusedURLs, "URL") + " refused";
        if (script.failure)
            html += HTML::element(
                "p", {{"class", "reason"}},
                (script.loss ? "failed: " : "failed, and went on: ") + script.loss.value_or(*script.failure));
        HTML events;
        for (const auto& [type, time] : script.events)
            events += HTML::element("li", textOfTime(time) + " " + type);
        for (const std::string& url : script.urls)
            events += HTML::element("li", "sent ", HTML::element("code", shortened(url)));
        if (events.empty()) return html;
        return html +
               HTML::element("details", HTML::element("summary", script.script), HTML::element("ul", events));
    });
}

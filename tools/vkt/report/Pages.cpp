#include "report/Pages.h"

#include <algorithm>
#include <functional>

#include "VKTCoreKit/foundation/VKTFrameworkConstants.h"
#include "ground/Assets.h"
#include "ground/Output.h"
#include "ground/Text.h"
#include "report/AdCard.h"
#include "report/AdReport.h"
#include "report/AdText.h"
#include "report/DocumentSections.h"
#include "report/InspectionReport.h"
#include "report/PlayReport.h"
#include "report/ResolutionReport.h"
#include "report/Sections.h"

namespace {

/// A page that is written piece by piece: what many ads make is never held as a whole.
class Page {
  public:
    Page(const std::string& path, const std::string& title) : file_(path) {
        file_.bytes(
            "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            "<meta name=\"viewport\" content=\"width=device-width\">\n"
            "<meta name=\"referrer\" content=\"no-referrer\">\n");
        add(HTML::element("title", title));
        file_.bytes("<style>");
        file_.bytes(Assets::style);
        file_.bytes("</style>\n</head>\n<body class=\"report\">\n");
        add(HTML::element("h1", title));
    }
    void add(const HTML& html) {
        file_.bytes(html.markup());
        file_.bytes("\n");
    }

    /// Around what is added one by one.
    void open(const char* name, const std::string& heading) {
        file_.bytes(std::string("<") + name + ">");
        add(HTML::element("h2", heading));
    }
    void close(const char* name) { file_.bytes(std::string("</") + name + ">\n"); }

    bool finish() {
        add(HTML::element("footer", std::string(VKTFrameworkName) + " " + VKTFrameworkVersionString));
        file_.bytes("</body>\n</html>\n");
        const auto problem = file_.finish();
        if (problem) printError(*problem);
        return !problem;
    }

  private:
    Output file_;
};

void addAds(Page& page, std::size_t count, const std::function<HTML(std::size_t place)>& cardAt) {
    if (count == 0) return;
    page.open("section", countOf(count, "ad"));
    for (std::size_t place = 0; place < count; ++place)
        page.add(cardAt(place));
    page.close("section");
}

HTML chainOf(const ResolveOptions& options, const Resolution& resolution) {
    const HTML tree = treeOfDocuments(resolution.documents, options.source);
    return section("Chain", tree.empty() ? tree : HTML::element("ul", {{"class", "tree"}}, tree));
}

HTML rowsOf(const Timeline& timeline, const std::vector<PixelRecord>& pixels) {
    HTML rows;
    for (const TimelineEntry& entry : timeline) {
        std::vector<PixelRecord> own;
        for (const std::size_t place : entry.pixels)
            own.push_back(pixels[place]);
        rows += rowOfEntry(entry, own);
    }
    return rows;
}

HTML textList(const std::vector<std::string>& texts) {
    return listOf(texts, [](const std::string& text) { return HTML(text); });
}

// ---- an inspection ----

MetDocument documentOf(const Inspection& inspection) {
    MetDocument document;
    static_cast<VKTVASTDocumentOutcome&>(document) = inspection.response.outcome;
    const auto ads = inspection.ads();
    for (const auto* places : {&inspection.mainAds, &inspection.passbackAds}) {
        for (const std::size_t place : *places)
            if (ads[place]->isValid()) ++document.adsTaken;
    }
    if (!inspection.requests.empty()) document.request = inspection.requests.front();
    document.dropped = inspection.dropped;
    document.needingAttention = inspection.needingAttention;
    document.text = inspection.text;
    return document;
}

HTML cardOfInspected(const VKTVASTAd& ad, std::size_t place, const std::string& use) {
    HTML verdict = HTML::element("span", {{"class", ad.isValid() ? "badge good" : "badge bad"}},
                                 ad.isValid() ? "valid" : "not valid");
    verdict += " " + use + (ad.isValid() ? "" : ": " + ad.invalidReason());
    if (ad.isWrapper()) {
        const auto next = ad.nextActionURL();
        verdict += ". It leads to ";
        verdict += next ? linkTo(*next) : HTML("nowhere: it has no usable VASTAdTagURI");
    }
    return HTML::element("article", {{"class", "ad"}},
                         HTML::element("h3", std::to_string(place + 1) + ". " +
                                                 (ad.isWrapper() ? "wrapper " : "") + headingOf(ad)),
                         HTML::element("p", verdict), contentsOfAd(ad, VKTDefaultNetworkAccessType));
}

// `number` tells its ids from those of the others in the page.
void addInspection(Page& page, const Inspection& inspection, std::size_t number) {
    const auto ads = inspection.ads();
    const auto valid = static_cast<std::size_t>(
        std::count_if(ads.begin(), ads.end(), [](const auto& ad) { return ad->isValid(); }));
    const MetDocument document = documentOf(inspection);
    const std::string title = valid == 0 ? "No ad is valid"
                                         : std::to_string(valid) + " of " + countOf(ads.size(), "ad") +
                                               (valid == 1 ? " is valid" : " are valid");
    page.add(HTML::element(
        "section", {{"class", valid > 0 ? "good verdict" : "bad verdict"}}, HTML::element("h2", title),
        HTML::element("ul", {{"class", "tree"}}, itemOfDocument(document, number, inspection.source))));
    const AdUses uses(inspection);
    addAds(page, ads.size(),
           [&](std::size_t place) { return cardOfInspected(*ads[place], place, uses.of(place)); });
    page.add(sectionOfErrorPixels(inspection.response.model.get()));
    page.add(section("What was dropped, and what to look at",
                     sectionOfDocument(document, number, inspection.source)));
    page.add(section(countOf(inspection.errors.size(), "problem"), listOfErrors(inspection.errors)));
}

}  // namespace

bool writeInspectionPage(const std::string& path, const std::vector<Inspection>& inspections) {
    Page page(path,
              inspections.size() == 1 ? inspections.front().source : countOf(inspections.size(), "document"));
    for (std::size_t number = 0; number < inspections.size(); ++number)
        addInspection(page, inspections[number], number);
    return page.finish();
}

bool writeResolutionPage(const ResolveOptions& options, const Resolution& resolution) {
    Page page(options.report, titleOf(options, resolution));
    page.add(sectionOfVerdict(options, resolution));
    page.add(chainOf(options, resolution));
    addAds(page, resolution.ads.size(), [&](std::size_t place) {
        return cardOfAd(resolution.ads[place], place + 1, options.networkAccessType);
    });
    page.add(sectionsBelow(options, resolution));
    return page.finish();
}

bool writePlayPage(const PlayOptions& options, const PlayResult& result) {
    const Resolution& resolution = result.resolution;
    Page page(options.resolve.report, titleOf(options.resolve, resolution));
    page.add(sectionOfVerdict(options.resolve, resolution));
    page.add(section("Pixels", textList(summaryOfPixels(options, result))));
    page.add(chainOf(options.resolve, resolution));
    addAds(page, result.ads.size(), [&](std::size_t place) {
        const PlayedAd& played = result.ads[place];
        HTML more =
            tableOfEntries("events-" + std::to_string(place + 1), rowsOf(played.timeline, result.pixels));
        if (options.measure && played.ad.isPlayable()) more += listOfScripts(played.scripts);
        for (const std::string& note : played.notes)
            more += HTML::element("p", {{"class", "facts"}}, note);
        return cardOfAd(played.ad, place + 1, options.resolve.networkAccessType, more);
    });
    if (!result.problems.empty())
        page.add(section("Error pixels that were called",
                         tableOfEntries("problem-events", rowsOf(result.problems, result.pixels))));
    if (const auto earlier = result.places(true); !earlier.empty())
        page.add(section("Left by an earlier run",
                         tableOfEntries("earlier-events",
                                        rowsOf({{0, "left by an earlier run", earlier}}, result.pixels))));
    page.add(sectionsBelow(options.resolve, resolution));
    return page.finish();
}

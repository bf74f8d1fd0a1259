#include "report/Fragments.h"

#include "VKTCoreKit/platform/VKTServices.h"
#include "ground/Output.h"
#include "report/AdCard.h"
#include "report/DocumentSections.h"
#include "report/Sections.h"

void FragmentWriter::write(const VKTDictionary& message) {
    Output::standard().bytes(vkt_JSONStringWithValue(message).value_or("{}") + "\n");
    Output::standard().flush();
}

// ---- a resolution ----

ResolveFragments::ResolveFragments(const ResolveOptions& options) : options_(options) {
    Output::standard().endProcessWithReader();  // even where the server was killed, no run goes on alone
    writer_.append("result",
                   HTML::element("section", {{"id", "verdict"}}, HTML::element("h2", "Reading …")) +
                       section("Chain", HTML::element("ul", {{"id", "documents"}, {"class", "tree"}})) +
                       section("Ads", HTML::element("div", {{"id", "ads"}})) +
                       HTML::element("div", {{"id", "below"}}));
}

ResolvingDetail ResolveFragments::detail(VKTData sourceText) {
    return {std::move(sourceText), [this](const MetDocument& document, std::size_t place) {
                writer_.append(document.parent ? "below-" + std::to_string(*document.parent) : "documents",
                               itemOfDocument(document, place, options_.source));
            }};
}

void ResolveFragments::showAd(const VKTAdBreakAd& ad) {
    writer_.append("ads", cardOfAd(ad, ++ads_, options_.networkAccessType));
}

void ResolveFragments::finish(const Resolution& resolution) {
    writer_.replace("verdict", sectionOfVerdict(options_, resolution));
    if (resolution.ads.empty()) writer_.append("ads", HTML::element("p", "There is none."));
    writer_.append("below", sectionsBelow(options_, resolution));
}

// ---- a break that is played ----

void PlayFragments::resolved(const Resolution& resolution, const Timeline& problems,
                             const PixelLedger& ledger) {
    frame_.finish(resolution);
    if (problems.empty()) return;
    frame_.writer().append("ads", tableOfEntries("events-0", {}));
    for (const TimelineEntry& entry : problems)
        eventTracked(entry, ledger);
}

void PlayFragments::adStarts(std::size_t number, const VKTAdBreakAd& ad) {
    number_ = number;
    const std::string place = std::to_string(number);
    frame_.writer().append("ads", cardOfAd(ad, number, options_.resolve.networkAccessType,
                                           tableOfEntries("events-" + place, {}) +
                                               HTML::element("div", {{"id", "scripts-" + place}})));
}

void PlayFragments::eventTracked(const TimelineEntry& entry, const PixelLedger& ledger) {
    std::vector<PixelRecord> pixels;
    for (const std::size_t place : entry.pixels)
        pixels.push_back(ledger.record(place));
    frame_.writer().append("events-" + std::to_string(number_), rowOfEntry(entry, pixels));
}

void PlayFragments::progressed(double position, double duration) {
    frame_.writer().write({{"progress", VKTDictionary{{"position", position},
                                                      {"duration", duration},
                                                      {"ad", static_cast<std::int64_t>(number_)}}}});
}

void PlayFragments::adEnded(std::size_t number, const PlayedAd& ad) {
    if (options_.measure && ad.ad.isPlayable())
        frame_.writer().append("scripts-" + std::to_string(number), listOfScripts(ad.scripts));
}

void PlayFragments::pixelAnswered(std::size_t place, const PixelRecord& pixel) {
    frame_.writer().replace("pixel-" + std::to_string(place), itemOfPixel(place, pixel));
}

void PlayFragments::noted(const std::string& text) {
    frame_.writer().append("ads", HTML::element("p", {{"class", "facts"}}, text));
}

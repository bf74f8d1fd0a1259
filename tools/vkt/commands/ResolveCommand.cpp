#include <iostream>

#include "ground/Output.h"
#include "ground/Text.h"
#include "playing/Resolving.h"
#include "report/AdReport.h"
#include "report/AdText.h"
#include "report/ResolutionReport.h"

namespace {

void printReport(const ResolveOptions& options, const Resolution& resolution) {
    auto ads = JSONReport::listOf(resolution.ads,
                                  [&](const auto& ad) { return reportOfAd(*ad, options.networkAccessType); });
    Output::standard().JSON(reportOfResolution(options, resolution, std::move(ads)));
}

void printText(const ResolveOptions& options, const Resolution& resolution) {
    const auto& [model, ads, errors, requests, end, hasRunOutOfTime] = resolution;
    std::cout << titleOf(options, resolution) << "\n\n";
    std::cout << countOf(ads.size(), "playable ad") << '\n';
    std::size_t number = 0;
    for (const auto& ad : ads) {
        std::cout << '\n' << ++number << ". ";
        Output::standard().lines(linesOfAd(*ad, options.networkAccessType));
    }
    if (model && !model->errorPixels().empty()) {
        std::cout << "\nThe answer holds no ad. Error pixels to call:\n";
        Output::standard().lines(linesOfURLs(model->errorPixels()));
    }
    std::cout << '\n' << countOf(requests.size(), "request") << '\n';
    Output::standard().lines(linesOfRequests(requests));
    std::cout << countOf(errors.size(), "problem") << (errors.empty() ? "" : " (told above)") << '\n';
    if (end) std::cout << "end: " << end->localizedDescription().value_or("") << '\n';
}

}  // namespace

int runResolve(const ResolveOptions& options) {
    Source source;
    if (!readSource(options.source, source)) return ExitSourceUnread;

    ResolutionHooks hooks;
    hooks.adFails = [&](const VKTVASTAd&, std::size_t number) {
        return number < static_cast<std::size_t>(options.fail);
    };
    const Resolution resolution = resolveSource(options, source, hooks);
    for (const std::string& line : linesOfErrors(resolution.errors))
        printError(line);
    if (options.JSON) {
        printReport(options, resolution);
    } else {
        printText(options, resolution);
    }
    return conclude(options, resolution, !resolution.ads.empty());
}

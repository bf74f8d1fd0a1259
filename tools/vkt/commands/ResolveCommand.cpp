#include <iostream>
#include <memory>

#include "commands/Commands.h"
#include "commands/OptionChecks.h"
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

}  // namespace

void addResolveOptions(CLI::App& command, ResolveOptions& options) {
    addSource(command, options.source);
    addJSON(command, options.JSON);
    addAmount(command, "--timeout", options.timeout, "Seconds for resolving everything");
    addAmount(command, "--request-timeout", options.requestTimeout, "Seconds for one download");
    command.add_option("--max-wrappers", options.maxWrappers, "Wrappers followed in a row")
        ->capture_default_str()
        ->transform(integerFrom(0));
    command.add_flag("--handle-wrapper-adpods", options.handleWrapperAdpods,
                     "Take whole pods behind wrappers");
    command.add_flag("--strict-first-impression", options.strictFirstImpression,
                     "Refuse a first wrapper without an impression");
    addRepeated(command, "--macro", options.macros, "NAME=VALUE, filled into URLs; may be repeated")
        ->check(assignmentProblem);
    command.add_option("--fail", options.fail, "Report the first N ads as failed, which asks for passbacks")
        ->capture_default_str()
        ->transform(integerFrom(0));
    command.add_option("--network-access-type", options.networkAccessType, "4 to 6: fast; any other: slow")
        ->capture_default_str()
        ->transform(integerFrom(0U));
}

CommandRun addResolve(CLI::App& command) {
    const auto options = std::make_shared<ResolveOptions>();
    addResolveOptions(command, *options);
    return [options] { return runResolve(*options); };
}

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "commands/Commands.h"
#include "commands/OptionChecks.h"
#include "ground/Output.h"
#include "ground/Text.h"
#include "playing/Resolving.h"
#include "report/AdReport.h"
#include "report/AdText.h"
#include "report/Fragments.h"
#include "report/Pages.h"
#include "report/ResolutionReport.h"

namespace {

void printReport(const ResolveOptions& options, const Resolution& resolution) {
    auto ads = JSONReport::listOf(resolution.ads,
                                  [&](const VKTAdBreakAd& ad) { return reportOfResolvedAd(ad, options); });
    Output::standard().JSON(reportOfResolution(options, resolution, std::move(ads)));
}

void printAds(const ResolveOptions& options, const std::vector<VKTAdBreakAd>& ads) {
    Output& out = Output::standard();
    const auto playable = static_cast<std::size_t>(
        std::count_if(ads.begin(), ads.end(), [](const VKTAdBreakAd& ad) { return ad.creative != nullptr; }));
    const std::size_t others = ads.size() - playable;
    out.line(countOf(playable, "playable ad") +
             (others > 0 ? ", and " + countOf(others, "ad") + " that cannot be played" : ""));
    std::size_t number = 0;
    for (const VKTAdBreakAd& ad : ads) {
        std::vector<std::string> lines = linesOfAd(*ad.ad, options.networkAccessType);
        lines.front().insert(0, std::to_string(++number) + ". ");
        if (!ad.creative) lines.insert(lines.begin() + 1, lineOfUnplayableAd(ad));
        out.line();
        out.lines(lines);
    }
}

void printText(const ResolveOptions& options, const Resolution& resolution) {
    const auto& model = resolution.model;
    Output& out = Output::standard();
    out.line(titleOf(options, resolution));
    if (!resolution.documents.empty() && !resolution.documents.front().wasRequested) {
        const std::string& problem = resolution.documents.front().problem;
        if (!problem.empty()) out.line("   " + shortened(problem));
    }
    out.line();
    printAds(options, resolution.ads);
    if (model && !model->errorPixels().empty()) {
        out.line();
        out.line("The answer holds no ad. Error pixels to call:");
        out.lines(linesOfURLs(model->errorPixels()));
    }
    out.line();
    out.line(countOf(resolution.requests.size(), "request"));
    out.lines(linesOfRequests(resolution));
    const std::size_t problems = resolution.errors.size();
    out.line(countOf(problems, "problem") + (problems == 0 ? "" : " (told on the standard error)"));
    if (resolution.end) out.line("end: " + resolution.end->localizedDescription().value_or(""));
}

VKTData textOf(const Source& source) {
    return source.data ? std::make_shared<const std::string>(*source.data) : nullptr;
}

int finish(const ResolveOptions& options, const Resolution& resolution) {
    const bool isWritten = options.report.empty() || writeResolutionPage(options, resolution);
    const ExitStatus status = conclude(options, resolution);
    return isWritten ? status : ExitSourceUnread;
}

int showFragments(ResolveOptions options, const Source& source) {
    options.source = nameForPage(options.source);
    ResolveFragments fragments(options);
    Resolution resolution = resolveSource(options, source, fragments.detail(textOf(source)),
                                          [&](const VKTAdBreakAd& ad) { fragments.showAd(ad); });
    addProblemsOfAds(resolution);
    fragments.finish(resolution);
    return finish(options, resolution);
}

int runResolve(const ResolveOptions& options) {
    Source source;
    if (!readSource(options.source, source)) return ExitSourceUnread;

    if (options.fragments) return showFragments(options, source);
    const bool isReported = !options.report.empty();
    Resolution resolution = resolveSource(
        options, source, isReported ? std::optional(ResolvingDetail{textOf(source), nullptr}) : std::nullopt);
    addProblemsOfAds(resolution);
    for (const std::string& line : linesOfErrors(resolution.errors))
        printError(line);
    if (options.JSON) {
        printReport(options, resolution);
    } else {
        printText(options, resolution);
    }
    return finish(options, resolution);
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
    addRepeated(command, "--macro", options.macros, "Filled into URLs; may be repeated")
        ->type_name("NAME=VALUE")
        ->check(assignmentProblem);
    command.add_option("--fail", options.fail, "Report the first N ads as failed, which asks for passbacks")
        ->capture_default_str()
        ->transform(integerFrom(0));
    command.add_option("--network-access-type", options.networkAccessType, "4 to 6: fast; any other: slow")
        ->capture_default_str()
        ->transform(integerFrom(0U));
}

void addPageOptions(CLI::App& command, ResolveOptions& options) {
    addReport(command, options.report);
    command.add_flag("--fragments", options.fragments)->group("");
}

CommandRun addResolve(CLI::App& command) {
    const auto options = std::make_shared<ResolveOptions>();
    addResolveOptions(command, *options);
    addPageOptions(command, *options);
    return [options] { return runResolve(*options); };
}

// vkt inspect: documents as the library reads them, without following where they lead.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <thread>

#include "commands/Commands.h"
#include "commands/LinePipeline.h"
#include "commands/OptionChecks.h"
#include "ground/Output.h"
#include "report/AdReport.h"
#include "report/InspectionReport.h"
#include "report/Pages.h"

namespace {

struct InspectOptions {
    std::vector<std::string> sources;  ///< files, "-" or URLs; one at least, but none with `isLines`
    bool JSON = false;
    std::string report;  ///< file of an HTML report; none when empty
    bool isLines = false;
    std::size_t jobs = std::max(1U, std::thread::hardware_concurrency());
};

// Nothing, with an error line, for a source that cannot be read.
std::optional<Inspection> inspectSource(const std::string& name, InspectionText text, ExitStatus& status) {
    Source source;
    if (!readSource(name, source)) {
        status = ExitSourceUnread;
        return std::nullopt;
    }
    Inspection inspection = inspect(source, text);
    if (const auto problem = inspection.transferProblem()) {
        printError("cannot read " + name + ": " + *problem);
        status = ExitSourceUnread;
    } else if (!inspection.hasValidAd()) {
        status = std::max(status, ExitNonePlayable);
    }
    return inspection;
}

// One object for one source, a list of them for several.
void printJSON(const std::vector<Inspection>& inspections, bool isList) {
    if (isList) {
        Output::standard().JSON(JSONReport::listOf(inspections, reportOfInspection));
    } else if (!inspections.empty()) {
        Output::standard().JSON(reportOfInspection(inspections.front()));
    }
    for (const Inspection& inspection : inspections) {
        for (const ReportedError& error : inspection.errors)
            printError(lineOfError(error));
    }
}

int runLines(const InspectOptions& options) {
    const auto problem = inspectLines(STDIN_FILENO, options.jobs, Output::standard());
    if (!problem) return ExitPlayable;
    printError("cannot read the lines of the standard input: " + *problem);
    return ExitSourceUnread;
}

int runInspect(const InspectOptions& options) {
    if (options.isLines) return runLines(options);
    ExitStatus status = ExitPlayable;
    const bool isReported = !options.report.empty();
    std::vector<Inspection> inspections;
    for (std::size_t i = 0; i < options.sources.size(); ++i) {
        auto inspection = inspectSource(options.sources[i],
                                        isReported ? InspectionWithText : InspectionWithoutText, status);
        if (!inspection) continue;
        if (!options.JSON) {
            if (i > 0) Output::standard().line();
            Output::standard().lines(linesOfInspection(*inspection));
        }
        if (options.JSON || isReported) inspections.push_back(std::move(*inspection));
    }
    if (options.JSON) printJSON(inspections, options.sources.size() > 1);
    const bool isWritten = !isReported || writeInspectionPage(options.report, inspections);
    return isWritten ? status : ExitSourceUnread;
}

}  // namespace

CommandRun addInspect(CLI::App& command) {
    const auto options = std::make_shared<InspectOptions>();
    auto* sources = command.add_option("SOURCE", options->sources,
                                       "Files, - for the standard input, or http(s) URLs; none with --lines");
    addJSON(command, options->JSON, "One JSON object; a list of them for several sources");
    addReport(command, options->report);
    auto* lines = command.add_flag("--lines", options->isLines,
                                   "Inspect {\"id\", \"url\" | \"xml\"}, a JSON object in each line of the "
                                   "standard input, and print one in a line for each");
    lines->excludes(sources)->excludes("--report");
    command.add_option("--jobs", options->jobs, "Lines inspected at the same time (processors)")
        ->needs(lines)
        ->transform(integerWithin<std::size_t>(1, 256));
    command.parse_complete_callback([options] {
        if (options->sources.empty() && !options->isLines) throw CLI::RequiredError("SOURCE");
    });
    return [options] { return runInspect(*options); };
}

#include "report/ResolutionReport.h"

#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"
#include "ground/Output.h"
#include "report/AdReport.h"

JSONReport reportOfResolution(const ResolveOptions& options, const Resolution& resolution, JSONReport ads) {
    VKTValue version;
    if (resolution.model) version = resolution.model->version();
    return JSONReport::object({{"source", options.source},
                               {"version", std::move(version)},
                               {"ads", std::move(ads)},
                               {"errors", reportOfErrors(resolution.errors)},
                               {"requests", reportOfRequests(resolution.requests)},
                               {"end", reportOfError(resolution.end)}});
}

std::string titleOf(const ResolveOptions& options, const Resolution& resolution) {
    return options.source + (resolution.model ? ": VAST " + resolution.model->version() : "");
}

ExitStatus conclude(const ResolveOptions& options, const Resolution& resolution, bool isAnyAdPlayable) {
    const auto& requests = resolution.requests;
    const bool isUnread = !resolution.model && !requests.empty() && requests.front().error;
    if (isUnread) {
        const auto reason = requests.front().error->localizedDescription().value_or("the transfer failed");
        printError("cannot read " + options.source + ": " + reason);
        return ExitSourceUnread;
    }
    if (resolution.hasRunOutOfTime) {
        printError("the time budget of " + vkt_numberDescription(options.timeout) + " s ran out");
    } else if (resolution.model && resolution.model->ads().empty()) {
        printError("the answer holds no ad");
    } else if (!isAnyAdPlayable) {
        printError("no ad is playable");
    }
    return isAnyAdPlayable ? ExitPlayable : ExitNonePlayable;
}

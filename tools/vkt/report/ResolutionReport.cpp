#include "report/ResolutionReport.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"
#include "ground/Output.h"
#include "ground/Text.h"
#include "report/AdReport.h"
#include "report/AdText.h"

namespace {

VKTValue valueOf(const std::optional<std::string>& text) {
    return text ? VKTValue(*text) : VKTValue();
}

VKTArray reportOfDocumentRequests(const Resolution& resolution) {
    VKTArray report;
    for (const auto& [record, document] : resolution.requests) {
        report.push_back(reportOfRequests({record}).front());
        addDocument(*report.back().asDictionary(), document);
    }
    return report;
}

bool isNotFollowed(const VKTVASTDocumentOutcome& document) {
    return !document.wasRequested && document.wrapperDepth > 0;
}

VKTArray reportOfWrappersNotFollowed(const Resolution& resolution) {
    VKTArray report;
    for (const auto& document : resolution.documents) {
        if (!isNotFollowed(document)) continue;
        report.emplace_back(
            VKTDictionary{{"wrapperAdID", valueOf(document.wrapperAdID)},
                          {"url", document.url ? VKTValue(document.url->absoluteString()) : VKTValue()},
                          {"problem", document.problem}});
    }
    return report;
}

}  // namespace

JSONReport reportOfResolvedAd(const VKTAdBreakAd& ad, const ResolveOptions& options) {
    JSONReport report = reportOfAd(*ad.ad, options.networkAccessType);
    report.add("problem", ad.problem.empty() ? VKTValue() : VKTValue(ad.problem));
    return report;
}

std::string lineOfUnplayableAd(const VKTAdBreakAd& ad) {
    return "   cannot be played: " + ad.problem;
}

JSONReport reportOfResolution(const ResolveOptions& options, const Resolution& resolution, JSONReport ads) {
    VKTValue version;
    if (resolution.model) version = resolution.model->version();
    VKTDictionary document;
    addDocument(document,
                resolution.documents.empty() ? std::nullopt : std::optional(resolution.documents.front()));
    return JSONReport::object({{"source", options.source},
                               {"version", std::move(version)},
                               {"ads", std::move(ads)},
                               {"errors", reportOfErrors(resolution.errors)},
                               {"requests", reportOfDocumentRequests(resolution)},
                               {"end", reportOfError(resolution.end)},
                               {"document", std::move(document)},
                               {"notRequested", reportOfWrappersNotFollowed(resolution)}});
}

std::string titleOf(const ResolveOptions& options, const Resolution& resolution) {
    return options.source + (resolution.model ? ": VAST " + resolution.model->version() : "");
}

std::vector<std::string> linesOfProblems(const ResolveOptions& options, const Resolution& resolution) {
    std::vector<std::string> lines;
    for (const auto& document : resolution.documents) {
        if (document.problem.empty()) continue;
        lines.push_back(nameOfDocument(document, options.source) + ": " + shortened(document.problem));
    }
    return lines;
}

std::vector<std::string> linesOfRequests(const Resolution& resolution) {
    const std::string below(22, ' ');
    std::vector<std::string> lines;
    for (const auto& [record, document] : resolution.requests) {
        std::vector<std::string> own = linesOfRequests({record});
        if (document && !document->problem.empty()) {
            own.resize(1);
            own.push_back(below + shortened(document->problem));
        }
        lines.insert(lines.end(), own.begin(), own.end());
    }
    for (const auto& document : resolution.documents) {
        if (!isNotFollowed(document)) continue;
        lines.push_back("       -               " + nameOfDocument(document, ""));
        lines.push_back(below + shortened(document.problem));
    }
    return lines;
}

ExitStatus conclude(const ResolveOptions& options, const Resolution& resolution) {
    const bool isAnyAdPlayable = std::any_of(resolution.ads.begin(), resolution.ads.end(),
                                             [](const VKTAdBreakAd& ad) { return ad.creative != nullptr; });
    const auto& requests = resolution.requests;
    const bool isUnread = !resolution.model && !requests.empty() && requests.front().record.error;
    if (isUnread) {
        const auto reason =
            requests.front().record.error->localizedDescription().value_or("the transfer failed");
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

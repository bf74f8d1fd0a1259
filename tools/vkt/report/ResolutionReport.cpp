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

bool isAnyAdPlayable(const Resolution& resolution) {
    return std::any_of(resolution.ads.begin(), resolution.ads.end(),
                       [](const VKTAdBreakAd& ad) { return ad.isPlayable(); });
}

bool isUnread(const Resolution& resolution) {
    const auto& requests = resolution.requests;
    return !resolution.model && !requests.empty() && requests.front().record.error;
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

std::optional<std::string> problemOfResolution(const ResolveOptions& options, const Resolution& resolution) {
    if (isUnread(resolution)) {
        const auto& error = *resolution.requests.front().record.error;
        return "cannot read " + options.source + ": " +
               error.localizedDescription().value_or("the transfer failed");
    }
    if (resolution.hasRunOutOfTime)
        return "the time budget of " + vkt_numberDescription(options.timeout) + " s ran out";
    if (resolution.model && resolution.model->ads().empty()) return "the answer holds no ad";
    if (!isAnyAdPlayable(resolution)) return "no ad is playable";
    return std::nullopt;
}

ExitStatus conclude(const ResolveOptions& options, const Resolution& resolution) {
    if (const auto problem = problemOfResolution(options, resolution)) printError(*problem);
    if (isUnread(resolution)) return ExitSourceUnread;
    return isAnyAdPlayable(resolution) ? ExitPlayable : ExitNonePlayable;
}

// From a source to its playable ads: an embedding layer in small. It owns the time budget and hears every
// problem; the manager does the rest.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/vast/VKTVASTAd.h"
#include "VKTCoreKit/vast/VKTVASTDocumentOutcome.h"
#include "VKTCoreKit/vast/VKTVASTModel.h"
#include "ground/Options.h"
#include "ground/ReportedError.h"
#include "ground/Source.h"

/// An ad that the manager gave, and the verdict of every command on it: only linear creatives are played, so
/// an ad is playable when one of them has a media file for the connection. Any other asks for a passback.
struct ResolvedAd {
    std::shared_ptr<VKTVASTAd> ad;
    std::shared_ptr<VKTVASTCreativeLinear> creative;  ///< what is played; null when the ad is not playable
    std::optional<VKTVASTError> failure;              ///< what VAST says of an ad that is not
    std::string problem;                              ///< half a sentence: why it is not; empty when it is
};

/// A request and what came of it; nothing when it was under way at the end.
struct DocumentRequest {
    RequestRecord record;
    std::optional<VKTVASTDocumentOutcome> document;
};

/// What became of a source.
struct Resolution {
    std::shared_ptr<VKTVASTModel> model;  ///< null when the source could not be read
    std::vector<ResolvedAd> ads;
    std::vector<ReportedError> errors;              ///< in the order the delegate heard them
    std::vector<VKTVASTDocumentOutcome> documents;  ///< the same; the source's own is the first
    std::vector<DocumentRequest> requests;          ///< in the order of their completion
    std::optional<VKTError> end;                    ///< why there are no more ads
    bool hasRunOutOfTime = false;
};

/// Hears of every VAST problem as it is met. On several threads at once.
using ProblemObserver = std::function<void(const ReportedError& error)>;

/// Asks for ads until there are no more; `options.fail` of them count as failed. Blocks for the options'
/// time-out at most.
Resolution resolveSource(const ResolveOptions& options, const Source& source,
                         const ProblemObserver& observer = nullptr);

/// The problem of an ad that is not playable, as VAST tells it, with the ad's error pixels.
ReportedError problemOfAd(const ResolvedAd& ad);

/// How a document is called: its URL, the wrapper that has none, or the source.
std::string nameOfDocument(const VKTVASTDocumentOutcome& document, const std::string& source);

/// The default macros, and the user's over them.
std::map<std::string, std::string> macrosOf(const ResolveOptions& options);

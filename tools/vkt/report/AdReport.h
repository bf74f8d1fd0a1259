// The model of ads as JSON reports: names are the model's property names, absent values are null.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/vast/VKTVASTAd.h"
#include "VKTCoreKit/vast/VKTVASTDocumentOutcome.h"
#include "ground/JSONReport.h"
#include "ground/ReportedError.h"

/// `networkAccessType` decides the most appropriate media file. The report refers to the ad, like every
/// report here to what it tells of. The creatives are those that the ad brought: what merging makes to hold
/// the tracking of wrappers shows nothing, so its tracking is never called, and it is no creative.
JSONReport reportOfAd(const VKTVASTAd& ad, std::uint32_t networkAccessType);

JSONReport reportOfURLs(const std::vector<VKTVASTURL>& urls);
JSONReport reportOfErrors(const std::vector<ReportedError>& errors);

/// Adds what a document was; every key stands in every report, and null is what is not known.
void addDocument(VKTDictionary& report, const std::optional<VKTVASTDocumentOutcome>& document);

/// Domain, code and description; null for no error.
VKTValue reportOfError(const std::optional<VKTError>& error);

/// "VAST error 301 VAST_WRAPPER_ERROR_FETCH: …; error pixels: …", one line for people; the first 64 pixels.
std::string lineOfError(const ReportedError& reported);

/// Each distinct line once, with its count, in the order of the first of them; after 4 MiB only the number of
/// the others.
std::vector<std::string> linesOfErrors(const std::vector<ReportedError>& errors);

// The model of ads as JSON reports: names are the model's property names, absent values are null.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "JSONReport.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/vast/VKTVASTAd.h"

/// One VAST problem as a delegate hears of it.
struct ReportedError {
    VKTVASTError error;
    std::vector<VKTVASTURL> errorURLs;
    bool hasDocument = false;
    std::optional<std::string> detail = std::nullopt;  ///< a sentence that says more
};

/// `networkAccessType` decides the most appropriate media file. The report refers to the ad, like every
/// report here to what it tells of.
JSONReport reportOfAd(const VKTVASTAd& ad, std::uint32_t networkAccessType);

JSONReport reportOfURLs(const std::vector<VKTVASTURL>& urls);
JSONReport reportOfErrors(const std::vector<ReportedError>& errors);

/// Domain, code and description; null for no error.
VKTValue reportOfError(const std::optional<VKTError>& error);

/// The media file of a creative for a kind of connection; null when it has none.
std::shared_ptr<VKTVASTMediaFile> chosenMediaFile(const VKTVASTCreativeLinear& creative,
                                                  std::uint32_t networkAccessType);

/// "VAST error 301 VAST_WRAPPER_ERROR_FETCH: …; error pixels: …", one line for people; the first 64 pixels.
std::string lineOfError(const ReportedError& reported);

/// Each distinct line once, with its count, in the order of the first of them; after 4 MiB only the number of
/// the others.
std::vector<std::string> linesOfErrors(const std::vector<ReportedError>& errors);

/// Indented JSON and a line feed on the standard output. False, with an error line, for what cannot be
/// written.
bool printJSON(const VKTValue& value);

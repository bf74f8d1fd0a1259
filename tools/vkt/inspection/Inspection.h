// What the library makes of one document, without following where it leads.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/vast/VKTVASTParser.h"
#include "ground/Remarks.h"
#include "ground/ReportedError.h"
#include "ground/Source.h"

struct Inspection {
    std::string source;  ///< as the user wrote it
    VKTVASTParserResponse response;
    std::vector<std::size_t> mainAds;  ///< places among the model's ads
    std::vector<std::size_t> passbackAds;
    Remarks dropped;
    Remarks needingAttention;  ///< read, but worth a look
    std::vector<ReportedError> errors;
    std::vector<RequestRecord> requests;
    VKTData text;  ///< of the document; null unless it was to be kept, or there is none

    [[nodiscard]] VKTVASTModel::Ads ads() const;
    [[nodiscard]] bool hasValidAd() const;

    /// Why the download failed; nothing when there was none, or when it succeeded.
    [[nodiscard]] std::optional<std::string> transferProblem() const;
};

/// Whether the text of the document is kept, for who shows it.
enum InspectionText : bool { InspectionWithoutText, InspectionWithText };

/// Reads the source's bytes, or what its URL gives. The canceller, which may be null, ends the download.
Inspection inspect(const Source& source, InspectionText text = InspectionWithoutText,
                   std::shared_ptr<VKTHTTPCanceller> canceller = nullptr);

// What the library makes of one document, without following where it leads.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/vast/VKTVASTParser.h"
#include "ground/ReportedError.h"
#include "ground/Source.h"

/// A place in a document, as an XPath, and what is to be said of it.
struct Remark {
    std::string path;
    std::string reason;
};

/// Remarks of one kind. Documents may deserve millions: so many are kept, the others counted.
struct Remarks {
    static constexpr std::size_t limit = 65536;

    std::vector<Remark> kept;
    std::size_t untold = 0;

    void add(const std::string& path, const std::string& reason);
    [[nodiscard]] std::size_t count() const { return kept.size() + untold; }
};

struct Inspection {
    std::string source;  ///< as the user wrote it
    VKTVASTParserResponse response;
    std::vector<std::size_t> mainAds;  ///< places among the model's ads
    std::vector<std::size_t> passbackAds;
    Remarks dropped;
    Remarks needingAttention;  ///< read, but worth a look
    std::vector<ReportedError> errors;
    std::vector<RequestRecord> requests;

    [[nodiscard]] VKTVASTModel::Ads ads() const;
    [[nodiscard]] bool hasValidAd() const;

    /// Why the download failed; nothing when there was none, or when it succeeded.
    [[nodiscard]] std::optional<std::string> transferProblem() const;
};

/// Reads the source's bytes, or what its URL gives. The canceller, which may be null, ends the download.
Inspection inspect(const Source& source, std::shared_ptr<VKTHTTPCanceller> canceller = nullptr);

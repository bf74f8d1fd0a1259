// From a source to its ads, with everything that was met on the way.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/player/VKTAdBreakOptions.h"
#include "VKTCoreKit/vast/VKTVASTDocumentOutcome.h"
#include "ground/Options.h"
#include "ground/ReportedError.h"
#include "ground/Source.h"

/// A request and what came of it; nothing when it was under way at the end.
struct DocumentRequest {
    RequestRecord record;
    std::optional<VKTVASTDocumentOutcome> document;
};

/// What became of a source.
struct Resolution : VKTAdBreakResolution {
    std::vector<ReportedError> errors;              ///< in the order the delegate heard them
    std::vector<VKTVASTDocumentOutcome> documents;  ///< the same; the source's own is the first
    std::vector<DocumentRequest> requests;          ///< in the order of their completion
};

/// Resolves the options' way, and keeps what is met on the way. Outlives the break.
class Resolving {
  public:
    explicit Resolving(const ResolveOptions& options);

    [[nodiscard]] const VKTAdBreakOptions& options() const { return breakOptions_; }
    [[nodiscard]] const VKTAdBreakServices& services() const { return services_; }
    VKTAdBreakServices& services() { return services_; }

    /// With everything that was met.
    [[nodiscard]] Resolution resolutionOf(const VKTAdBreakResolution& breakResolution) const;

  private:
    class Listener;

    const std::shared_ptr<Listener> listener_;
    const std::shared_ptr<RecordingProvider> provider_;
    VKTAdBreakOptions breakOptions_;
    VKTAdBreakServices services_;
};

/// Asks for ads until there are no more. Blocks for the options' time-out at most.
Resolution resolveSource(const ResolveOptions& options, const Source& source);

/// The problem of an ad that is not playable, as VAST tells it, with the ad's error pixels.
ReportedError problemOfAd(const VKTAdBreakAd& ad);

/// How a document is called: its URL, the wrapper that has none, or the source.
std::string nameOfDocument(const VKTVASTDocumentOutcome& document, const std::string& source);

// From a source to its ads, with everything that was met on the way.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/player/VKTAdBreakOptions.h"
#include "VKTCoreKit/vast/VKTVASTDocumentOutcome.h"
#include "ground/Options.h"
#include "ground/Remarks.h"
#include "ground/ReportedError.h"
#include "ground/Source.h"

/// A document that was met on the way.
struct MetDocument : VKTVASTDocumentOutcome {
    std::optional<std::size_t> parent;  ///< the place of the document whose wrapper led here

    // With `ResolvingDetail` alone.
    std::optional<RequestRecord> request;  ///< nothing when none was made
    Remarks dropped;
    Remarks needingAttention;
    VKTData text;  ///< as it was read; null for none
};

/// For whom shows each document: what it holds and loses is kept.
struct ResolvingDetail {
    VKTData sourceText;  ///< null for a source that is downloaded

    /// Hears of each document when it has been read, and of its place among all. Any thread, one at a time.
    /// May be empty.
    std::function<void(const MetDocument& document, std::size_t place)> onDocument;
};

/// A request and what came of it; nothing when it was under way at the end.
struct DocumentRequest {
    RequestRecord record;
    std::optional<VKTVASTDocumentOutcome> document;
};

/// What became of a source.
struct Resolution : VKTAdBreakResolution {
    std::vector<ReportedError> errors;      ///< in the order the delegate heard them
    std::vector<MetDocument> documents;     ///< the same; the source's own is the first
    std::vector<DocumentRequest> requests;  ///< in the order of their completion
};

/// Resolves the options' way, and keeps what is met on the way. Outlives the break.
class Resolving {
  public:
    explicit Resolving(const ResolveOptions& options, std::optional<ResolvingDetail> detail = std::nullopt);

    [[nodiscard]] const VKTAdBreakOptions& options() const { return breakOptions_; }
    [[nodiscard]] const VKTAdBreakServices& services() const { return services_; }
    VKTAdBreakServices& services() { return services_; }

    /// With everything that was met.
    [[nodiscard]] Resolution resolutionOf(const VKTAdBreakResolution& breakResolution) const;

  private:
    class Listener;

    const std::shared_ptr<RecordingProvider> provider_;
    const std::shared_ptr<Listener> listener_;
    VKTAdBreakOptions breakOptions_;
    VKTAdBreakServices services_;
};

/// Asks for ads until there are no more, and tells of each. Blocks for the options' time-out at most.
Resolution resolveSource(const ResolveOptions& options, const Source& source,
                         std::optional<ResolvingDetail> detail = std::nullopt,
                         const std::function<void(const VKTAdBreakAd& ad)>& onAd = nullptr);

/// The problem of an ad that is not playable, as VAST tells it, with the ad's error pixels.
ReportedError problemOfAd(const VKTAdBreakAd& ad);

/// Adds the problem of each such ad.
void addProblemsOfAds(Resolution& resolution);

/// How a document is called: its URL, the wrapper that has none, or the source.
std::string nameOfDocument(const VKTVASTDocumentOutcome& document, const std::string& source);

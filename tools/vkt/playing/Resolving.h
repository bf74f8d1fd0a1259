// From a source to its playable ads: an embedding layer in small. It owns the time budget and hears every
// problem; the manager does the rest.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/vast/VKTVASTAd.h"
#include "VKTCoreKit/vast/VKTVASTModel.h"
#include "ground/Options.h"
#include "ground/ReportedError.h"
#include "ground/Source.h"

/// What became of a source.
struct Resolution {
    std::shared_ptr<VKTVASTModel> model;  ///< null when the source could not be read
    std::vector<std::shared_ptr<VKTVASTAd>> ads;
    std::vector<ReportedError> errors;    ///< in the order the delegate heard them
    std::vector<RequestRecord> requests;  ///< in the order of their completion
    std::optional<VKTError> end;          ///< why there are no more ads
    bool hasRunOutOfTime = false;
};

/// What the caller of a resolution has to say; each may be empty.
struct ResolutionHooks {
    /// Whether the ad, the n-th from 0, cannot be played, which asks for a passback. On the resolving thread.
    std::function<bool(const VKTVASTAd& ad, std::size_t number)> adFails;

    /// Every VAST problem as it is met. On several threads at once.
    std::function<void(const ReportedError& error)> onError;
};

/// Asks for ads until there are no more. Blocks for the options' time-out at most.
Resolution resolveSource(const ResolveOptions& options, const Source& source, const ResolutionHooks& hooks);

/// The default macros, and the user's over them.
std::map<std::string, std::string> macrosOf(const ResolveOptions& options);

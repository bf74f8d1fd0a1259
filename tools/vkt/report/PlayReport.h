// What a run of vkt play has brought, as JSON and as text.
#pragma once

#include <string>
#include <vector>

#include "ground/Options.h"
#include "playing/PlayResult.h"
#include "report/ResolutionReport.h"

/// The report of `vkt resolve` and per ad "timeline" and "pixels", and "measurement" when the ads
/// are measured; "errorPixels" of what was met while resolving; "pixelsLeftByEarlierRun".
JSONReport reportOfPlay(const PlayOptions& options, const PlayResult& result);

/// How many of the pixels were delivered, and each that was not.
std::vector<std::string> summaryOfPixels(const PlayOptions& options, const PlayResult& result);

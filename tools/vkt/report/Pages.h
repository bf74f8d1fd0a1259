// Reports to pass on: one HTML file each, which needs nothing else and has no script.
#pragma once

#include <string>
#include <vector>

#include "ground/Options.h"
#include "inspection/Inspection.h"
#include "playing/PlayResult.h"

/// Each is false, with an error line, when the file cannot be written.
bool writeInspectionPage(const std::string& path, const std::vector<Inspection>& inspections);
bool writeResolutionPage(const ResolveOptions& options, const Resolution& resolution);
bool writePlayPage(const PlayOptions& options, const PlayResult& result);

// What became of a source, as JSON, text and an exit status.
#pragma once

#include <string>

#include "ground/ExitStatus.h"
#include "ground/JSONReport.h"
#include "ground/Options.h"
#include "playing/Resolving.h"

/// One object with what all ads have in common around `ads`.
JSONReport reportOfResolution(const ResolveOptions& options, const Resolution& resolution, JSONReport ads);

/// "SOURCE: VAST 4.2".
std::string titleOf(const ResolveOptions& options, const Resolution& resolution);

/// The exit status, after one last line for everything that went wrong as a whole.
ExitStatus conclude(const ResolveOptions& options, const Resolution& resolution, bool isAnyAdPlayable);

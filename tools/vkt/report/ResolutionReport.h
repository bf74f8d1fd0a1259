// What became of a source, as JSON, text and an exit status.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ground/ExitStatus.h"
#include "ground/JSONReport.h"
#include "ground/Options.h"
#include "playing/Resolving.h"

/// `reportOfAd`, and "problem": why the ad is not playable; null when it is.
JSONReport reportOfResolvedAd(const VKTAdBreakAd& ad, const ResolveOptions& options);

/// "   cannot be played: it has no linear creative …".
std::string lineOfUnplayableAd(const VKTAdBreakAd& ad);

/// One object with what all ads have in common around `ads`. Of each document stand "root", "version", "ads"
/// (their number) and "problem" (why it led to no ad), each null when it is not known: of the source's own
/// under "document", of each that was requested in its element of "requests", of wrappers that were not
/// followed in "notRequested".
JSONReport reportOfResolution(const ResolveOptions& options, const Resolution& resolution, JSONReport ads);

/// "SOURCE: VAST 4.2".
std::string titleOf(const ResolveOptions& options, const Resolution& resolution);

/// Each document that led nowhere, by its name: "http://ads.test/a: VAST 4.3 is not supported".
std::vector<std::string> linesOfProblems(const ResolveOptions& options, const Resolution& resolution);

/// Each request in a line; below it, why it led nowhere. Then the wrappers that were not followed.
std::vector<std::string> linesOfRequests(const Resolution& resolution);

/// What went wrong as a whole, half a sentence: "the answer holds no ad"; nothing when an ad is playable.
std::optional<std::string> problemOfResolution(const ResolveOptions& options, const Resolution& resolution);

/// The exit status, after one last line for everything that went wrong as a whole.
ExitStatus conclude(const ResolveOptions& options, const Resolution& resolution);

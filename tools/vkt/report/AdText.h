// Ads, requests and URLs as text for people.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "VKTCoreKit/vast/VKTVASTAd.h"
#include "ground/Source.h"

/// "ad 12, "A title" from A system, behind 2 wrappers".
std::string headingOf(const VKTVASTAd& ad);

/// An ad in a few lines: what it is, what plays, what is tracked. Its creatives are counted as `reportOfAd`
/// tells of them.
std::vector<std::string> linesOfAd(const VKTVASTAd& ad, std::uint32_t networkAccessType);

/// "start, firstQuartile x2": the events in the order of their first.
std::string textOfTracking(const VKTVASTCreative& creative);

/// "video/mp4, 1280 x 720, 2500 kbit/s".
std::string textOfMediaFile(const VKTVASTMediaFile& file);

/// One indented line each.
std::vector<std::string> linesOfURLs(const std::vector<VKTVASTURL>& urls);
std::vector<std::string> linesOfRequests(const std::vector<RequestRecord>& requests);

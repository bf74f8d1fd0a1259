// Ads, requests and URLs as text for people.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Source.h"
#include "VKTCoreKit/vast/VKTVASTAd.h"

/// What a document says, with a blank for each control character: it shall neither break the line nor move
/// the cursor of a terminal.
std::string onOneLine(std::string_view text);

/// "1 ad", "3 ads".
std::string countOf(std::size_t count, const std::string& noun);

/// "ad 12, "A title" from A system, behind 2 wrappers".
std::string headingOf(const VKTVASTAd& ad);

/// An ad in a few lines: what it is, what plays, what is tracked. Ends with a line feed.
std::string textOfAd(const VKTVASTAd& ad, std::uint32_t networkAccessType);

/// "video/mp4, 1280 x 720, 2500 kbit/s".
std::string textOfMediaFile(const VKTVASTMediaFile& file);

/// One indented line each.
std::string linesOfURLs(const std::vector<VKTVASTURL>& urls);
std::string textOfRequests(const std::vector<RequestRecord>& requests);

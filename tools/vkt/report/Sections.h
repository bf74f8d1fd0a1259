// The parts of a page about one source.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ground/Options.h"
#include "playing/PlayResult.h"
#include "report/HTML.h"

/// A <section> with a heading, unless it would be empty.
HTML section(const std::string& heading, const HTML& content);

/// A <section> "verdict": whether an ad plays, and of one that does not why.
HTML sectionOfVerdict(const ResolveOptions& options, const Resolution& resolution);

/// The pixels of a document without ads, in a <section>; empty without any. The model may be null.
HTML sectionOfErrorPixels(const VKTVASTModel* model);

/// What stands below the chain and the ads: problems, documents, requests.
HTML sectionsBelow(const ResolveOptions& options, const Resolution& resolution);

/// An event with its pixels, a <tr>. `pixels` are the records of its places.
HTML rowOfEntry(const TimelineEntry& entry, const std::vector<PixelRecord>& pixels);

/// A pixel of an event, a <li> "pixel-PLACE".
HTML itemOfPixel(std::size_t place, const PixelRecord& pixel);

/// A <table> around such rows, whose <tbody> has an id.
HTML tableOfEntries(const std::string& id, const HTML& rows);

/// What each verification script heard and sent.
HTML listOfScripts(const ScriptRecords& scripts);

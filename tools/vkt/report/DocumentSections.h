// Documents, what they lose and what went wrong with them, as parts of a page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTValue.h"
#include "ground/Remarks.h"
#include "ground/ReportedError.h"
#include "playing/Resolving.h"
#include "report/HTML.h"

/// A document of a chain in a <li> "document-PLACE": its verdict, time and facts. It ends with an empty <ul>
/// "below-PLACE" for the documents that its wrappers lead to, or with the items `below`.
HTML itemOfDocument(const MetDocument& document, std::size_t place, const std::string& source,
                    const HTML& below = {});

/// <li>s of the documents without a parent, with all others below them.
HTML treeOfDocuments(const std::vector<MetDocument>& documents, const std::string& source);

/// A <section> "source-PLACE" of a document that loses something or leads nowhere: what is said of its
/// places, each beside its line; its text with these lines marked, unless it is too long; the ads of one that
/// leads nowhere. Empty for any other document.
HTML sectionOfDocument(const MetDocument& document, std::size_t place, const std::string& source);

/// All of them.
HTML sectionsOfDocuments(const std::vector<MetDocument>& documents, const std::string& source);

/// Each problem once, with its code in words, its count and its pixels.
HTML listOfErrors(const std::vector<ReportedError>& errors);

// What the library's readers made of a document, element by element.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/vast/VKTVASTModel.h"

/// An element that left no trace in the model.
struct DroppedElement {
    std::string path;  ///< XPath; positions count from 1 and stand where an element has siblings of its name
    std::string reason;
};

enum MediaFileVerdict : std::uint8_t { MediaFileChosen, MediaFileKept, MediaFileRefused };

struct InspectedMediaFile {
    VKTVASTMediaFile file;  ///< as written; a refused one may lack its URL
    MediaFileVerdict verdict = MediaFileRefused;
    std::string reason;
};

/// A "Linear" element.
struct InspectedLinear {
    std::shared_ptr<VKTVASTCreativeLinear> creative;  ///< null when the element was dropped
    std::string dropReason;
    std::vector<InspectedMediaFile> mediaFiles;
};

struct InspectedAd {
    std::string invalidReason;  ///< empty for a valid ad
    std::vector<InspectedLinear> linearCreatives;
};

struct Inspection {
    std::vector<InspectedAd> ads;  ///< one for each ad of the model
    std::vector<DroppedElement> dropped;
    std::string XMLProblem;  ///< with line and column; empty for a well-formed document
};

/// Looks for what the document holds and its model does not. `model` is what the library read from the same
/// bytes; null when it refused the document. Linear in the size of the document.
Inspection inspectDocument(std::string_view data, const VKTVASTModel* model);

// Elements of an inspected document, and the words for why one was dropped, kept or chosen.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "VKTCoreKit/core/VKTXMLDictionaryUtils.h"
#include "inspection/Inspection.h"

struct Element {
    const Element* parent;
    std::string_view name;
    std::size_t position;  // from 1; 0 for an element without siblings of its name
    const VKTValue* full;  // with its empty children
    const VKTValue* read;  // as the library reads it; null when it was stripped

    [[nodiscard]] const VKTDictionary& node() const { return *read->asDictionary(); }
    [[nodiscard]] const std::string* text() const { return VKTXMLDictionaryUtils::findNodeText(node()); }
};

/// The element's XPath.
std::string pathOf(const Element& element);

/// Why an element that a reader refused could not be read, as half a sentence.
std::string textProblem(const Element& element);
std::string trackingProblem(const Element& element);
std::string verificationEventProblem(const Element& element);
std::string metricProblem(const Element& element);
std::string universalAdIdProblem(const Element& element);
std::string mediaFileProblem(const Element& element, const VKTVASTMediaFile& file);

/// The attributes that tell a media file apart, whether or not it can be played.
VKTVASTMediaFile describedMediaFile(const Element& element);

/// Says of each media file that was not refused whether it is the chosen one, and why. Kept files stand in
/// the creative in the order of their elements.
void judgeMediaFiles(InspectedLinear& linear);

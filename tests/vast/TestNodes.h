// XML texts as the nodes that the readers of ad documents take.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/core/VKTXMLDictionary.h"
#include "VKTCoreKit/vast/VKTVASTErrorHandler.h"

/// The root node of a text that parses; any other ends the test program.
inline VKTDictionary nodeOf(std::string_view xml) {
    return vkt_dictionaryWithXMLString(xml).value();
}

inline VKTURL urlOf(std::string_view text) {
    return VKTURL::URLWithString(text).value();
}

inline std::vector<std::string> textsOf(const std::vector<VKTVASTURL>& urls) {
    std::vector<std::string> texts;
    for (const auto& url : urls)
        texts.push_back(url.url().absoluteString());
    return texts;
}

/// "name url" of each event.
template <typename Events>
std::vector<std::string> eventTextsOf(const Events& events) {
    std::vector<std::string> texts;
    for (const auto& event : events)
        texts.push_back(event->eventName() + " " + event->eventURL().absoluteString());
    return texts;
}

/// Writes down what a reader reports: "NAME", followed by " url" for each pixel.
class RecordedErrors {
  public:
    std::vector<std::string> lines;

    VKTVASTErrorHandler handler() {
        return [this](const VKTVASTError& error, const std::vector<VKTVASTURL>& pixels) {
            lines.push_back(error.errorName());
            for (const std::string& pixel : textsOf(pixels))
                lines.back() += " " + pixel;
        };
    }
};

using Texts = std::vector<std::string>;

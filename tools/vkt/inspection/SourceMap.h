// Where the elements of a document stand in its text.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/// The start tag of an element.
struct SourcePlace {
    std::size_t line = 0;    ///< from 1
    std::size_t offset = 0;  ///< bytes before it
    std::size_t length = 0;  ///< bytes of the tag
};

/// Finds the paths that a VKTVASTReadingListener hears: "/VAST/Ad[2]/InLine/Impression", which may end in
/// "/text()" or "/@name". Cost and memory are linear in the text and the paths.
class SourceMap {
  public:
    /// Nothing is found in a document that declares entities, nor behind a fault in the XML.
    SourceMap(std::string_view text, const std::vector<std::string>& paths);

    /// The place of a path's element; null when it was not found.
    [[nodiscard]] const SourcePlace* placeOf(const std::string& path) const;

  private:
    std::map<std::string, SourcePlace> places_;
};

// An ad as a part of a page.
#pragma once

#include <cstddef>
#include <cstdint>

#include "VKTCoreKit/player/VKTAdBreakAd.h"
#include "report/HTML.h"

/// Items of one list that are shown; the others are counted below them.
inline constexpr std::size_t pageListLimit = 200;

/// The media files with their verdicts, tracking by event, clicks, pictures, verifications and extensions of
/// an ad, each in a <details>.
HTML contentsOfAd(const VKTVASTAd& ad, std::uint32_t networkAccessType);

/// An <article> with a heading, what plays or why nothing does, the contents, and what else is to be told.
HTML cardOfAd(const VKTAdBreakAd& ad, std::size_t number, std::uint32_t networkAccessType,
              const HTML& more = {});

/// A link to an http(s) URL that opens a page of its own; for any other the text.
HTML linkTo(const VKTURL& url);

/// <ul> of the first items, each made of one element of `list`, and how many there are besides.
template <typename List, typename ItemOf>
HTML listOf(const List& list, ItemOf item) {
    HTML items;
    std::size_t count = 0;
    for (const auto& element : list) {
        if (++count <= pageListLimit) items += HTML::element("li", item(element));
    }
    if (count > pageListLimit)
        items += HTML::element("li", "and " + std::to_string(count - pageListLimit) + " more");
    return count == 0 ? HTML() : HTML::element("ul", items);
}

// What one document of a VAST request was, and why it led nowhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "VKTCoreKit/foundation/VKTURL.h"

/// Of the first document, or of what a wrapper led to. A value. Its texts may repeat any text of the
/// document: filter them before they reach a terminal or a page.
struct VKTVASTDocumentOutcome {
    /// As requested, its macros filled; as the wrapper has it when nothing was requested. Nothing for a given
    /// text, and for a wrapper without a usable URL.
    std::optional<VKTURL> url;

    /// False for a given text, and for a wrapper that was not followed: `problem` says why.
    bool wasRequested = false;

    /// What the server answered; nothing without an answer.
    std::optional<int> statusCode;

    /// The name of the root element as written, prefix included; nothing when no element could be read. It is
    /// known of most documents with a fault in their XML, too.
    std::optional<std::string> root;

    std::optional<std::string> version;  ///< the root's attribute as written
    std::size_t ads = 0;                 ///< ads that could be read, valid or not

    /// Of them, those that the request goes on with: valid, and chosen as main or passback ads. A wrapper
    /// counts until it is followed; what it leads to has an outcome of its own. 0 where only the parser or
    /// the generator was asked: the manager chooses.
    std::size_t adsTaken = 0;

    /// Half a sentence that says why the document leads to no ad; empty when it leads to one. Examples: "the
    /// root is vmap:VMAP, not VAST"; "VAST 4.3 is not supported"; "its XML cannot be read: mismatched tag at
    /// line 3, column 9"; "the HTTP status is 404, and it is empty".
    std::string problem;

    /// Where a fault in the XML was met, from 1; nothing for a document without one.
    std::optional<std::int64_t> faultLine;
    std::optional<std::int64_t> faultColumn;

    std::int64_t wrapperDepth = 0;           ///< 0 for the first document, 1 behind its wrappers
    std::optional<std::string> wrapperAdID;  ///< the "id" of the wrapper that led here, if it has one
};

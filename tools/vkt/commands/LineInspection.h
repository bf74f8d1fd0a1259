// One document of many: from a line of JSON that gives it to a line of JSON that says what it holds.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "VKTCoreKit/foundation/VKTValue.h"
#include "ground/JSONReport.h"
#include "inspection/Inspection.h"

/// Bytes of a line. A document of 32 MiB fits, were each of its characters beyond ASCII written as \uXXXX.
inline constexpr std::size_t InspectedLineLimit = std::size_t{128} * 1024 * 1024;

/// What one line gives.
struct LineInspection {
    VKTValue id;  ///< as the line has it; null when it has none, or cannot be read
    Inspection inspection;
    std::string problem;  ///< half a sentence that says why nothing was inspected; empty when it was
};

/// Reads {"id", "url" | "xml"}: any JSON value, and the text of an http(s) URL or of a document. Other keys
/// are passed over, and null is no value. No text is taken for the name of a file. The canceller, which may
/// be null, ends a download. Any thread.
LineInspection inspectLine(std::string_view line, std::shared_ptr<VKTHTTPCanceller> canceller = nullptr);

/// "id" and what an inspection reports, or "id", "error" and "line", the line's number. Refers to the
/// inspection.
JSONReport reportOfLine(const LineInspection& line, std::size_t number);

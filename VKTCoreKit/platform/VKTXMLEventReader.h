// Event-driven XML reading.
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "VKTCoreKit/foundation/VKTError.h"
#include "VKTCoreKit/foundation/VKTExport.h"

/// Domain of XML errors; the code is the reader's own, the description names the line and column.
inline constexpr const char* VKTXMLErrorDomain = "NSXMLParserErrorDomain";

/// User-info keys of the line and column of such an error, from 1; `std::int64_t`.
inline constexpr const char* VKTXMLErrorLineKey = "VKTXMLErrorLine";
inline constexpr const char* VKTXMLErrorColumnKey = "VKTXMLErrorColumn";

/// An attribute of an element, with entities replaced in the value.
struct VKTXMLAttribute {
    std::string_view name;  ///< as written, prefix kept
    std::string_view value;
};

/// Receives the events of one document in document order, on the thread that runs the reader. The views are
/// valid during the call only. All texts are UTF-8.
class VKT_EXPORT VKTXMLEventHandler {
  public:
    virtual ~VKTXMLEventHandler() = default;

    virtual void didStartElement(std::string_view name, std::span<const VKTXMLAttribute> attributes) = 0;
    virtual void didEndElement(std::string_view name) = 0;

    /// Character data and the content of CDATA blocks; one run may come in several pieces.
    virtual void foundCharacters(std::string_view text) = 0;
    virtual void foundCDATA(std::string_view text) = 0;

    virtual void foundComment(std::string_view text) = 0;

    /// At most once, as the last event: the document is not well formed, or it breaks one of the limits.
    virtual void parseErrorOccurred(const VKTError& error) = 0;
};

/// Reads one document, once. Not thread-safe; one reader per parse.
///
/// Encodings: UTF-8 (byte order mark or not), UTF-16 with a byte order mark, ISO-8859-1, US-ASCII. A byte
/// order mark wins over the encoding that the document declares. No namespace processing and never an
/// external entity. An error: anything after the root element but comments and white space, a reference to an
/// undefined entity, nesting deeper than `VKTXMLDepthLimit`, and a DOCTYPE that makes a document larger than
/// its text or slow to read: one that defines entities, gives an attribute a default or fixed value, or
/// declares more than `VKTXMLAttributeDeclarationLimit` attributes. Any other DOCTYPE is fine.
class VKT_EXPORT VKTXMLEventReader {
  public:
    virtual ~VKTXMLEventReader() = default;

    /// Runs to the end of the document. False when an error was reported to the handler.
    virtual bool parse(VKTXMLEventHandler& handler) = 0;
};

/// Elements open at once, the root included. Real documents stay below 20.
inline constexpr int VKTXMLDepthLimit = 512;

/// Attributes declared by a DOCTYPE, each without a default. Real documents declare none.
inline constexpr int VKTXMLAttributeDeclarationLimit = 256;
